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

} // namespace

std::variant<Options, Notice> readOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "The Timer.Kelvaro development server, for one machine and never for the open network."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption listen(QStringLiteral("listen"),
                                    QStringLiteral("Listen here; port 0 takes any free port."),
                                    QStringLiteral("HOST:PORT"), QStringLiteral("127.0.0.1:18080"));
    const QCommandLineOption database(
        QStringLiteral("database"),
        QStringLiteral("Keep the data here: sqlite:FILE or postgresql://USER@HOST/DB."),
        QStringLiteral("address"), QStringLiteral("sqlite:") + defaultFile());
    const QCommandLineOption demo(QStringLiteral("demo"),
                                  QStringLiteral("Fill an empty database with a year of believable work."));
    const QCommandLineOption revoke(QStringLiteral("revoke-sessions"),
                                    QStringLiteral("Sign everyone out before anything is served."));
    parser.addOptions({listen, database, demo, revoke});
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
    const auto address = parseListenAddress(parser.value(listen));
    if (!address) {
        return Notice{
            QStringLiteral("The address to listen on must be HOST:PORT with an IP address or localhost."),
            usageError};
    }
    const auto opened = readDatabase(parser.value(database));
    if (const auto* notice = std::get_if<Notice>(&opened)) {
        return *notice;
    }
    return Options{*address, std::get<DatabaseAddress>(opened), parser.isSet(demo), parser.isSet(revoke)};
}

} // namespace devserver
