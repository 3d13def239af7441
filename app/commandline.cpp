// SPDX-License-Identifier: MIT
#include "app/commandline.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

CommandLine::CommandLine()
    : m_help(m_parser.addHelpOption()), m_version(m_parser.addVersionOption()),
      m_server(u"server"_s, u"Server URL"_s, u"url"_s),
      m_probe(u"read-only-probe"_s, u"Write a read-only native smoke-test result and exit"_s, u"file"_s) {
    m_parser.addOption(m_server);
    m_parser.addOption(m_probe);
}

bool CommandLine::onlyTells(int argc, const char* const* argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }
    // Qt's own options are still among them, which makes them unknown here; its "-reverse" is not "-v".
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    static_cast<void>(m_parser.parse(arguments));
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
    return m_parser.isSet(m_help) || m_parser.isSet(u"help-all"_s) || m_parser.isSet(m_version);
}

void CommandLine::read(const QCoreApplication& application) {
    m_parser.process(application);
    if (!m_parser.positionalArguments().isEmpty()) {
        std::fputs("Timer.Kelvaro takes nothing but options; a server's address goes behind --server.\n",
                   stderr);
        std::exit(EXIT_FAILURE);
    }
}

std::optional<QString> CommandLine::valueOf(const QCommandLineOption& option) const {
    return m_parser.isSet(option) ? std::optional(m_parser.value(option)) : std::nullopt;
}
