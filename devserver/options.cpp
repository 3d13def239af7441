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
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u"/devserver.sqlite"_s;
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
        return Notice{u"The database must be sqlite:FILE or postgresql://USER@HOST/DB."_s, usageError};
    }
    if (!url.password().isEmpty()) {
        return Notice{u"Keep the password out of the command line: put it into ~/.pgpass or PGPASSWORD."_s,
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
    QCommandLineOption listen{u"listen"_s, u"Listen here; port 0 takes any free port."_s, u"HOST:PORT"_s,
                              u"127.0.0.1:18080"_s};
    QCommandLineOption database{u"database"_s,
                                u"Keep the data here: sqlite:FILE or postgresql://USER@HOST/DB."_s,
                                u"address"_s, u"sqlite:"_s + defaultFile()};
    QCommandLineOption demo{
        u"demo"_s, u"Fill an empty database with a year of believable work, and say who can sign in."_s};
    QCommandLineOption revoke{u"revoke-sessions"_s,
                              u"End all sessions before the first request is answered."_s};
    QCommandLineOption certificate{u"tls-certificate"_s, u"Serve https with this certificate, in PEM form."_s,
                                   u"file"_s};
    QCommandLineOption key{u"tls-key"_s,
                           u"The certificate's private key, in PEM form without a passphrase."_s, u"file"_s};
};

std::variant<Options, Notice> readValues(const QCommandLineParser& parser, const Known& known) {
    const auto address = parseListenAddress(parser.value(known.listen));
    if (!address) {
        return Notice{u"The address to listen on must be HOST:PORT with an IP address or localhost."_s,
                      usageError};
    }
    const auto database = readDatabase(parser.value(known.database));
    if (const auto* notice = std::get_if<Notice>(&database)) {
        return *notice;
    }
    if (parser.isSet(known.certificate) != parser.isSet(known.key)) {
        return Notice{u"A certificate and its key belong together: give both or neither."_s, usageError};
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
    parser.setApplicationDescription(
        u"The Timer.Kelvaro development server, for one machine and never for the open network."_s);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const Known known;
    parser.addOptions({known.listen, known.database, known.demo, known.revoke, known.certificate, known.key});
    if (!parser.parse(arguments)) {
        return Notice{parser.errorText(), usageError};
    }
    // Qt adds "help-all" to "help", and has nothing more to say with it.
    if (parser.isSet(help) || parser.isSet(u"help-all"_s)) {
        return Notice{parser.helpText(), 0};
    }
    if (parser.isSet(version)) {
        return Notice{u"timer-kelvaro-devserver "_s + QCoreApplication::applicationVersion(), 0};
    }
    if (!parser.positionalArguments().isEmpty()) {
        return Notice{u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().constFirst()),
                      usageError};
    }
    return readValues(parser, known);
}

} // namespace devserver
