// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/logging.h"
#include "controller/replies.h"
#include "state/syncstate.h"

void Controller::nextMutation() {
    if (m_syncing || m_busy || m_document.queue.isEmpty() || !queueReady()) {
        return;
    }
    const QJsonObject item = m_document.queue.first().toObject();
    if (!hasPendingHead()) {
        fail(QStringLiteral("Sync conflict retained with its original payload. Inspect or export it; period "
                            "locks cannot be bypassed."));
        return;
    }
    m_syncing = true;
    Q_EMIT changed();
    // Work recorded under one account must never be sent under another.
    send("GET", QStringLiteral("/me"), {}, [this, item](const QJsonObject& reply, int status) {
        noteSession(status);
        const QJsonValue id = reply.value(u"id");
        if (status == 200 && isId(id) && id == m_document.me.value(u"id")) {
            pushHead(item);
            return;
        }
        m_syncing = false;
        fail(status == 200 ? QStringLiteral("Account changed; queued work was NOT reassigned.")
                           : QStringLiteral("Identity check unavailable; encrypted queue retained."));
    });
}

void Controller::pushHead(const QJsonObject& item) {
    const QJsonObject mutation = item.value(u"mutation").toObject();
    send(
        "POST", QStringLiteral("/sync/push"), {{QStringLiteral("mutations"), QJsonArray{mutation}}},
        [this, item](const QJsonObject& reply, int status) { applyPushReply(item, reply, status); },
        mutation.value(u"mutation_id").toString());
}

void Controller::applyPushReply(const QJsonObject& item, const QJsonObject& reply, int status) {
    m_syncing = false;
    if (status != 200) {
        say(QStringLiteral("Server did not acknowledge this request; original encrypted queue retained"));
        return;
    }
    const QJsonArray results = reply.value(u"results").toArray();
    qCDebug(controllerLog) << "push answered: results" << results.size();
    if (results.size() != 1) {
        fail(QStringLiteral("Unexpected acknowledgement count; queue retained"));
        return;
    }
    QJsonObject state = durableState();
    QString error;
    if (!SyncState::acknowledge(state, item, results.first().toObject(), m_persist, &error)) {
        fail(error);
        return;
    }
    ++m_acknowledgements;
    adopt(state);
    qCDebug(controllerLog) << "answer taken: waiting" << pending() << "head pending" << hasPendingHead();
    Q_EMIT changed();
    if (hasPendingHead()) {
        nextMutation();
        return;
    }
    loadWorkspace();
}
