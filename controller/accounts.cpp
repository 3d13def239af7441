// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"
#include "controller/serveraddress.h"
#include "state/accountstate.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

void Controller::loginAccount(const QString& email, const QString& password) {
    if (m_busy || m_syncing) {
        return;
    }
    if (accountSignedIn()) {
        fail(u"Sign out of the current account before logging into another session"_s);
        return;
    }
    if (!canKeepSession()) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(u"Resolve pending work before personal login"_s);
        return;
    }
    requestSession(email, password,
                   [this](const QJsonObject& reply, int status) { applyLoginReply(reply, status); });
}

bool Controller::canKeepSession() {
    // A record whose file went away is made anew by a save, and nothing else saves while nobody is signed in.
    const bool isKept = queueReady() || (m_vault.recordLost() && m_vault.save(durableState()));
    if (m_readOnly || !isKept) {
        fail(u"Unlock protected OS storage before personal login"_s);
        return false;
    }
    return true;
}

void Controller::requestSession(const QString& email, const QString& password, const Callback& callback) {
    if (!AccountState::transportAllowed(m_link.address())) {
        fail(u"Personal credentials require HTTPS or loopback. The private HTTP developer entry "
             "is unchanged."_s);
        return;
    }
    begin();
    const QJsonObject body{
        {u"email"_s, email},
        {u"password"_s, password},
        {u"client"_s, u"native"_s},
        {u"device_name"_s, u"Timer Qt desktop"_s},
    };
    // A session that the server opened and this device does not keep must not
    // stay valid, whatever came between the question and its answer.
    const auto revokeUnlessKept = [this, server = m_link.address()](const QByteArray& answer, int status) {
        const QString opened = QJsonDocument::fromJson(answer).object().value(u"session_token").toString();
        if (status == 200 && opened != token()) {
            m_link.revoke(server, opened);
        }
    };
    m_link.send({"POST", u"/auth/login"_s, body, {}, {}}, callback, revokeUnlessKept);
}

void Controller::applyLoginReply(const QJsonObject& reply, int status) {
    if (status != 200) {
        failAsToldBy(reply, u"Personal sign-in failed"_s);
        return;
    }
    QJsonObject state = durableState();
    QString error;
    if (!AccountState::login(state, reply, m_persist, &error)) {
        fail(error);
        return;
    }
    changeAccount(state);
    fetchIdentity();
}

void Controller::logoutAccount() {
    if (m_busy || m_syncing || !accountSignedIn()) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(u"Pending work prevents logout; the queue was retained"_s);
        return;
    }
    begin();
    m_signingOut = true;
    send("POST", u"/auth/logout"_s, {{u"local_queue_empty"_s, true}},
         [this](const QJsonObject&, int status) { applyLogoutReply(status); });
}

void Controller::applyLogoutReply(int status) {
    m_signingOut = false;
    // 401: the server no longer knows the session, so there is nothing left to end.
    if (status != 200 && status != 204 && status != 401) {
        m_personal.signOutUnconfirmed = true;
        fail(u"Logout not confirmed; account and protected cache retained"_s);
        return;
    }
    QJsonObject state = durableState();
    QString error;
    if (!AccountState::logout(state, m_persist, &error)) {
        fail(error);
        return;
    }
    changeAccount(state);
    fail(u"Signed out. No private developer fallback was opened automatically."_s);
}

bool Controller::signOutUnconfirmed() const {
    return m_personal.signOutUnconfirmed;
}

void Controller::leaveServer(const QString& url) {
    if (m_busy || m_syncing || !m_personal.signOutUnconfirmed) {
        return;
    }
    const std::optional<QString> address = serverAddress(url);
    if (address && address != m_link.address() && m_document.queue.isEmpty()) {
        changeAccount({});
    }
    connectServer(url);
}

void Controller::changeAccount(const QJsonObject& state) {
    dropReplies();
    m_personal = {};
    applyDurable(state);
}

void Controller::noticeAccount() {
    const QString account = accountId().isEmpty() ? QString() : server() + u' ' + accountId();
    const bool sessionEnded = m_wasSignedIn && !accountSignedIn();
    const bool another = !account.isEmpty() && !m_lastAccount.isEmpty() && account != m_lastAccount;
    m_wasSignedIn = accountSignedIn();
    if (sessionEnded || !account.isEmpty()) {
        m_lastAccount = account;
    }
    if (sessionEnded || another) {
        Q_EMIT accountLeft();
    }
}

void Controller::forgetAccount() {
    Document blank;
    blank.auth = m_document.auth;
    blank.signedOut = m_document.signedOut;
    changeAccount(blank.toJson());
}
