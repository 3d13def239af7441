// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/database.h"

#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

#include <httplib.h>

/// An empty database of the kind that this test run is for: SQLite, or
/// PostgreSQL when TIMER_TEST_DATABASE says so.
class TestDatabase {
public:
    TestDatabase();
    ~TestDatabase();
    Q_DISABLE_COPY_MOVE(TestDatabase)

    [[nodiscard]] static bool isPostgresql();
    [[nodiscard]] const devserver::DatabaseAddress& address() const { return address_; }
    /// The value for `--database`.
    [[nodiscard]] QString option() const;
    /// The first value of the first row.
    [[nodiscard]] QVariant value(const QString& sql, const QVariantList& values = {}) const;
    void run(const QString& sql, const QVariantList& values = {}) const;

private:
    QTemporaryDir folder_;
    devserver::DatabaseAddress address_;
};

/// The real server program on a free port of its own.
class TestServer {
public:
    /// Returns once the server says that it listens.
    [[nodiscard]] bool start(const TestDatabase& database, const QStringList& more = {});
    /// Runs the program to its end.
    [[nodiscard]] bool runToEnd(const QStringList& arguments);
    /// SIGTERM, then the end of the process.
    [[nodiscard]] bool terminate();
    /// SIGKILL.
    [[nodiscard]] bool kill();

    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] int exitCode() const;
    [[nodiscard]] QProcess& process() { return process_; }
    [[nodiscard]] QString standardError() { return QString::fromUtf8(process_.readAllStandardError()); }

private:
    QProcess process_;
    int port_ = 0;
};

struct Reply {
    int status = 0; ///< 0: no reply
    std::string text;
    QJsonObject body;

    [[nodiscard]] QString errorCode() const;
    /// The only result of a push.
    [[nodiscard]] QJsonObject result() const;
};

/// One keep-alive HTTP connection.
class TestClient {
public:
    explicit TestClient(int port, const QByteArray& token = {});

    Reply get(const std::string& path, const httplib::Headers& headers = {});
    Reply post(const std::string& body, const httplib::Headers& headers);
    /// Pushes one mutation record under its own id.
    Reply push(const QJsonObject& mutation);

private:
    [[nodiscard]] httplib::Headers with(const httplib::Headers& headers) const;

    httplib::Client http_;
    std::string authorization_;
};
