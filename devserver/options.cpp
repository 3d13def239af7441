// SPDX-License-Identifier: MIT
#include "devserver/options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

namespace devserver {
namespace {

constexpr int usageError = 2;

QString defaultFile() {
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) +
           QStringLiteral("/devserver.sqlite");
}

std::variant<DatabaseAddress, Notice> readDatabase(const QString& text) {
    DatabaseAddress address;
    if (text.startsWith(u"sqlite:") && text.size() > 7) {
        address.name = QFileInfo(text.mid(7)).absoluteFilePath();
        return address;
    }
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != u"postgresql" || url.path().size() < 2 || url.hasQuery() ||
        url.hasFragment()) {
        return Notice{QStringLiteral("The database must be sqlite:FILE or postgresql://USER@HOST/DB."),
                      usageError};
    }
    if (!url.password().isEmpty()) {
        return Notice{
            QStringLiteral("Keep the password out of the command line: put it into ~/.pgpass or PGPASSWORD."),
            usageError};
    }
    address.kind = DatabaseAddress::Kind::Postgresql;
    address.name = url.path(QUrl::FullyDecoded).mid(1);
    address.host = url.host();
    address.port = url.port();
    address.user = url.userName(QUrl::FullyDecoded);
    return address;
}

struct Known {
    QCommandLineOption listen{QStringLiteral("listen"),
                              QStringLiteral("Listen here; port 0 takes any free port."),
                              QStringLiteral("HOST:PORT"), QStringLiteral("127.0.0.1:18080")};
    QCommandLineOption database{
        QStringLiteral("database"),
        QStringLiteral("Keep the data here: sqlite:FILE or postgresql://USER@HOST/DB."),
        QStringLiteral("address"), QStringLiteral("sqlite:") + defaultFile()};
    QCommandLineOption demo{
        QStringLiteral("demo"),
        QStringLiteral("Fill an empty database with a year of believable work, and say who can sign in.")};
    QCommandLineOption revoke{QStringLiteral("revoke-sessions"),
                              QStringLiteral("End all sessions before the first request is answered.")};
    QCommandLineOption certificate{QStringLiteral("tls-certificate"),
                                   QStringLiteral("Serve https with this certificate, in PEM form."),
                                   QStringLiteral("file")};
    QCommandLineOption key{QStringLiteral("tls-key"),
                           QStringLiteral("The certificate's private key, in PEM form without a passphrase."),
                           QStringLiteral("file")};
};

std::variant<Options, Notice> readValues(const QCommandLineParser& parser, const Known& known) {
    const auto address = parseListenAddress(parser.value(known.listen));
    if (!address) {
        return Notice{
            QStringLiteral("The address to listen on must be HOST:PORT with an IP address or localhost."),
            usageError};
    }
    const auto database = readDatabase(parser.value(known.database));
    if (const auto* notice = std::get_if<Notice>(&database)) {
        return *notice;
    }
    if (parser.isSet(known.certificate) != parser.isSet(known.key)) {
        return Notice{QStringLiteral("A certificate and its key belong together: give both or neither."),
                      usageError};
    }
    Options options{*address, std::get<DatabaseAddress>(database), parser.isSet(known.demo),
                    parser.isSet(known.revoke), std::nullopt};
    if (parser.isSet(known.certificate)) {
        options.tls = {parser.value(known.certificate), parser.value(known.key)};
    }
    return options;
}

} // namespace

std::variant<Options, Notice> readOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "The Timer.Kelvaro development server, for one machine and never for the open network."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const Known known;
    parser.addOptions({known.listen, known.database, known.demo, known.revoke, known.certificate, known.key});
    if (!parser.parse(arguments)) {
        return Notice{parser.errorText(), usageError};
    }
    if (parser.isSet(help)) {
        return Notice{parser.helpText(), 0};
    }
    if (parser.isSet(version)) {
        return Notice{QStringLiteral("timer-kelvaro-devserver ") + QCoreApplication::applicationVersion(), 0};
    }
    if (!parser.positionalArguments().isEmpty()) {
        return Notice{
            QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().constFirst()),
            usageError};
    }
    return readValues(parser, known);
}

} // namespace devserver
