// SPDX-License-Identifier: MIT
#include "tests/devserver/testserver.h"

#include <QFile>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>
#include <QUuid>
#include <QVariant>

#include <tuple>

using namespace Qt::StringLiterals;

using devserver::Connection;
using devserver::DatabaseAddress;

namespace {

constexpr int patience = 30'000;

DatabaseAddress maintenance() {
    DatabaseAddress address;
    address.kind = DatabaseAddress::Kind::Postgresql;
    address.name = qEnvironmentVariable("PGDATABASE");
    address.host = qEnvironmentVariable("PGHOST");
    address.port = qEnvironmentVariableIntValue("PGPORT");
    address.user = qEnvironmentVariable("PGUSER");
    return address;
}

Reply replyOf(const httplib::Result& result) {
    if (!result) {
        return {};
    }
    return {result->status, result->body,
            QJsonDocument::fromJson(QByteArray::fromStdString(result->body)).object(),
            result->get_header_value("ETag")};
}

} // namespace

TestDatabase::TestDatabase() {
    if (!isPostgresql()) {
        m_address.name = m_folder.filePath(u"folder/test.sqlite"_s);
        return;
    }
    m_address = maintenance();
    m_address.name = u"t"_s + QUuid::createUuid().toString(QUuid::Id128);
    Connection(maintenance()).run(u"CREATE DATABASE "_s + m_address.name);
}

TestDatabase::~TestDatabase() {
    if (isPostgresql()) {
        Connection(maintenance()).run(u"DROP DATABASE %1 WITH (FORCE)"_s.arg(m_address.name));
    }
}

bool TestDatabase::isPostgresql() {
    return qEnvironmentVariable("TIMER_TEST_DATABASE") == u"postgresql";
}

QString TestDatabase::option() const {
    if (!isPostgresql()) {
        return u"sqlite:"_s + m_address.name;
    }
    return u"postgresql://%1@%2:%3/%4"_s.arg(m_address.user, m_address.host, QString::number(m_address.port),
                                             m_address.name);
}

QVariant TestDatabase::value(const QString& sql, const QVariantList& values) const {
    Connection connection(m_address);
    QSqlQuery query = connection.run(sql, values);
    return connection.next(query) ? query.value(0) : QVariant();
}

void TestDatabase::run(const QString& sql, const QVariantList& values) const {
    Connection(m_address).run(sql, values);
}

TestServer::~TestServer() {
    if (m_process.state() != QProcess::NotRunning && !terminate()) {
        std::ignore = kill();
    }
}

bool TestServer::start(const TestDatabase& database, const QStringList& more) {
    m_process.start(QStringLiteral(DEVSERVER_PROGRAM),
                    QStringList{u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s, database.option()} + more);
    m_announced.clear();
    const QByteArray listening = "Listening on "_ba;
    while (m_process.canReadLine() || m_process.waitForReadyRead(patience)) {
        const QByteArray line = m_process.canReadLine() ? m_process.readLine() : QByteArray();
        if (line.startsWith(listening)) {
            m_url = QString::fromUtf8(line.sliced(listening.size()).trimmed());
            m_port = QUrl(m_url).port();
            return m_port > 0;
        }
        m_announced += line;
    }
    return false;
}

void TestServer::launch(const QStringList& arguments) {
    m_process.start(QStringLiteral(DEVSERVER_PROGRAM), arguments);
}

bool TestServer::runToEnd(const QStringList& arguments) {
    launch(arguments);
    return m_process.waitForFinished(patience);
}

bool TestServer::terminate() {
    m_process.terminate();
    return m_process.waitForFinished(patience);
}

bool TestServer::kill() {
    m_process.kill();
    return m_process.waitForFinished(patience);
}

int TestServer::exitCode() const {
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

qint64 peakMemory(qint64 process) {
    QFile status(u"/proc/%1/status"_s.arg(process));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = status.readAll();
    const qsizetype at = text.indexOf("VmHWM:");
    return at < 0 ? 0 : text.mid(at + 6, text.indexOf("kB", at) - at - 6).trimmed().toLongLong();
}

QString Reply::errorCode() const {
    const QJsonObject error = body.value(u"error"_s).toObject();
    const QString message = error.value(u"message"_s).toString();
    // Every error has both parts, and nothing beside them.
    if (body.size() != 1 || error.size() != 2 || !message.endsWith(u'.') || message.contains(u'\n')) {
        return u"not the shape of an error"_s;
    }
    return error.value(u"code"_s).toString();
}

QJsonObject Reply::result() const {
    const QJsonArray results = body.value(u"results"_s).toArray();
    return status == 200 && results.size() == 1 ? results[0].toObject() : QJsonObject();
}

RawConnection::RawConnection(int port) {
    m_socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    std::ignore = m_socket.waitForConnected(patience); // what is sent next would fail
}

void RawConnection::send(const QByteArray& bytes) {
    m_socket.write(bytes);
    while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(patience)) {
    }
}

bool RawConnection::readUntil(const QByteArray& part) {
    while (!m_received.contains(part)) {
        if (m_socket.bytesAvailable() == 0 && !m_socket.waitForReadyRead(patience)) {
            return false;
        }
        m_received += m_socket.readAll();
    }
    return true;
}

bool RawConnection::readToEnd() {
    while (m_socket.state() == QTcpSocket::ConnectedState) {
        if (!m_socket.waitForReadyRead(patience) && m_socket.error() == QTcpSocket::SocketTimeoutError) {
            return false;
        }
        m_received += m_socket.readAll();
    }
    return true;
}

TestClient::TestClient(int port, const QByteArray& token) : m_http("127.0.0.1", port) {
    m_http.set_keep_alive(true);
    m_http.set_tcp_nodelay(true);
    m_http.set_read_timeout(std::chrono::seconds(30));
    if (!token.isEmpty()) {
        m_authorization = "Bearer " + token.toStdString();
    }
}

httplib::Headers TestClient::with(const httplib::Headers& headers) const {
    httplib::Headers all = headers;
    if (!m_authorization.empty()) {
        all.emplace("Authorization", m_authorization);
    }
    return all;
}

Reply TestClient::get(const std::string& path, const httplib::Headers& headers) {
    return replyOf(m_http.Get(path, with(headers)));
}

Reply TestClient::post(const std::string& body, const httplib::Headers& headers) {
    return replyOf(m_http.Post("/v1/sync/push", with(headers), body, ""));
}

Reply TestClient::postTo(const std::string& path, const QJsonObject& body, const httplib::Headers& headers) {
    const std::string text = QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString();
    return replyOf(m_http.Post(path, with(headers), text, "application/json"));
}

Reply TestClient::push(const QJsonObject& mutation) {
    const QJsonObject body{{u"mutations"_s, QJsonArray{mutation}}};
    return post(QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString(),
                {{"Content-Type", "application/json"},
                 {"Idempotency-Key", mutation.value(u"mutation_id"_s).toString().toStdString()}});
}
