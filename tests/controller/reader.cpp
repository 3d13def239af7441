// SPDX-License-Identifier: MIT
#include "tests/controller/reader.h"

#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>

using namespace Qt::StringLiterals;

QString Reader::queryPath() {
    return u"/v1/workspaces/ws-1/reports/summary/query"_s;
}

QString Reader::exportPath() {
    return u"/v1/workspaces/ws-1/report-snapshots/report-1/export"_s;
}

QString Reader::token() {
    return u"the-session-token-of-32-characters"_s;
}

QJsonObject Reader::reportReply(int rowCount, const QString& snapshotId) {
    QJsonArray rows;
    for (int i = 0; i < rowCount; ++i) {
        rows.append(QJsonObject{{u"labels"_s, QJsonArray{u"Garden"_s, QString::number(i)}},
                                {u"totals"_s, QJsonObject{{u"raw_duration_seconds"_s, i}}}});
    }
    return {{u"rows"_s, rows},
            {u"totals"_s, QJsonObject{{u"entry_count"_s, rowCount}, {u"raw_duration_seconds"_s, 90}}},
            {u"snapshot_id"_s, snapshotId}};
}

bool Reader::connectAndSettle() {
    sample::serve(peer, sample::snapshot());
    peer.answer("POST", queryPath(), PeerReply::json(reportReply()));
    peer.answer("GET", exportPath(), PeerReply::text("whole report"));
    controller.setReadOnly(true);
    dialogs.choose(target);
    return connectAndLoad(controller, peer.url()) && waitForSilence(controller);
}

void Reader::signIn() {
    QJsonObject state = controller.durableState();
    state.insert(u"auth"_s, QJsonObject{{u"token"_s, token()}});
    controller.applyDurable(state);
}

void Reader::query() {
    controller.queryReport(u"summary"_s, u"2026-03-01"_s, u"2026-03-31"_s, u"UTC"_s, u"project"_s);
}

bool Reader::loadReport() {
    query();
    return waitForSilence(controller) && controller.message() == u"Server snapshot loaded";
}

bool Reader::writeTarget(const QByteArray& bytes) const {
    QFile file(target);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray Reader::readTarget() const {
    QFile file(target);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

QStringList Reader::files() const {
    return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
}
