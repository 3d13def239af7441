// SPDX-License-Identifier: MIT
#include "tests/controller/migrant.h"

#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int recordCount = 60;

} // namespace

QString Migrant::previewPath() {
    return u"/v1/workspaces/ws-1/imports/csv/preview"_s;
}

QString Migrant::applyPath() {
    return u"/v1/imports/import-1/apply"_s;
}

QString Migrant::previewed() {
    return u"Preview only: no time entries have been written"_s;
}

QJsonObject Migrant::record(int checkpoint, int total, const QString& state, const QString& checksum) {
    return {{u"id"_s, u"import-1"_s},           {u"checksum"_s, checksum}, {u"invalid"_s, 0},
            {u"checkpoint"_s, checkpoint},      {u"total"_s, total},       {u"state"_s, state},
            {u"has_more"_s, checkpoint < total}};
}

PeerReply Migrant::refusal(const QJsonValue& message, int status) {
    return PeerReply::json({{u"error"_s, QJsonObject{{u"message"_s, message}}}}, status);
}

bool Migrant::connectAndSettle() {
    sample::serve(peer, sample::snapshot());
    peer.answer("POST", previewPath(), PeerReply::json(record(0, recordCount, u"previewed"_s), 201));
    serveImport();
    controller.setReadOnly(true);
    dialogs.choose(source);
    return connectAndLoad(controller, peer.url()) && waitForSilence(controller);
}

void Migrant::serveImport() {
    peer.answer("POST", applyPath(), [this](const PeerRequest& request) { return commit(request); });
}

PeerReply Migrant::commit(const PeerRequest& request) {
    m_committed = std::min(m_committed + request.json().value(u"limit").toInt(), recordCount);
    const QString state = m_committed < recordCount ? u"applying"_s : u"applied"_s;
    return PeerReply::json(record(m_committed, recordCount, state, u"sum-"_s + QString::number(m_committed)));
}

bool Migrant::writeSource(const QByteArray& bytes) const {
    QFile file(source);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

void Migrant::preview() {
    controller.previewCsv(u"old-tracker"_s, u"Asia/Jerusalem"_s, true);
}

bool Migrant::loadPreview() {
    if (!writeSource("a,b\n")) {
        return false;
    }
    preview();
    return waitForSilence(controller) && controller.message() == previewed();
}

QJsonObject Migrant::shown() const {
    return QJsonObject::fromVariantMap(controller.importPreview());
}

qsizetype Migrant::chunks() const {
    return peer.requests("POST", applyPath()).size();
}

qsizetype Migrant::reloads() const {
    return peer.requests("GET", u"/v1/sync/snapshot"_s).size();
}
