// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/logging.h"
#include "controller/replies.h"
#include "controller/serveraddress.h"

#include <QSettings>

#include <algorithm>

using namespace Qt::StringLiterals;

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
        fail(u"Pending work prevents changing server or account"_s);
        return;
    }
    const std::optional<QString> address = serverAddress(url);
    if (!address) {
        fail(u"Use HTTPS or the trusted private development server"_s);
        return;
    }
    const bool sameServer = address == m_link.address();
    if (accountSignedIn() && !sameServer) {
        fail(u"Sign out of this personal account before changing servers"_s);
        return;
    }

    if (sameServer) {
        dropReplies();
    } else {
        forgetAccount();
    }
    m_link.setAddress(*address);
    QSettings().setValue(u"server"_s, *address);
    begin(u"Connecting…"_s);

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
        fail(u"The encrypted record for this server is missing on this device. Connect again to "
             "begin anew with the server's data."_s);
        return;
    }
    bool read = false;
    const QJsonObject state = m_vault.load(&read);
    qCDebug(controllerLog) << "the storage is open; its record was read:" << read;
    if (!read) {
        fail(u"Encrypted account/queue could not be authenticated; no identity fallback was attempted"_s);
        return;
    }
    const QJsonObject me = Document::fromJson(state).me;
    // Without a server, the times that are typed are still those of the account.
    m_timezone = me.value(u"timezone").toString(m_timezone);
    // The record of a server can be anew, or somebody else's by now.
    if (me.value(u"id") == m_document.me.value(u"id")) {
        applyDurable(state);
    } else {
        changeAccount(state);
    }
    Q_EMIT changed();
    if (m_document.signedOut) {
        fail(u"Signed out. Use personal login, or explicitly reconnect for private development."_s);
        return;
    }
    fetchIdentity();
}

void Controller::setRecordAside() {
    if (m_busy || m_syncing || !m_vault.recordStuck()) {
        return;
    }
    const bool isReadHere = m_vault.recordLost();
    if (!m_vault.setRecordAside()) {
        fail(u"The file could not be renamed; nothing was changed."_s);
        return;
    }
    if (!isReadHere) {
        connectServer(m_link.address());
        return;
    }
    // The first save finds the file gone, and the second makes it.
    if (m_vault.save(durableState()) || persist()) {
        finish(u"The old file has another name; everything is saved in a new one."_s);
        synchronize();
    }
}

void Controller::reconnectDeveloper() {
    Document candidate = m_document;
    candidate.signedOut = false;
    if (!m_vault.save(candidate.toJson())) {
        fail(u"Unable to store explicit developer reconnect"_s);
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
    send("GET", u"/me"_s, {}, [this](const QJsonObject& reply, int status) {
        noteSession(status);
        if (status != 200 || !isId(reply.value(u"id"))) {
            fail(u"Session unavailable or revoked. Cached work retained; no developer fallback "
                 "was attempted."_s);
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
        fail(u"Account changed; pending work was not reassigned"_s);
        return;
    }
    const QJsonValue formerId = m_document.me.value(u"id");
    if (!formerId.isUndefined() && id != formerId) {
        // Nothing of the former account may show under the new one's name, late replies included.
        forgetAccount();
    }
    m_document.me = identity;
    m_timezone = identity.value(u"timezone").toString(u"Asia/Jerusalem"_s);
    projectQueue();
    Q_EMIT changed();
    send("GET", u"/workspaces"_s, {}, [this](const QJsonObject& reply, int status) {
        const QJsonArray items = reply.value(u"items").toArray();
        if (status != 200 || !std::all_of(items.begin(), items.end(), hasId)) {
            fail(u"Unable to list workspaces for this account"_s);
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
        fail(u"This account has no workspace yet. Create one on its Web account page."_s);
        return;
    }
    const bool stillListed = std::any_of(items.begin(), items.end(), [this](const QJsonValue& item) {
        return item.toObject().value(u"id").toString() == m_document.workspace;
    });
    if (!stillListed) {
        enterWorkspace(items.first().toObject().value(u"id").toString());
    }
    loadWorkspace();
}

void Controller::selectWorkspace(const QString& id) {
    if (m_busy || m_syncing || id == m_document.workspace) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        fail(u"Finish synchronizing pending work before switching the native workspace."_s);
        return;
    }
    enterWorkspace(id);
    loadWorkspace();
}

// A change of what is listed is recorded for the workspace that is chosen: the other one's
// entries must not wait on the screen until the new ones come.
void Controller::enterWorkspace(const QString& id) {
    m_document.workspace = id;
    m_personal.undoable.clear();
    projectQueue();
}
