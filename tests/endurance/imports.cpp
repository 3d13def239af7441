// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/controller/mover.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

/// More than one step takes.
constexpr int rows = 30;

/// Closed entries that say in their descriptions whose they are and where they belong.
QByteArray history(const QString& label) {
    QByteArray text = Mover::header();
    QDateTime start(QDate(2025, 6, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < rows; ++i, start = start.addSecs(3600)) {
        text += label.toUtf8() + '-' + QByteArray::number(i) + ",,,No," +
                start.toString(u"yyyy-MM-dd,HH:mm"_s).toLatin1() + ",0:30:00,\r\n";
    }
    return text;
}

} // namespace

void Storm::import() {
    Seat& here = seat();
    const Controller& client = here.client();
    const QString workspace = client.durableState().value(u"workspace").toString();
    // Who only is said to ask has no workspace of their own.
    if (client.busy() || !m_world.workspacesOf(client.accountId()).contains(workspace)) {
        return;
    }
    // The same file a second time, as often as not.
    const QString label =
        World::importLabel(client.accountId(), workspace) + QString::number(m_dice.bounded(2));
    QFile file(m_folder.filePath(label + u".csv"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(history(label)) <= 0) {
        m_ledger->blame(u"no file can be written"_s);
    }
    file.close();
    m_dialogs.choose(file.fileName());
    here.client().previewCsv(u"old-tracker"_s, u"UTC"_s, true);
}

void Storm::applyImport() {
    seat().client().applyImport();
}

void Storm::pauseImport() {
    seat().client().pauseImport();
}
