// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/support/devserver.h"

#include <QString>
#include <QVariantList>

#include <memory>

using namespace Qt::StringLiterals;

/// The real server with two people who can sign in, Dana and Eli, and a client
/// of it. Everything of Dana's is named after her, so that it can be found.
class AccountServer {
public:
    static QString dana() { return u"dana@example.org"_s; }
    static QString eli() { return u"eli@example.org"_s; }
    static QString password() { return u"correct horse battery staple"_s; }

    /// The options are the server's, at each of its starts.
    explicit AccountServer(const QStringList& options = {});

    /// The server and its people.
    [[nodiscard]] bool serve();
    /// Connects the client to it, or to what stands in front of it.
    [[nodiscard]] bool connectClient(const QString& front = {});
    /// Both.
    [[nodiscard]] bool start() { return serve() && connectClient(); }
    /// Ends the client and starts it again, not connected.
    void restartClient();
    [[nodiscard]] bool signIn(const QString& email);
    [[nodiscard]] bool signOut();
    /// Records a closed entry; false unless the server has it.
    [[nodiscard]] bool record(const QString& description);

    /// The address that the client uses.
    [[nodiscard]] const QString& url() const { return m_url; }
    /// The client's session token.
    [[nodiscard]] QString token() const;
    [[nodiscard]] int sessions() const;
    [[nodiscard]] int openSessions() const;
    /// The e-mail address of whoever the server keeps this entry for.
    [[nodiscard]] QString ownerOf(const QString& description) const;
    /// One statement in the server's database.
    QVariant database(const QString& statement, const QVariantList& values = {}) const;

    DevServer server;
    std::unique_ptr<Controller> controller = std::make_unique<Controller>();

private:
    void addPerson(const QString& email, const QString& name);

    QString m_url;
};
