// SPDX-License-Identifier: MIT
#include "controller/controller.h"

#include <QUuid>

void Controller::enqueue(const QString& operation, const QString& entityId, int baseVersion,
                         QJsonObject payload) {
    if (m_readOnly || m_signedOut || m_me.isEmpty() || m_workspace.isEmpty()) {
        fail(QStringLiteral("Connect to the server first"));
        return;
    }
    if (m_signingOut) {
        // The sign-out told the server that nothing waits here; `busy` stays its own.
        say(QStringLiteral("You are being signed out; this was not recorded."));
        return;
    }
    const QJsonObject mutation{
        {QStringLiteral("mutation_id"), QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {QStringLiteral("device_id"), m_deviceId},
        {QStringLiteral("workspace_id"), m_workspace},
        {QStringLiteral("entity_id"), entityId},
        {QStringLiteral("base_version"), baseVersion},
        {QStringLiteral("operation"), operation},
        {QStringLiteral("payload"), std::move(payload)},
    };
    if (!secureStorage()) {
        fail(QStringLiteral("Open KWallet / OS credential storage before recording time. Online reports and "
                            "reads remain available; no unprotected write queue is used."));
        return;
    }

    const QJsonArray rollback = m_queue;
    m_queue.append(QJsonObject{{QStringLiteral("status"), QStringLiteral("pending")},
                               {QStringLiteral("mutation"), mutation}});
    if (!m_vault.save(durableState())) {
        m_queue = rollback;
        fail(QStringLiteral("The write was not accepted because secure local storage failed."));
        return;
    }
    projectQueue();
    say(QStringLiteral("Saved securely on this device"));
    nextMutation();
}

void Controller::projectQueue() {
    const QJsonObject view = m_projector.project(durableState());
    m_entriesView = view.value(u"entries").toArray();
    m_timerView = view.value(u"timer").toObject();
    m_entryList.update(m_entriesView);
    describeRetained();
}
