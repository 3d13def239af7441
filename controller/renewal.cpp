// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/wire.h"
#include "state/accountstate.h"

bool Controller::sessionRefused() const {
    return m_sessionRefused;
}

void Controller::noteSession(int status) {
    m_sessionRefused = m_sessionRefused && status != 200;
}

void Controller::renewSession(const QString& email, const QString& password) {
    if (m_busy || !m_sessionRefused) {
        return;
    }
    if (m_syncing) {
        say(QStringLiteral("Another request is under way; sign in again when it has ended."));
        return;
    }
    if (!canKeepSession()) {
        return;
    }
    requestSession(email, password,
                   [this](const QJsonObject& reply, int status) { applyRenewalReply(reply, status); });
}

void Controller::applyRenewalReply(const QJsonObject& reply, int status) {
    if (status != 200) {
        fail(errorText(reply, QStringLiteral("Personal sign-in failed")));
        return;
    }
    QJsonObject state = durableState();
    QString error;
    const auto persistState = [this](const QJsonObject& candidate) { return m_vault.save(candidate); };
    if (!AccountState::renew(state, reply, persistState, &error)) {
        fail(error);
        return;
    }
    dropReplies();
    m_auth = state.value(u"auth").toObject();
    m_sessionRefused = false;
    fetchIdentity();
}
