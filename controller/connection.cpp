// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/logging.h"
#include "controller/replies.h"
#include "controller/serveraddress.h"

#include <QSettings>

#include <algorithm>

namespace {

bool hasId(const QJsonValue& item) {
    return isId(item.toObject().value(u"id"));
}

} // namespace

void Controller::connectServer(const QString& url) {
    if (m_busy || m_syncing) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(QStringLiteral("Pending work prevents changing server or account"));
        return;
    }
    const std::optional<QString> address = serverAddress(url);
    if (!address) {
        fail(QStringLiteral("Use HTTPS or the trusted private development server"));
        return;
    }
    const bool sameServer = address == m_link.address();
    if (accountSignedIn() && !sameServer) {
        fail(QStringLiteral("Sign out of this personal account before changing servers"));
        return;
    }

    if (sameServer) {
        dropReplies();
    } else {
        forgetAccount();
    }
    m_link.setAddress(*address);
    QSettings().setValue(QStringLiteral("server"), *address);
    begin(QStringLiteral("Connecting…"));

    if (m_readOnly) {
        m_document.auth = {};
        m_document.signedOut = false;
        fetchIdentity();
        return;
    }
    // The open vault is that of the previous address: another server's state
    // must never be saved into it.
    if (m_document.signedOut && sameServer && queueReady()) {
        reconnectDeveloper();
        return;
    }
    m_vault.unlock(*address);
}

void Controller::vaultReady() {
    if (m_vault.recordMissing()) {
        fail(
            QStringLiteral("The encrypted record for this server is missing on this device. Connect again to "
                           "begin anew with the server's data."));
        return;
    }
    bool read = false;
    const QJsonObject state = m_vault.load(&read);
    qCDebug(controllerLog) << "the storage is open; its record was read:" << read;
    if (!read) {
        fail(QStringLiteral(
            "Encrypted account/queue could not be authenticated; no identity fallback was attempted"));
        return;
    }
    // The record of a server can be anew, or somebody else's by now.
    if (Document::fromJson(state).me.value(u"id") == m_document.me.value(u"id")) {
        applyDurable(state);
    } else {
        changeAccount(state);
    }
    Q_EMIT changed();
    if (m_document.signedOut) {
        fail(QStringLiteral(
            "Signed out. Use personal login, or explicitly reconnect for private development."));
        return;
    }
    fetchIdentity();
}

void Controller::reconnectDeveloper() {
    Document candidate = m_document;
    candidate.signedOut = false;
    if (!m_vault.save(candidate.toJson())) {
        fail(QStringLiteral("Unable to store explicit developer reconnect"));
        return;
    }
    m_document.signedOut = false;
    fetchIdentity();
}

void Controller::fetchIdentity() {
    if (m_document.signedOut) {
        return;
    }
    begin();
    send("GET", QStringLiteral("/me"), {}, [this](const QJsonObject& reply, int status) {
        noteSession(status);
        if (status != 200 || !isId(reply.value(u"id"))) {
            fail(QStringLiteral("Session unavailable or revoked. Cached work retained; no developer fallback "
                                "was attempted."));
            return;
        }
        adoptIdentity(reply);
    });
}

void Controller::adoptIdentity(const QJsonObject& identity) {
    const QJsonValue id = identity.value(u"id");
    const bool foreignSession = accountSignedIn() && id != m_document.auth.value(u"user_id");
    const bool foreignWork = !m_document.queue.isEmpty() && id != m_document.me.value(u"id");
    if (foreignSession || foreignWork) {
        fail(QStringLiteral("Account changed; pending work was not reassigned"));
        return;
    }
    const QJsonValue formerId = m_document.me.value(u"id");
    if (!formerId.isUndefined() && id != formerId) {
        // Nothing of the former account may show under the new one's name, late replies included.
        forgetAccount();
    }
    m_document.me = identity;
    m_timezone = identity.value(u"timezone").toString(QStringLiteral("Asia/Jerusalem"));
    projectQueue();
    send("GET", QStringLiteral("/workspaces"), {}, [this](const QJsonObject& reply, int status) {
        const QJsonArray items = reply.value(u"items").toArray();
        if (status != 200 || !std::all_of(items.begin(), items.end(), hasId)) {
            fail(QStringLiteral("Unable to list workspaces for this account"));
            return;
        }
        adoptWorkspaces(items);
    });
}

void Controller::adoptWorkspaces(const QJsonArray& items) {
    m_document.workspaces = items;
    if (items.isEmpty()) {
        m_document.workspace.clear();
        m_document.snapshot = {};
        m_document.timer = {};
        projectQueue();
        persist();
        fail(QStringLiteral("This account has no workspace yet. Create one on its Web account page."));
        return;
    }
    const bool stillListed = std::any_of(items.begin(), items.end(), [this](const QJsonValue& item) {
        return item.toObject().value(u"id").toString() == m_document.workspace;
    });
    if (!stillListed) {
        m_document.workspace = items.first().toObject().value(u"id").toString();
    }
    loadWorkspace();
}

void Controller::selectWorkspace(const QString& id) {
    if (m_busy || m_syncing || id == m_document.workspace) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(QStringLiteral("Finish synchronizing pending work before switching the native workspace."));
        return;
    }
    m_document.workspace = id;
    loadWorkspace();
}
