// SPDX-License-Identifier: MIT
#include "tests/devserver/testserver.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUuid>
#include <QVariant>

using devserver::Connection;
using devserver::DatabaseAddress;

namespace {

constexpr int kPatience = 30'000;

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
    if (!result)
        return {};
    return {result->status, result->body,
            QJsonDocument::fromJson(QByteArray::fromStdString(result->body)).object()};
}

} // namespace

TestDatabase::TestDatabase() {
    if (!isPostgresql()) {
        address_.name = folder_.filePath(QStringLiteral("folder/test.sqlite"));
        return;
    }
    address_ = maintenance();
    address_.name = QStringLiteral("t") + QUuid::createUuid().toString(QUuid::Id128);
    Connection(maintenance()).run(QStringLiteral("CREATE DATABASE ") + address_.name);
}

TestDatabase::~TestDatabase() {
    if (isPostgresql())
        Connection(maintenance()).run(QStringLiteral("DROP DATABASE %1 WITH (FORCE)").arg(address_.name));
}

bool TestDatabase::isPostgresql() {
    return qEnvironmentVariable("TIMER_TEST_DATABASE") == u"postgresql";
}

QString TestDatabase::option() const {
    if (!isPostgresql())
        return QStringLiteral("sqlite:") + address_.name;
    return QStringLiteral("postgresql://%1@%2:%3/%4")
        .arg(address_.user, address_.host, QString::number(address_.port), address_.name);
}

QVariant TestDatabase::value(const QString& sql, const QVariantList& values) const {
    Connection connection(address_);
    QSqlQuery query = connection.run(sql, values);
    return connection.next(query) ? query.value(0) : QVariant();
}

void TestDatabase::run(const QString& sql, const QVariantList& values) const {
    Connection(address_).run(sql, values);
}

bool TestServer::start(const TestDatabase& database, const QStringList& more) {
    process_.start(QStringLiteral(DEVSERVER_PROGRAM),
                   QStringList{QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0"),
                               QStringLiteral("--database"), database.option()} +
                       more);
    const QByteArray announced = QByteArrayLiteral("Listening on http://127.0.0.1:");
    while (!process_.canReadLine() || !process_.peek(4096).contains(announced)) {
        if (!process_.waitForReadyRead(kPatience))
            return false;
    }
    const QByteArray output = process_.readAllStandardOutput();
    port_ = output.mid(output.indexOf(announced) + announced.size()).trimmed().toInt();
    return port_ > 0;
}

bool TestServer::runToEnd(const QStringList& arguments) {
    process_.start(QStringLiteral(DEVSERVER_PROGRAM), arguments);
    return process_.waitForFinished(kPatience);
}

bool TestServer::terminate() {
    process_.terminate();
    return process_.waitForFinished(kPatience);
}

bool TestServer::kill() {
    process_.kill();
    return process_.waitForFinished(kPatience);
}

int TestServer::exitCode() const {
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

QString Reply::errorCode() const {
    const QJsonObject error = body.value(QStringLiteral("error")).toObject();
    const QString message = error.value(QStringLiteral("message")).toString();
    // Every error has both parts, and nothing beside them.
    if (body.size() != 1 || error.size() != 2 || !message.endsWith(u'.') || message.contains(u'\n'))
        return QStringLiteral("not the shape of an error");
    return error.value(QStringLiteral("code")).toString();
}

QJsonObject Reply::result() const {
    const QJsonArray results = body.value(QStringLiteral("results")).toArray();
    return status == 200 && results.size() == 1 ? results[0].toObject() : QJsonObject();
}

TestClient::TestClient(int port, const QByteArray& token) : http_("127.0.0.1", port) {
    http_.set_keep_alive(true);
    http_.set_tcp_nodelay(true);
    http_.set_read_timeout(std::chrono::seconds(30));
    if (!token.isEmpty())
        authorization_ = "Bearer " + token.toStdString();
}

httplib::Headers TestClient::with(const httplib::Headers& headers) const {
    httplib::Headers all = headers;
    if (!authorization_.empty())
        all.emplace("Authorization", authorization_);
    return all;
}

Reply TestClient::get(const std::string& path, const httplib::Headers& headers) {
    return replyOf(http_.Get(path, with(headers)));
}

Reply TestClient::post(const std::string& body, const httplib::Headers& headers) {
    return replyOf(http_.Post("/v1/sync/push", with(headers), body, ""));
}

Reply TestClient::push(const QJsonObject& mutation) {
    const QJsonObject body{{QStringLiteral("mutations"), QJsonArray{mutation}}};
    return post(
        QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString(),
        {{"Content-Type", "application/json"},
         {"Idempotency-Key", mutation.value(QStringLiteral("mutation_id")).toString().toStdString()}});
}
