// SPDX-License-Identifier: MIT
#include "tests/support/devserver.h"

#include "tests/support/client.h"
#include "tests/support/sqlitefile.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSignalSpy>
#include <QUrl>
#include <QUuid>

#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QByteArray listening = "Listening on "_ba;

QString freshId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

} // namespace

DevServer::DevServer(Data data, QStringList options) : m_data(data), m_options(std::move(options)) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

DevServer::~DevServer() {
    kill();
}

bool DevServer::start(const QStringList& more) {
    const QString address = m_url.isEmpty() ? u"127.0.0.1:0"_s : QUrl(m_url).authority();
    QStringList arguments{u"--listen"_s, address, u"--database"_s, u"sqlite:"_s + databaseFile()};
    if (m_data == Data::Demo) {
        arguments.append(u"--demo"_s);
    }
    m_process.start(QStringLiteral(DEVSERVER_PROGRAM), arguments + m_options + more);
    while (m_process.canReadLine() || m_process.waitForReadyRead()) {
        if (!m_process.canReadLine()) {
            continue;
        }
        const QByteArray line = m_process.readLine().trimmed();
        if (line.startsWith(listening)) {
            m_url = QString::fromUtf8(line.sliced(listening.size()));
            return true;
        }
    }
    return false;
}

bool DevServer::stop() {
    m_process.terminate();
    return m_process.waitForFinished() && m_process.exitStatus() == QProcess::NormalExit &&
           m_process.exitCode() == 0;
}

void DevServer::kill() {
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
    m_process.kill();
    m_process.waitForFinished();
}

DevServer::Answer DevServer::request(const QByteArray& method, const QString& path, const QJsonObject& body,
                                     const QString& idempotencyKey, const QString& token) const {
    QNetworkAccessManager network;
    QNetworkRequest request{QUrl(m_url + u"/v1"_s + path)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    if (!token.isEmpty()) {
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    }
    const bool read = method == "GET";
    if (!read) {
        request.setRawHeader("Idempotency-Key",
                             (idempotencyKey.isEmpty() ? freshId() : idempotencyKey).toUtf8());
    }
    const QByteArray bytes = read ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact);
    const std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, method, bytes));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(patienceMs)) {
        return {};
    }
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
            QJsonDocument::fromJson(reply->readAll()).object()};
}

QString DevServer::workspace() const {
    const QJsonArray items = request("GET", u"/workspaces"_s).body.value(u"items").toArray();
    return items.first().toObject().value(u"id").toString();
}

QJsonArray DevServer::entries(const QString& workspace) const {
    const QString id = workspace.isEmpty() ? this->workspace() : workspace;
    const Answer answer = request("GET", u"/sync/snapshot?workspace_id="_s + id);
    return answer.body.value(u"time_entries").toArray();
}

QJsonArray DevServer::entriesNamed(const QString& description) const {
    QJsonArray found;
    const QJsonArray all = entries();
    for (const auto& entry : all) {
        if (entry.toObject().value(u"description").toString() == description) {
            found.append(entry);
        }
    }
    return found;
}

QJsonObject DevServer::push(const QString& operation, const QString& entity, int baseVersion,
                            const QJsonObject& payload) const {
    const QString id = freshId();
    const QJsonObject mutation{
        {u"mutation_id"_s, id},   {u"device_id"_s, freshId()},      {u"workspace_id"_s, workspace()},
        {u"entity_id"_s, entity}, {u"base_version"_s, baseVersion}, {u"operation"_s, operation},
        {u"payload"_s, payload},
    };
    const Answer answer = request("POST", u"/sync/push"_s, {{u"mutations"_s, QJsonArray{mutation}}}, id);
    return answer.body.value(u"results").toArray().first().toObject();
}

void DevServer::approve(const QDateTime& from, const QDateTime& to) const {
    const QString user = request("GET", u"/me"_s).body.value(u"id").toString();
    SqliteFile(databaseFile())
        .run(u"INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, "
             "timezone, start_at, end_at, version) VALUES (?, ?, ?, 'approved', ?, ?, 'UTC', ?, ?, 1)"_s,
             {freshId(), workspace(), user, from.date().toString(Qt::ISODate),
              to.date().toString(Qt::ISODate), from.toSecsSinceEpoch(), to.toSecsSinceEpoch()});
}
