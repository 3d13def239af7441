// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// The development server as a process of its own, on a loopback port and an
/// SQLite file of its own. Both stay the same from one start to the next.
class DevServer {
public:
    enum class Data { Empty, Demo };

    struct Answer {
        int status = 0;
        QJsonObject body;
    };

    /// The options are given at each start.
    explicit DevServer(Data data = Data::Empty, QStringList options = {});
    ~DevServer();

    /// Waits until the server listens; the first start takes a free port.
    [[nodiscard]] bool start(const QStringList& more = {});
    /// SIGTERM; false unless it ended cleanly.
    [[nodiscard]] bool stop();
    /// SIGKILL.
    void kill();

    /// "http://127.0.0.1:PORT", or "https" with a certificate
    [[nodiscard]] QString url() const { return m_url; }
    [[nodiscard]] QString databaseFile() const { return m_folder.filePath(u"server.sqlite"_s); }

    /// One request of another client; without a token it is the development user's. `path` starts behind
    /// "/v1". Runs the event loop until the reply is there.
    [[nodiscard]] Answer request(const QByteArray& method, const QString& path, const QJsonObject& body = {},
                                 const QString& idempotencyKey = {}, const QString& token = {}) const;
    /// The development user's first workspace.
    [[nodiscard]] QString workspace() const;
    /// The server's entries of a workspace; of the first one by default.
    [[nodiscard]] QJsonArray entries(const QString& workspace = {}) const;
    /// The server's entries with this description.
    [[nodiscard]] QJsonArray entriesNamed(const QString& description) const;
    /// Another client records one mutation in the first workspace; the result that it gets.
    [[nodiscard]] QJsonObject push(const QString& operation, const QString& entity, int baseVersion,
                                   const QJsonObject& payload) const;

    /// Somebody approves the development user's timesheet of the first workspace for this time.
    void approve(const QDateTime& from, const QDateTime& to) const;

private:
    QTemporaryDir m_folder;
    Data m_data;
    QStringList m_options;
    QString m_url;
    QProcess m_process;
};
