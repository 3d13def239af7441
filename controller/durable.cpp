// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "state/retained.h"

using namespace Qt::StringLiterals;

QJsonObject Controller::durableState() const {
    return m_document.toJson();
}

void Controller::applyDurable(const QJsonObject& state) {
    adopt(state);
    m_snapshotWorkspace = m_document.snapshot.value(u"workspace_id").toString(m_document.workspace);
}

void Controller::adopt(const QJsonObject& state) {
    m_document = Document::fromJson(state);
    show(state);
}

void Controller::projectQueue() {
    show(durableState());
}

void Controller::show(const QJsonObject& state) {
    m_view.update(state);
    // A timer whose stop is recorded does not go on, even while a refused change keeps the stop back.
    m_personal.absences.follow(timerListed() ? QJsonObject() : m_view.timer());
    m_retained = Retained::describe(state, m_timezone).toVariantMap();
}

bool Controller::persist() {
    if (m_readOnly || !secureStorage()) {
        return false;
    }
    if (m_vault.save(durableState())) {
        return true;
    }
    fail(u"Secure local save failed; the retained queue was not acknowledged locally."_s);
    return false;
}
