// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <string>

namespace httplib {
class Client;
}

/// The real development server with a workspace of four years, `entries` closed
/// entries of eight people, on an SQLite file. What is measured of it is
/// measured from outside: replies over one kept-alive connection, and so from one
/// of its threads, and the memory of its process.
class ReportServer {
public:
    static const QString from; ///< the first day with entries
    static const QString to;   ///< the last one
    static const QString zone;

    explicit ReportServer(int entries);
    ~ReportServer();
    Q_DISABLE_COPY_MOVE(ReportServer)

    [[nodiscard]] QString databaseFile() const;
    /// The path of the workspace, from "/v1" on.
    [[nodiscard]] std::string workspacePath() const;

    /// The whole body of a reply; throws unless it is a 200 or a 201.
    [[nodiscard]] std::string get(const std::string& path) const;
    [[nodiscard]] std::string post(const std::string& path, const QJsonObject& body) const;
    /// The reply to a report over all entries.
    [[nodiscard]] std::string report(const QString& kind, const QString& group) const;

    /// How many seconds bare SQL takes to read the entries that a report is of, past the server;
    /// throws where they are not so many.
    [[nodiscard]] double readBare(int entries) const;

    /// Empties the tables of the snapshots, past the server.
    void forgetReports() const;

    /// Ends the server and starts it anew on the same file.
    void restart();

    /// In MB, when it had only just answered a first request.
    [[nodiscard]] double idleMemory() const { return m_idle; }
    /// Starts a new count of the highest memory.
    void resetPeak() const;
    /// In MB, VmHWM of the process since then.
    [[nodiscard]] double peakMemory() const;

private:
    void fill(int entries) const;
    void start();

    QTemporaryDir m_folder;
    QProcess m_process;
    std::unique_ptr<httplib::Client> m_client;
    double m_idle = 0;
};
