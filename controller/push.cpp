// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/logging.h"
#include "controller/replies.h"
#include "state/syncstate.h"

using namespace Qt::StringLiterals;

void Controller::nextMutation() {
    if (m_syncing || m_busy || m_document.queue.isEmpty() || !queueReady()) {
        return;
    }
    const QJsonObject item = m_document.queue.first().toObject();
    if (!hasPendingHead()) {
        fail(u"Sync conflict retained with its original payload. Inspect or export it; period "
             "locks cannot be bypassed."_s);
        return;
    }
    m_syncing = true;
    Q_EMIT changed();
    // Work recorded under one account must never be sent under another.
    send("GET", u"/me"_s, {}, [this, item](const QJsonObject& reply, int status) {
        noteSession(status);
        const QJsonValue id = reply.value(u"id");
        if (status == 200 && isId(id) && id == m_document.me.value(u"id")) {
            pushHead(item);
            return;
        }
        m_syncing = false;
        fail(status == 200 ? u"Account changed; queued work was NOT reassigned."_s
                           : u"Identity check unavailable; encrypted queue retained."_s);
    });
}

void Controller::pushHead(const QJsonObject& item) {
    const QJsonObject mutation = item.value(u"mutation").toObject();
    send(
        "POST", u"/sync/push"_s, {{u"mutations"_s, QJsonArray{mutation}}},
        [this, item](const QJsonObject& reply, int status) { applyPushReply(item, reply, status); },
        mutation.value(u"mutation_id").toString());
}

void Controller::applyPushReply(const QJsonObject& item, const QJsonObject& reply, int status) {
    m_syncing = false;
    if (status != 200) {
        say(u"Server did not acknowledge this request; original encrypted queue retained"_s);
        return;
    }
    const QJsonArray results = reply.value(u"results").toArray();
    qCDebug(controllerLog) << "push answered: results" << results.size();
    if (results.size() != 1) {
        fail(u"Unexpected acknowledgement count; queue retained"_s);
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
