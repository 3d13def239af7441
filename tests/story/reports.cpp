// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/exportreader.h"
#include "tests/support/steps.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>

#include <algorithm>
#include <array>
#include <iterator>

using Role = Element::Role;
using namespace Qt::StringLiterals;

namespace {

struct Format {
    QString name;
    QString button;
};

const std::array formats{Format{u"csv"_s, u"CSV"_s}, Format{u"xlsx"_s, u"Excel"_s},
                         Format{u"json"_s, u"JSON"_s}, Format{u"html"_s, u"Save printable HTML"_s}};

QString durationText(qint64 seconds) {
    constexpr QChar zero = u'0';
    return u"%1:%2:%3"_s.arg(seconds / 3600, 2, 10, zero)
        .arg(seconds / 60 % 60, 2, 10, zero)
        .arg(seconds % 60, 2, 10, zero);
}

/// How the window's list names a row of the exported JSON.
QString listedAs(const QJsonObject& row) {
    const QJsonArray labels = row[u"labels"].toArray();
    QStringList texts;
    std::transform(labels.begin(), labels.end(), std::back_inserter(texts),
                   [](const QJsonValue& label) { return label.toString(); });
    const QString title =
        row.contains(u"entry") ? row[u"entry"][u"description"].toString() : texts.join(u" / "_s);
    const QJsonValue totals = row[u"totals"];
    return u"%1, %2, %3"_s.arg(title, durationText(totals[u"raw_duration_seconds"].toInteger()),
                               durationText(totals[u"rounded_duration_seconds"].toInteger()));
}

QDate dayOf(const QJsonValue& instant) {
    static const QTimeZone zone("Asia/Jerusalem");
    return QDateTime::fromString(instant.toString(), Qt::ISODate).toTimeZone(zone).date();
}

} // namespace

/// Someone looks at a year of work in every kind of report, and takes it along in every format.
class ReportsStory : public WindowStory {
    Q_OBJECT

    void openReports();
    void chooseTheWholeYear();
    /// Makes the report, which the window shows with the totals of all entries, and saves it.
    void generate(const QString& kind, const QString& outcome);
    void save(const QString& kind);

    [[nodiscard]] bool choose(const QString& kind) const;

    qint64 m_entries = 0;
    qint64 m_seconds = 0;
    QDate m_first;
    QDate m_last;

public:
    ReportsStory() : WindowStory(DevServer::Data::Demo) {}

private Q_SLOTS:
    void everyFileOfEveryReportAgreesWithTheWindow();
};

void ReportsStory::everyFileOfEveryReportAgreesWithTheWindow() {
    const QString complete = u"Server snapshot loaded"_s;
    const QString partly = u"First 500 rows shown. Exports contain the complete snapshot."_s;
    takeSteps({
                  &ReportsStory::openReports,
                  &ReportsStory::chooseTheWholeYear,
                  [&](ReportsStory* story) { story->generate(u"weekly"_s, partly); },
                  [&](ReportsStory* story) { story->generate(u"detailed"_s, partly); },
                  [&](ReportsStory* story) { story->generate(u"summary"_s, complete); },
              },
              this);
}

void ReportsStory::openReports() {
    QVERIFY(startDesk());
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        if (!entry[u"stop_at"].isString() || !entry[u"deleted_at"].isNull()) {
            continue;
        }
        const QDate start = dayOf(entry[u"start_at"]);
        m_first = m_first.isValid() ? std::min(m_first, start) : start;
        m_last = std::max(m_last, dayOf(entry[u"stop_at"]));
        m_seconds += entry[u"duration_seconds"].toInteger();
        ++m_entries;
    }
    QVERIFY(m_first.daysTo(m_last) > 350);
    QVERIFY(openProgram());
    QVERIFY(openTab(u"Reports"_s, u"Generate"_s));
    QVERIFY(m_program.shows(Role::Label, u"Raw time: 00:00:00   |   Entries: 0"_s));
}

void ReportsStory::chooseTheWholeYear() {
    QVERIFY(fillIn(u"From date"_s, m_first.toString(Qt::ISODate)));
    QVERIFY(fillIn(u"To date"_s, m_last.toString(Qt::ISODate)));
}

bool ReportsStory::choose(const QString& kind) const {
    const QString chooser = u"Report kind"_s;
    return m_screen.clickUntil(m_program, Role::ComboBox, chooser, [&] {
        return m_program.shows(Role::ListItem, kind);
    }) && m_screen.clickUntil(m_program, Role::ListItem, kind, [&] {
        return elements().find(Role::ComboBox, chooser).description() == kind;
    });
}

void ReportsStory::generate(const QString& kind, const QString& outcome) {
    QVERIFY(choose(kind));
    QVERIFY(press(u"Generate"_s, [&] { return status() == outcome; }));
    QCOMPARE(elements().findStarting(u"Raw time: "_s).name(),
             u"Raw time: %1   |   Entries: %2"_s.arg(durationText(m_seconds)).arg(m_entries));
    save(kind);
}

void ReportsStory::save(const QString& kind) {
    for (const Format& format : formats) {
        const QByteArray bytes = savedBy(format.button, u"Report exported from its server snapshot"_s);
        QVERIFY(!bytes.isEmpty());
        const ExportSums sums = exportSums(format.name, bytes);
        QCOMPARE(sums.seconds, m_seconds);
        QCOMPARE(sums.totalSeconds, format.name == u"csv" ? -1 : m_seconds);
        if (kind == u"weekly") {
            QVERIFY(sums.entries >= m_entries); // one over the end of a week counts in both
        } else {
            QCOMPARE(sums.entries, m_entries);
        }
        if (format.name == u"json") {
            const QJsonObject report = readExport(format.name, bytes);
            QCOMPARE(report[u"kind"], kind);
            QCOMPARE(sums.totalEntries, m_entries);
            const QString first = listedAs(report[u"rows"][0].toObject());
            QCOMPARE(elements().findStarting(first).name(), first);
        }
    }
}

QTEST_MAIN(ReportsStory)
#include "reports.moc"
