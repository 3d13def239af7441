// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/serveraddress.h"
#include "controller/wire.h"

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
    if (!m_queue.isEmpty()) {
        fail(QStringLiteral("Pending work prevents changing server or account"));
        return;
    }
    const std::optional<QString> address = serverAddress(url);
    if (!address) {
        fail(QStringLiteral("Use HTTPS or the trusted private development server"));
        return;
    }
    const bool sameServer = address == m_server;
    if (accountSignedIn() && !sameServer) {
        fail(QStringLiteral("Sign out of this personal account before changing servers"));
        return;
    }

    dropReplies();
    if (!sameServer) {
        forgetAccount();
    }
    m_server = *address;
    QSettings().setValue(QStringLiteral("server"), m_server);
    m_busy = true;
    say(QStringLiteral("Connecting…"));

    if (m_readOnly) {
        m_auth = {};
        m_signedOut = false;
        fetchIdentity();
        return;
    }
    // The open vault is that of the previous address: another server's state
    // must never be saved into it.
    if (m_signedOut && sameServer && queueReady()) {
        reconnectDeveloper();
        return;
    }
    m_vault.unlock(m_server);
}

void Controller::reconnectDeveloper() {
    QJsonObject state = durableState();
    state.insert(u"signed_out", false);
    if (!m_vault.save(state)) {
        fail(QStringLiteral("Unable to store explicit developer reconnect"));
        return;
    }
    m_signedOut = false;
    fetchIdentity();
}

void Controller::fetchIdentity() {
    if (m_signedOut) {
        return;
    }
    m_busy = true;
    Q_EMIT changed();
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
    const bool foreignSession = accountSignedIn() && id != m_auth.value(u"user_id");
    const bool foreignWork = !m_queue.isEmpty() && id != m_me.value(u"id");
    if (foreignSession || foreignWork) {
        fail(QStringLiteral("Account changed; pending work was not reassigned"));
        return;
    }
    const QJsonValue formerId = m_me.value(u"id");
    if (!formerId.isUndefined() && id != formerId) {
        // Nothing of the former account may show under the new one's name, late replies included.
        dropReplies();
        forgetAccount();
    }
    m_me = identity;
    m_timezone = identity.value(u"timezone").toString(QStringLiteral("Asia/Jerusalem"));
    describeRetained();
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
    m_workspaces = items;
    if (items.isEmpty()) {
        m_workspace.clear();
        m_snapshot = {};
        m_serverTimer = {};
        projectQueue();
        persist();
        fail(QStringLiteral("This account has no workspace yet. Create one on its Web account page."));
        return;
    }
    const bool stillListed = std::any_of(items.begin(), items.end(), [this](const QJsonValue& item) {
        return item.toObject().value(u"id").toString() == m_workspace;
    });
    if (!stillListed) {
        m_workspace = items.first().toObject().value(u"id").toString();
    }
    loadWorkspace();
}

void Controller::selectWorkspace(const QString& id) {
    if (m_busy || m_syncing || id == m_workspace) {
        return;
    }
    if (!m_queue.isEmpty()) {
        fail(QStringLiteral("Finish synchronizing pending work before switching the native workspace."));
        return;
    }
    m_workspace = id;
    loadWorkspace();
}
