// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/files.h"

#include <QFileDialog>
#include <QJsonDocument>
#include <QUuid>

namespace {

bool isPending(const QJsonValue& item) {
    return item.toObject().value(u"status").toString() == QStringLiteral("pending");
}

} // namespace

bool Controller::hasPendingHead() const {
    return !m_document.queue.isEmpty() && isPending(m_document.queue.first());
}

void Controller::enqueue(const QString& operation, const QString& entityId, int baseVersion,
                         QJsonObject payload) {
    if (m_readOnly || m_document.signedOut || m_document.me.isEmpty() || m_document.workspace.isEmpty()) {
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
        {QStringLiteral("workspace_id"), m_document.workspace},
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

    Document candidate = m_document;
    candidate.queue.append(QJsonObject{{QStringLiteral("status"), QStringLiteral("pending")},
                                       {QStringLiteral("mutation"), mutation}});
    const QJsonObject state = candidate.toJson();
    if (!m_vault.save(state)) {
        fail(QStringLiteral("The write was not accepted because secure local storage failed."));
        return;
    }
    adopt(state);
    say(QStringLiteral("Saved securely on this device"));
    nextMutation();
}

QString Controller::conflictDetails() const {
    QJsonArray retained;
    for (const auto& item : m_document.queue) {
        if (!isPending(item)) {
            retained.append(item);
        }
    }
    return QString::fromUtf8(QJsonDocument(retained).toJson(QJsonDocument::Indented).trimmed());
}

void Controller::exportPending() {
    const QString fileName = QFileDialog::getSaveFileName(nullptr, QStringLiteral("Export pending changes"),
                                                          QStringLiteral("timer-pending-changes.json"));
    if (fileName.isEmpty()) {
        return;
    }
    if (!writePendingChanges(fileName, m_document.queue)) {
        fail(QStringLiteral("Pending-change export failed"));
        return;
    }
    say(QStringLiteral("Pending changes exported; the queue was not discarded"));
}
