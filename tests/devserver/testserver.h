// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTcpSocket>
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
    [[nodiscard]] const devserver::DatabaseAddress& address() const { return m_address; }
    /// The value for `--database`.
    [[nodiscard]] QString option() const;
    /// The first value of the first row.
    [[nodiscard]] QVariant value(const QString& sql, const QVariantList& values = {}) const;
    void run(const QString& sql, const QVariantList& values = {}) const;

private:
    QTemporaryDir m_folder;
    devserver::DatabaseAddress m_address;
};

/// The real server program on a free port of its own.
class TestServer {
public:
    TestServer() = default;
    ~TestServer();
    Q_DISABLE_COPY_MOVE(TestServer)

    /// Returns once the server says that it listens.
    [[nodiscard]] bool start(const TestDatabase& database, const QStringList& more = {});
    /// Starts the program and waits for nothing.
    void launch(const QStringList& arguments);
    /// Runs the program to its end.
    [[nodiscard]] bool runToEnd(const QStringList& arguments);
    /// SIGTERM, then the end of the process.
    [[nodiscard]] bool terminate();
    /// SIGKILL.
    [[nodiscard]] bool kill();

    [[nodiscard]] int port() const { return m_port; }
    /// "http://127.0.0.1:PORT"
    [[nodiscard]] const QString& url() const { return m_url; }
    /// What the last start said before it listened.
    [[nodiscard]] const QByteArray& announced() const { return m_announced; }
    [[nodiscard]] int exitCode() const;
    [[nodiscard]] QProcess& process() { return m_process; }
    [[nodiscard]] QString standardError() { return QString::fromUtf8(m_process.readAllStandardError()); }

private:
    QProcess m_process;
    QByteArray m_announced;
    QString m_url;
    int m_port = 0;
};

/// The most memory that a process ever held, in KiB.
[[nodiscard]] qint64 peakMemory(qint64 process);

struct Reply {
    int status = 0; ///< 0: no reply
    std::string text;
    QJsonObject body;
    std::string tag{}; ///< the `ETag`

    [[nodiscard]] QString errorCode() const;
    /// The only result of a push.
    [[nodiscard]] QJsonObject result() const;
};

/// A connection that sends what no HTTP client would.
class RawConnection {
public:
    explicit RawConnection(int port);

    void send(const QByteArray& bytes);
    /// Reads until `part` arrives; false when it does not.
    [[nodiscard]] bool readUntil(const QByteArray& part);
    /// Reads until the server closes; false when it does not.
    [[nodiscard]] bool readToEnd();
    [[nodiscard]] const QByteArray& received() const { return m_received; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

/// One keep-alive HTTP connection.
class TestClient {
public:
    explicit TestClient(int port, const QByteArray& token = {});

    /// Comes from another of this machine's addresses, such as 127.0.0.2.
    void comeFrom(const std::string& address) { m_http.set_interface(address); }
    /// Gives up after so many seconds without progress.
    void waitFor(int seconds) { m_http.set_read_timeout(seconds); }

    Reply get(const std::string& path, const httplib::Headers& headers = {});
    Reply post(const std::string& body, const httplib::Headers& headers);
    /// Posts an object as JSON to any address.
    Reply postTo(const std::string& path, const QJsonObject& body, const httplib::Headers& headers = {});
    /// Pushes one mutation record under its own id.
    Reply push(const QJsonObject& mutation);

private:
    [[nodiscard]] httplib::Headers with(const httplib::Headers& headers) const;

    httplib::Client m_http;
    std::string m_authorization;
};
