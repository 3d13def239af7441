// SPDX-License-Identifier: MIT
#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

#include <optional>

class QCoreApplication;

/// What a person asks for at the start, with the options beside Qt's own.
class CommandLine {
public:
    CommandLine();

    /// Whether help or the version is all that is wanted, for which no display is needed; to be asked
    /// before the application object is made.
    [[nodiscard]] bool onlyTells(int argc, const char* const* argv);
    /// Reads what Qt has left of the arguments. Ends the process after help and version, and with one
    /// sentence and code 1 where an option is unknown or something else is named.
    void read(const QCoreApplication& application);

    /// The address that was given, as it is.
    [[nodiscard]] std::optional<QString> server() const { return valueOf(m_server); }
    /// Where the read-only probe writes its result; nothing when there is to be none.
    [[nodiscard]] std::optional<QString> probeFile() const { return valueOf(m_probe); }

private:
    [[nodiscard]] std::optional<QString> valueOf(const QCommandLineOption& option) const;

    QCommandLineParser m_parser;
    QCommandLineOption m_help;
    QCommandLineOption m_version;
    QCommandLineOption m_server;
    QCommandLineOption m_probe;
};
