// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"
#include "state/accountstate.h"

#include <QJsonDocument>

void Controller::loginAccount(const QString& email, const QString& password) {
    if (m_busy || m_syncing) {
        return;
    }
    if (accountSignedIn()) {
        fail(QStringLiteral("Sign out of the current account before logging into another session"));
        return;
    }
    if (!canKeepSession()) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(QStringLiteral("Resolve pending work before personal login"));
        return;
    }
    requestSession(email, password,
                   [this](const QJsonObject& reply, int status) { applyLoginReply(reply, status); });
}

bool Controller::canKeepSession() {
    if (m_readOnly || !queueReady()) {
        fail(QStringLiteral("Unlock protected OS storage before personal login"));
        return false;
    }
    return true;
}

void Controller::requestSession(const QString& email, const QString& password, const Callback& callback) {
    if (!AccountState::transportAllowed(m_link.address())) {
        fail(
            QStringLiteral("Personal credentials require HTTPS or loopback. The private HTTP developer entry "
                           "is unchanged."));
        return;
    }
    begin();
    const QJsonObject body{
        {QStringLiteral("email"), email},
        {QStringLiteral("password"), password},
        {QStringLiteral("client"), QStringLiteral("native")},
        {QStringLiteral("device_name"), QStringLiteral("Timer Qt desktop")},
    };
    // A session that the server opened and this device does not keep must not
    // stay valid, whatever came between the question and its answer.
    const auto revokeUnlessKept = [this, server = m_link.address()](const QByteArray& answer, int status) {
        const QString opened = QJsonDocument::fromJson(answer).object().value(u"session_token").toString();
        if (status == 200 && opened != token()) {
            m_link.revoke(server, opened);
        }
    };
    m_link.send({"POST", QStringLiteral("/auth/login"), body, {}, {}}, callback, revokeUnlessKept);
}

void Controller::applyLoginReply(const QJsonObject& reply, int status) {
    if (status != 200) {
        failAsToldBy(reply, QStringLiteral("Personal sign-in failed"));
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
        fail(QStringLiteral("Pending work prevents logout; the queue was retained"));
        return;
    }
    begin();
    m_signingOut = true;
    send("POST", QStringLiteral("/auth/logout"), {{QStringLiteral("local_queue_empty"), true}},
         [this](const QJsonObject&, int status) { applyLogoutReply(status); });
}

void Controller::applyLogoutReply(int status) {
    m_signingOut = false;
    // 401: the server no longer knows the session, so there is nothing left to end.
    if (status != 200 && status != 204 && status != 401) {
        fail(QStringLiteral("Logout not confirmed; account and protected cache retained"));
        return;
    }
    QJsonObject state = durableState();
    QString error;
    if (!AccountState::logout(state, m_persist, &error)) {
        fail(error);
        return;
    }
    changeAccount(state);
    fail(QStringLiteral("Signed out. No private developer fallback was opened automatically."));
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
