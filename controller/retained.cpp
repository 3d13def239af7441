// SPDX-License-Identifier: MIT
#include "state/retained.h"

#include "controller/controller.h"
#include "controller/files.h"

#include <QDateTime>
#include <QFileDialog>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

QString changes(qsizetype count) {
    return count == 1 ? u"1 change"_s : u"%1 changes"_s.arg(count);
}

/// A name of its own for each copy: what it holds is nowhere else, so that a
/// later one must not replace it.
QString proposedName() {
    return QDateTime::currentDateTime().toString(u"'timer-removed-changes-'yyyyMMdd-HHmmss'.json'"_s);
}

} // namespace

QVariantMap Controller::retained() const {
    return m_retained;
}

void Controller::resendRetained() {
    if (m_busy || m_syncing || m_readOnly || m_retained.isEmpty()) {
        return;
    }
    QJsonObject state = durableState();
    QString error;
    const QString mutationId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (!Retained::resend(state, mutationId, m_persist, &error)) {
        fail(error);
        return;
    }
    adopt(state);
    say(u"The change is sent again as a new one."_s);
    synchronize();
}

void Controller::removeRetained() {
    if (setAside(&Retained::leaving, m_persist)) {
        synchronize();
    }
}

void Controller::removePending() {
    // What waits is in no record once somebody has replaced that: the copy alone has it then, and
    // a queue that could never be let go would keep the new record from being opened. A file that was
    // only touched still has the queue and is opened again by the second save.
    const PersistState persistState = [this](const QJsonObject& candidate) {
        return m_vault.save(candidate) || m_vault.save(candidate) || m_vault.recordReplaced();
    };
    if (setAside([](const QJsonArray& queue) { return queue; }, persistState) && !m_personal.sessionRefused) {
        // The account may be another one by now, which nothing stands against any more.
        fetchIdentity();
    }
}

bool Controller::setAside(const std::function<QJsonArray(const QJsonArray& queue)>& choose,
                          const PersistState& persistState) {
    const QString underWay =
        u"Another request is under way; nothing was removed. Try again when it has ended."_s;
    const QJsonArray items = choose(m_document.queue);
    if (m_busy || m_readOnly || items.isEmpty()) {
        return false;
    }
    if (m_syncing) {
        say(underWay);
        return false;
    }
    const qint64 generation = m_link.generation();
    const QString removed = changes(items.size());
    // A request of the periodic step must not stand in the way of what is chosen.
    m_syncTimer.stop();
    const QString fileName =
        QFileDialog::getSaveFileName(nullptr, u"Save a copy and remove "_s + removed, proposedName());
    m_syncTimer.start();
    if (fileName.isEmpty()) {
        say(u"Nothing was removed."_s);
        return false;
    }
    // The dialog let events in.
    if (m_busy || m_syncing) {
        say(underWay);
        return false;
    }
    if (generation != m_link.generation() || choose(m_document.queue) != items) {
        fail(u"The session or the waiting changes are not the same any more; nothing was removed."_s);
        return false;
    }
    if (!writePendingChanges(fileName, items) || !syncFolderOf(fileName)) {
        fail(u"The copy could not be written; nothing was removed."_s);
        return false;
    }
    QJsonObject state = durableState();
    QString error;
    if (!Retained::remove(state, items, persistState, &error)) {
        fail(error);
        return false;
    }
    adopt(state);
    say(u"Copy saved; %1 left the queue."_s.arg(removed));
    return true;
}
