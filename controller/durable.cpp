// SPDX-License-Identifier: MIT
#include "controller/controller.h"

QJsonObject Controller::durableState() const {
    return {
        {QStringLiteral("auth"), m_auth},
        {QStringLiteral("signed_out"), m_signedOut},
        {QStringLiteral("me"), m_me},
        {QStringLiteral("workspaces"), m_workspaces},
        {QStringLiteral("workspace"), m_workspace},
        {QStringLiteral("snapshot"), m_snapshot},
        {QStringLiteral("timer"), m_serverTimer},
        {QStringLiteral("queue"), m_queue},
    };
}

void Controller::applyDurable(const QJsonObject& state) {
    m_auth = state.value(u"auth").toObject();
    m_signedOut = state.value(u"signed_out").toBool();
    m_queue = state.value(u"queue").toArray();
    m_me = state.value(u"me").toObject();
    m_workspaces = state.value(u"workspaces").toArray();
    m_workspace = state.value(u"workspace").toString();
    m_snapshot = state.value(u"snapshot").toObject();
    m_snapshotWorkspace = m_snapshot.value(u"workspace_id").toString(m_workspace);
    m_serverTimer = state.value(u"timer").toObject();
    projectQueue();
}

bool Controller::persist() {
    if (m_readOnly || !secureStorage()) {
        return false;
    }
    if (m_vault.save(durableState())) {
        return true;
    }
    fail(QStringLiteral("Secure local save failed; the retained queue was not acknowledged locally."));
    return false;
}
