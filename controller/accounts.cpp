// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/wire.h"
#include "state/accountstate.h"

#include <QDesktopServices>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QUrl>

namespace {

constexpr int revocationTimeoutMs = 10000;

} // namespace

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
    if (!m_queue.isEmpty()) {
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
    if (!AccountState::transportAllowed(m_server)) {
        fail(
            QStringLiteral("Personal credentials require HTTPS or loopback. The private HTTP developer entry "
                           "is unchanged."));
        return;
    }
    m_busy = true;
    Q_EMIT changed();
    const QJsonObject body{
        {QStringLiteral("email"), email},
        {QStringLiteral("password"), password},
        {QStringLiteral("client"), QStringLiteral("native")},
        {QStringLiteral("device_name"), QStringLiteral("Timer Qt desktop")},
    };
    exchange("POST", loginPath, body, {},
             [this, callback, server = m_server, generation = m_requestGeneration](const QByteArray& answer,
                                                                                   int status) {
                 const QString token =
                     QJsonDocument::fromJson(answer).object().value(u"session_token").toString();
                 if (generation == m_requestGeneration) {
                     deliver(answer, status, callback);
                 }
                 // A session that the server opened and this device does not keep must not
                 // stay valid, whatever came between the question and its answer.
                 if (status == 200 && token != m_auth.value(u"token").toString()) {
                     revokeUnstoredSession(server, token);
                 }
             });
}

void Controller::applyLoginReply(const QJsonObject& reply, int status) {
    if (status != 200) {
        fail(errorText(reply, QStringLiteral("Personal sign-in failed")));
        return;
    }
    QJsonObject state = durableState();
    QString error;
    const auto persistState = [this](const QJsonObject& candidate) { return m_vault.save(candidate); };
    if (!AccountState::login(state, reply, persistState, &error)) {
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
    if (!m_queue.isEmpty()) {
        fail(QStringLiteral("Pending work prevents logout; the queue was retained"));
        return;
    }
    m_busy = true;
    Q_EMIT changed();
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
    const auto persistState = [this](const QJsonObject& candidate) { return m_vault.save(candidate); };
    if (!AccountState::logout(state, persistState, &error)) {
        fail(error);
        return;
    }
    changeAccount(state);
    fail(QStringLiteral("Signed out. No private developer fallback was opened automatically."));
}

void Controller::changeAccount(const QJsonObject& state) {
    dropReplies();
    m_press.reset();
    m_sessionRefused = false;
    applyDurable(state);
    forgetReport();
}

void Controller::forgetAccount() {
    m_press.reset();
    m_me = {};
    m_workspaces = {};
    m_workspace.clear();
    m_snapshot = {};
    m_serverTimer = {};
    projectQueue();
    forgetReport();
}

void Controller::forgetReport() {
    m_report = {};
    m_reportRows = {};
    adoptPreview({});
}

void Controller::revokeUnstoredSession(const QString& server, const QString& token) {
    // A token with a line break would end its header early and leave the rest of
    // the request to be read as another one.
    if (token.isEmpty() || token.contains(u'\r') || token.contains(u'\n')) {
        return;
    }
    QNetworkRequest request = plainRequest(server + QStringLiteral("/v1/auth/logout"), revocationTimeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    QNetworkReply* reply = m_network.post(request, QByteArrayLiteral(R"({"local_queue_empty":true})"));
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
}

void Controller::openTimesheetWeb() {
    if (!m_server.isEmpty()) {
        QDesktopServices::openUrl(QUrl(m_server + QStringLiteral("/#timesheet")));
    }
}
