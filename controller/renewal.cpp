// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"
#include "state/accountstate.h"

using namespace Qt::StringLiterals;

bool Controller::sessionRefused() const {
    return m_personal.sessionRefused;
}

bool Controller::signInWanted() const {
    return m_personal.signInWanted;
}

void Controller::noteSession(int status) {
    m_personal.sessionRefused = m_personal.sessionRefused && status != 200;
    const int answered = m_link.answeredStatus(); // a proxy that refuses need not speak JSON
    m_personal.signInWanted = !accountSignedIn() && (answered == 401 || answered == 403);
}

void Controller::renewSession(const QString& email, const QString& password) {
    if (m_busy || !m_personal.sessionRefused) {
        return;
    }
    if (m_syncing) {
        say(u"Another request is under way; sign in again when it has ended."_s);
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
        failAsToldBy(reply, u"Personal sign-in failed"_s);
        return;
    }
    QJsonObject state = durableState();
    QString error;
    if (!AccountState::renew(state, reply, m_persist, &error)) {
        fail(error);
        return;
    }
    dropReplies();
    adopt(state);
    m_personal.sessionRefused = false;
    m_personal.signOutUnconfirmed = false; // that was the former session's
    fetchIdentity();
}
