// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/endurance/importfile.h"

using namespace Qt::StringLiterals;

void Storm::import() {
    Seat& here = seat();
    const Controller& client = here.client();
    const QString workspace = client.durableState().value(u"workspace").toString();
    // Who only is said to ask has no workspace of their own.
    if (client.busy() || !m_world.workspacesOf(client.accountId()).contains(workspace)) {
        return skip();
    }
    // The same file a second time, as often as not.
    const QString label =
        World::importLabel(client.accountId(), workspace) + QString::number(m_dice.bounded(2));
    const QString fileName = m_folder->filePath(label + u".csv"_s);
    if (!writeImport(fileName, label)) {
        m_ledger->blame(u"no file can be written"_s);
    }
    m_dialogs.choose(fileName);
    here.client().previewCsv(u"old-tracker"_s, u"UTC"_s, true);
}

void Storm::applyImport() {
    seat().client().applyImport();
}

void Storm::pauseImport() {
    seat().client().pauseImport();
}
