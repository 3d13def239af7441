// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"

#include "tests/support/client.h"
#include "tests/support/sqlitefile.h"

#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <sodium.h>

using namespace Qt::StringLiterals;

namespace {

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

/// A cheap hash, which the server takes as well.
QString hashOf(const QByteArray& password) {
    char hash[crypto_pwhash_STRBYTES];
    const bool made = sodium_init() >= 0 &&
                      crypto_pwhash_str(hash, password.constData(), static_cast<size_t>(password.size()),
                                        crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN) == 0;
    return made ? QString::fromLatin1(hash) : QString();
}

} // namespace

AccountServer::AccountServer(const QStringList& options) : server(DevServer::Data::Empty, options) {
}

bool AccountServer::serve() {
    if (!server.start()) {
        return false;
    }
    addPerson(dana(), u"Dana"_s);
    addPerson(eli(), u"Eli"_s);
    return true;
}

bool AccountServer::connectClient(const QString& front) {
    m_url = front.isEmpty() ? server.url() : front;
    return connectAndLoad(*controller, m_url) && waitForSilence(*controller);
}

void AccountServer::restartClient() {
    controller.reset();
    controller = std::make_unique<Controller>();
}

bool AccountServer::signIn(const QString& email) {
    QSignalSpy ready(controller.get(), &Controller::ready);
    controller->loginAccount(email, password());
    return ready.wait(patienceMs) && controller->accountSignedIn();
}

bool AccountServer::signOut() {
    controller->logoutAccount();
    return QTest::qWaitFor([this] { return !controller->accountSignedIn(); }, patienceMs);
}

bool AccountServer::record(const QString& description) {
    controller->addManual(description, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s, false);
    return QTest::qWaitFor([this] { return controller->pending() == 0 && !controller->busy(); },
                           patienceMs) &&
           waitForSilence(*controller) && !ownerOf(description).isEmpty();
}

QString AccountServer::token() const {
    return controller->durableState().value(u"auth").toObject().value(u"token").toString();
}

int AccountServer::sessions() const {
    return database(u"SELECT COUNT(*) FROM sessions"_s).toInt();
}

int AccountServer::openSessions() const {
    return database(u"SELECT COUNT(*) FROM sessions WHERE revoked_at IS NULL"_s).toInt();
}

QString AccountServer::ownerOf(const QString& description) const {
    return database(u"SELECT u.email FROM time_entries t JOIN users u ON u.id = t.user_id"
                    " WHERE t.description = ?"_s,
                    {description})
        .toString();
}

QVariant AccountServer::database(const QString& statement, const QVariantList& values) const {
    return SqliteFile(server.databaseFile()).run(statement, values);
}

void AccountServer::addPerson(const QString& email, const QString& name) {
    const QString user = newId();
    const QString workspace = newId();
    const QString client = newId();
    SqliteFile file(server.databaseFile());
    file.run(u"INSERT INTO users (id, email, display_name, timezone, password_hash)"
             " VALUES (?, ?, ?, 'UTC', ?)"_s,
             {user, email, name, hashOf(password().toUtf8())});
    file.run(u"INSERT INTO workspaces (id, name, created_at) VALUES (?, ?, 1)"_s,
             {workspace, QString(name + u"'s room"_s)});
    file.run(u"INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"_s, {workspace, user});
    file.run(u"INSERT INTO clients (id, workspace_id, name) VALUES (?, ?, ?)"_s,
             {client, workspace, QString(name + u"'s client"_s)});
    file.run(u"INSERT INTO projects (id, workspace_id, client_id, name, color, archived)"
             " VALUES (?, ?, ?, ?, '#123456', 0)"_s,
             {newId(), workspace, client, QString(name + u"'s project"_s)});
}
