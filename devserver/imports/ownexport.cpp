// SPDX-License-Identifier: MIT
#include "devserver/imports/ownexport.h"

#include "devserver/base/time.h"

#include <QHash>
#include <QRegularExpression>

namespace devserver {
namespace {

// Only times of day and texts need more than another title.
const QHash<QString, QString> englishTitles{{u"משתמש"_s, u"User"_s},        {u"לקוח"_s, u"Client"_s},
                                            {u"פרויקט"_s, u"Project"_s},    {u"משימה"_s, u"Task"_s},
                                            {u"תיאור"_s, u"Description"_s}, {u"תגיות"_s, u"Tags"_s},
                                            {u"לחיוב"_s, u"Billable"_s},    {u"משך"_s, u"Duration"_s}};

void splitMoment(QStringList& cells, qsizetype at) {
    const QString moment = cells.value(at);
    cells.replace(at, moment.section(u' ', 0, 0));
    cells.insert(at + 1, moment.section(u' ', 1));
}

} // namespace

bool adaptOwnExport(CsvTable& table, QTimeZone& zone) {
    static const QRegularExpression times(u"^(?:Start|התחלה) \\(([^)]+)\\)\n(?:End|סיום) \\(\\1\\)\\z"_s);
    const auto match = times.match(table.header.mid(0, 2).join(u'\n'));
    const auto named = zoneNamed(match.captured(1));
    if (!named) {
        return false;
    }
    zone = *named;
    table.header =
        QStringList{u"Start date"_s, u"Start time"_s, u"End date"_s, u"End time"_s} + table.header.mid(2);
    for (QString& title : table.header) {
        title = englishTitles.value(title, title);
    }
    for (CsvRecord& record : table.records) {
        if (record.cells.size() < 2) {
            continue; // told later
        }
        splitMoment(record.cells, 1);
        splitMoment(record.cells, 0);
        for (QString& cell : record.cells) {
            cell = withoutGuard(cell);
        }
    }
    return true;
}

} // namespace devserver
