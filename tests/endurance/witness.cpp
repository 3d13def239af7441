// SPDX-License-Identifier: MIT
#include "tests/endurance/witness.h"

#include "controller/controller.h"
#include "tests/endurance/faultproxy.h"
#include "tests/support/vaultfile.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QJsonDocument>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QJsonArray without(const QJsonArray& queue, const QJsonArray& other) {
    QJsonArray rest;
    std::copy_if(queue.begin(), queue.end(), std::back_inserter(rest),
                 [&other](const QJsonValue& item) { return !contains(other, item); });
    return rest;
}

} // namespace

QJsonObject storedState(const QString& server, const QByteArray& key) {
    const QByteArray record = sealedRecord(server);
    return record.isEmpty() ? QJsonObject()
                            : QJsonDocument::fromJson(
                                  Vault::unseal(record.mid(4), key, VaultHome::accountAwareContext(server)))
                                  .object();
}

Witness::Witness(const FaultProxy& proxy, Ledger& ledger)
    : m_proxy(proxy), m_server(proxy.url()), m_ledger(ledger) {
}

void Witness::blame(const QString& problem) {
    m_ledger.blame(problem);
}

void Witness::watch(Controller* controller) {
    m_controller = controller;
    m_loaded = false;
    m_identity.clear();
    m_lastPush.clear();
    m_reportAccount.clear();
    m_message.clear();
    connect(controller, &Controller::changed, this, &Witness::see);
}

void Witness::lookAway() {
    if (m_controller) {
        m_controller->disconnect(this);
    }
    m_controller = nullptr;
}

const QByteArray& Witness::key() {
    if (m_key.isEmpty()) {
        m_key = VaultHome::storedKey(m_server);
    }
    return m_key;
}

void Witness::checkKey() {
    if (VaultHome::storedKey(m_server) != key()) {
        blame(u"the key in the credential store is another one"_s);
    }
}

QJsonArray Witness::storedQueue() {
    return storedState(m_server, key()).value(u"queue").toArray();
}

void Witness::see() {
    const QString before = std::exchange(m_message, m_controller->message());
    const bool saidSaved = m_message == savedSentence() && m_message != before;
    m_signedOut = m_signedOut || (saysSignedOut(m_message) && m_message != before);
    const QJsonObject state = m_controller->durableState();
    const QJsonArray queue = state.value(u"queue").toArray();
    noteSecrets(state);
    if (!m_loaded) {
        if (!m_controller->queueReady()) {
            if (saidSaved || !queue.isEmpty()) {
                blame(u"something was recorded though the record was not read"_s);
            }
            return;
        }
        m_loaded = true;
        if (queue != m_queue) {
            blame(u"what waited before a restart does not wait after it"_s);
        }
    }
    if (saidSaved && without(queue, m_queue).isEmpty()) {
        blame(u"somebody was told that something was saved, but nothing was"_s);
    }
    if (queue != m_queue) {
        seeQueue(queue);
    }
}

void Witness::noteSecrets(const QJsonObject& state) {
    const QString token = state.value(u"auth")[u"token"].toString();
    if (!token.isEmpty() && !m_secrets.contains(token)) {
        m_secrets.append(token);
    }
}

void Witness::seeQueue(const QJsonArray& queue) {
    const QJsonArray before = std::exchange(m_queue, queue);
    const QJsonArray removed = without(before, queue);
    const QJsonArray added = without(queue, before);
    const bool sentAgain = added.size() == 1 && removed.size() == 1 && queue.size() == before.size();
    QJsonArray expected = without(before, removed);
    if (sentAgain) {
        m_ledger.recordAgain(removed.first(), mutationOf(added.first()));
        expected.prepend(added.first());
    } else {
        seeRemoved(removed);
        for (const auto& item : added) {
            seeNewItem(item.toObject());
            expected.append(item);
        }
    }
    if (!expected.isEmpty() && !sentAgain && removed.isEmpty()) {
        seeHead(expected.first().toObject(), queue.first().toObject());
        expected.replace(0, queue.first());
    }
    if (!isInOrder(queue, expected, sentAgain ? mutationOf(added.first()) : QJsonObject())) {
        blame(u"the queue is not in the order in which it was recorded"_s);
    }
    if (m_controller->queueReady() && storedQueue() != queue) {
        blame(u"the queue on the disk is another one, with the status: "_s + m_controller->message());
    }
}

void Witness::seeNewItem(const QJsonObject& item) {
    if (m_controller->message() != savedSentence()) {
        blame(u"something waits that nobody was told of, with the status: "_s + m_controller->message());
    }
    const QString account = m_controller->accountId();
    m_ledger.record(account, item.value(u"mutation").toObject(), m_proxy.misnamed(account));
}

void Witness::seeHead(const QJsonObject& before, const QJsonObject& now) {
    if (before == now) {
        return;
    }
    const QString status = now.value(u"status").toString();
    const bool judged =
        before.value(u"status") == u"pending"_s && now.value(u"mutation") == before.value(u"mutation");
    if (!judged || m_ledger.world().verdict(idOf(mutationOf(now))) != status) {
        blame(u"the server never called this change \"%1\""_s.arg(status));
    }
}

void Witness::seeRemoved(const QJsonArray& removed) {
    if (removed.isEmpty()) {
        return;
    }
    if (m_fileName.isEmpty()) {
        const QString id = idOf(mutationOf(removed.first()));
        if (removed.size() != 1 || m_ledger.world().verdict(id) != u"accepted"_s) {
            blame(u"left the queue, but the server never accepted it: "_s + id);
        }
        return;
    }
    const QJsonArray copied = queueIn(m_fileName);
    if (copied != removed) {
        blame(u"removed, but not in the file: "_s +
              QString::fromUtf8(QJsonDocument(removed).toJson(QJsonDocument::Compact)) + u"; there: "_s +
              QString::fromUtf8(QJsonDocument(copied).toJson(QJsonDocument::Compact)));
    }
    for (const auto& item : copied) {
        m_ledger.recordInFile(mutationOf(item));
    }
}

void Witness::seeRequest(const PeerRequest& request) {
    if (!m_controller) {
        return; // of a program that is dead already, as far as its files go
    }
    const QString path = request.path.mid(3);
    const bool leaving = path == u"/auth/logout"_s;
    const QJsonObject state = m_controller->durableState();
    if ((m_signedOut || state.value(u"signed_out").toBool()) && !leaving && path != u"/auth/login"_s) {
        blame(u"a request after the sign-out: "_s + path);
    }
    // Nothing goes on with a former session, nor without one, once another has begun.
    const QString token = state.value(u"auth")[u"token"].toString();
    const QByteArray own = token.isEmpty() ? QByteArray() : "Bearer " + token.toUtf8();
    if (!leaving && path != u"/auth/login"_s && request.headers.value("authorization") != own) {
        blame(u"a request of another session than the client's: "_s + path);
    }
    if (path == u"/sync/push"_s) {
        seePush(request);
    } else {
        m_lastPush.clear();
    }
}

void Witness::seePush(const PeerRequest& request) {
    const QString id = m_ledger.recordPush(request);
    if (id.isEmpty()) {
        return;
    }
    const Ledger::Write& write = m_ledger.of(id);
    const bool repeatedByTheNetworkLayer = id == m_lastPush;
    if (!repeatedByTheNetworkLayer && m_identity != write.account) {
        blame(u"work is pushed while the server calls the account \"%1\", which is of %2"_s.arg(
            m_identity, write.account));
    }
    const QJsonObject head = m_queue.isEmpty() ? QJsonObject() : m_queue.first().toObject();
    if (head.value(u"mutation") != write.mutation || head.value(u"status") != u"pending"_s) {
        blame(u"a push of what is not the waiting head: "_s + id);
    }
    m_identity.clear();
}

void Witness::seeReply(const PeerRequest& request, int status, const QJsonObject& reply) {
    if (request.path == u"/v1/me"_s) {
        m_identity = status == 200 ? reply.value(u"id").toString() : QString();
    }
    if (request.path == u"/v1/auth/login"_s && status == 200) {
        m_signedOut = false;
    }
    if (request.path == u"/v1/sync/push"_s && status == 0) {
        m_lastPush = QString::fromLatin1(request.headers.value("idempotency-key"));
    }
}

void Witness::seeReport() {
    m_reportAccount = m_controller->accountId();
}

void Witness::seeRest(qsizetype waiting) {
    if (!m_controller) {
        return;
    }
    see();
    if (waiting == 0 && (m_controller->busy() || m_controller->syncing())) {
        blame(u"nothing is under way, but the client is %1"_s.arg(m_controller->busy() ? u"busy"_s
                                                                                       : u"syncing"_s));
    }
    const QJsonObject state = m_controller->durableState();
    const QString account = m_controller->accountId();
    const bool signedOut = m_signedOut || state.value(u"signed_out").toBool();
    if (signedOut && (!account.isEmpty() || !m_controller->entries().isEmpty() ||
                      !m_controller->timer().isEmpty() || m_controller->accountSignedIn())) {
        blame(u"signed out, but something of the account is left"_s);
    }
    if (!m_controller->reportRows().isEmpty() && account != m_reportAccount) {
        blame(u"a report is shown to another account"_s);
    }
    const QString workspace = state.value(u"snapshot")[u"workspace_id"].toString();
    const QStringList own = m_ledger.world().workspacesOf(account);
    const bool foreign = !workspace.isEmpty() && !own.isEmpty() && !own.contains(workspace);
    if (foreign && !m_proxy.misnamed(account)) {
        blame(u"a snapshot of another account's workspace"_s);
    }
}
