// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/files.h"

#include <QFileDialog>
#include <QJsonDocument>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

bool isPending(const QJsonValue& item) {
    return item.toObject().value(u"status").toString() == u"pending"_s;
}

} // namespace

bool Controller::hasPendingHead() const {
    return !m_document.queue.isEmpty() && isPending(m_document.queue.first());
}

void Controller::enqueue(const QString& operation, const QString& entityId, int baseVersion,
                         QJsonObject payload) {
    enqueue({{operation, entityId, baseVersion, std::move(payload)}});
}

void Controller::enqueue(const QList<Change>& changes) {
    if (m_readOnly || m_document.signedOut || m_document.me.isEmpty() || m_document.workspace.isEmpty()) {
        fail(u"Connect to the server first"_s);
        return;
    }
    if (refusesDuringSignOut()) {
        return;
    }
    if (!secureStorage()) {
        fail(u"Open KWallet / OS credential storage before recording time. Online reports and "
             "reads remain available; no unprotected write queue is used."_s);
        return;
    }

    Document candidate = m_document;
    for (const Change& change : changes) {
        candidate.queue.append(QJsonObject{{u"status"_s, u"pending"_s}, {u"mutation"_s, mutationOf(change)}});
    }
    const QJsonObject state = candidate.toJson();
    if (!m_vault.save(state)) {
        fail(u"The write was not accepted because secure local storage failed."_s);
        return;
    }
    m_personal.undoable.clear(); // this is the next action
    adopt(state);
    say(u"Saved securely on this device"_s);
    nextMutation();
}

bool Controller::refusesDuringSignOut() {
    if (m_signingOut) {
        // The sign-out told the server that nothing waits here; `busy` stays its own.
        say(u"You are being signed out; this was not recorded."_s);
    }
    return m_signingOut;
}

QJsonObject Controller::mutationOf(const Change& change) const {
    return {
        {u"mutation_id"_s, QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {u"device_id"_s, m_deviceId},
        {u"workspace_id"_s, m_document.workspace},
        {u"entity_id"_s, change.entityId},
        {u"base_version"_s, change.baseVersion},
        {u"operation"_s, change.operation},
        {u"payload"_s, change.payload},
    };
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
    const QString fileName =
        QFileDialog::getSaveFileName(nullptr, u"Export pending changes"_s, u"timer-pending-changes.json"_s);
    if (fileName.isEmpty()) {
        return;
    }
    if (!writePendingChanges(fileName, m_document.queue)) {
        fail(u"Pending-change export failed"_s);
        return;
    }
    say(u"Pending changes exported; the queue was not discarded"_s);
}
