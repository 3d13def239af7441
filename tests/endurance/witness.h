// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/ledger.h"
#include "tests/support/scriptedpeer.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class Controller;
class FaultProxy;

/// The document in the sealed record of this server; empty where there is none.
[[nodiscard]] QJsonObject storedState(const QString& server, const QByteArray& key);

/// Watches one client from outside: what it shows, what is sealed on its disk,
/// and what it sends.
class Witness : public QObject {
public:
    Witness(const FaultProxy& proxy, Ledger& ledger);

    /// From now on the client is this program; what waited in the one before must wait in it.
    void watch(Controller* controller);
    /// Until then, nothing that happens counts.
    void lookAway();
    /// What leaves the queue from now on goes into this file; with an empty name, to the server.
    void expectFile(const QString& fileName) { m_fileName = fileName; }

    void seeRequest(const PeerRequest& request);
    void seeReply(const PeerRequest& request, int status, const QJsonObject& reply);
    /// Nothing is under way but `waiting` requests: what must hold in every such moment.
    void seeRest(qsizetype waiting);
    /// A report was asked for.
    void seeReport();
    /// A person presses Connect, which ends a sign-out.
    void seeConnect() { m_signedOut = false; }

    /// The queue in the sealed record.
    [[nodiscard]] QJsonArray storedQueue();
    /// The record's key in the credential store, as it first was.
    [[nodiscard]] const QByteArray& key();
    void checkKey();
    /// The session tokens that the client has had.
    [[nodiscard]] const QStringList& secrets() const { return m_secrets; }
    void blame(const QString& problem);

private:
    void see();
    void noteSecrets(const QJsonObject& state);
    void seeQueue(const QJsonArray& queue);
    void seeNewItem(const QJsonObject& item);
    void seeHead(const QJsonObject& before, const QJsonObject& now);
    void seeRemoved(const QJsonArray& removed);
    void seePush(const PeerRequest& request);

    const FaultProxy& m_proxy;
    QString m_server;
    Ledger& m_ledger;
    QPointer<Controller> m_controller;
    QByteArray m_key;
    QJsonArray m_queue;
    QString m_message;
    QStringList m_secrets;
    bool m_loaded = false;
    /// A person was told so, and neither connected nor signed in since: with no program in between.
    bool m_signedOut = false;
    QString m_fileName;
    QString m_reportAccount;
    /// Who the client was told to be since its last push; what it is told is not always true.
    QString m_identity;
    /// Whose answer was lost just now: the network layer may repeat it, without another look at who asks.
    QString m_lastPush;
};
