// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/entrypayload.h"
#include "state/timestamp.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString lockedSentence =
    u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s;

bool isDeleted(const QJsonObject& entry) {
    return entry.value(u"deleted_at").isString();
}

/// Null is a running entry's; a stop that is missing or no time is nobody's.
bool isRunning(const QJsonObject& entry) {
    return entry.value(u"stop_at").isNull();
}

/// Of `changes` what `entry` does not say already; an empty project is none.
QJsonObject differences(const QJsonObject& entry, const QVariantMap& changes) {
    QJsonObject payload;
    for (const QString& key : {u"description"_s, u"project_id"_s, u"billable"_s}) {
        QJsonValue value = QJsonValue::fromVariant(changes.value(key));
        if (key == u"project_id"_s && value.toString().isEmpty()) {
            value = QJsonValue::Null;
        }
        if (changes.contains(key) && value != entry.value(key)) {
            payload.insert(key, value);
        }
    }
    return payload;
}

/// Adds the times among `changes` that are other ones, to the second; the end of a running entry is none
/// of its own. False when they are no times, or the end would not be after the start.
bool takeTimes(const QJsonObject& entry, const QVariantMap& changes, QJsonObject& payload) {
    const bool running = isRunning(entry);
    QJsonObject changed = entry;
    for (const QString& key : {u"start_at"_s, u"stop_at"_s}) {
        if (!changes.contains(key) || (running && key == u"stop_at"_s)) {
            continue;
        }
        const QDateTime time = stamp(changes.value(key).toString());
        if (!hasUtcText(time)) {
            return false;
        }
        if (utcText(time) != utcText(stamp(entry.value(key)))) {
            payload.insert(key, utcText(time));
            changed.insert(key, utcText(time));
        }
    }
    const QDateTime end = running ? QDateTime::currentDateTimeUtc() : stamp(changed.value(u"stop_at"));
    // An entry that the server holds without a length can still be renamed.
    return changed == entry || isAfter(end, stamp(changed.value(u"start_at")));
}

} // namespace

bool Controller::isChangeable(const QJsonObject& entry) {
    if (entry.isEmpty()) {
        fail(u"Entry not found in this workspace"_s);
        return false;
    }
    if (entry.value(u"period_locked").toBool()) {
        fail(lockedSentence);
        return false;
    }
    return true;
}

QJsonObject Controller::presentEntry(const QString& id) const {
    const QJsonObject entry = m_view.find(id);
    return isDeleted(entry) ? QJsonObject() : entry;
}

bool Controller::isBookable(const QJsonValue& project) {
    const QVariantList known = projects();
    const bool bookable = project.toString().isEmpty() ||
                          std::any_of(known.begin(), known.end(), [&](const QVariant& candidate) {
                              return candidate.toMap().value(u"id"_s).toString() == project.toString();
                          });
    if (!bookable) {
        // The server would refuse it, and with it hold up all that comes behind.
        fail(u"This entry's project can no longer be booked; start with another project instead."_s);
    }
    return bookable;
}

bool Controller::isStartable(const QJsonValue& project) {
    if (!isBookable(project)) {
        return false;
    }
    if (isLocked(entryFrom(QDateTime::currentDateTimeUtc()))) {
        fail(lockedSentence);
        return false;
    }
    return true;
}

void Controller::continueEntry(const QString& id) {
    if (m_busy || (!id.isEmpty() && m_view.timer().value(u"id").toString() == id)) {
        return;
    }
    const QJsonObject entry = presentEntry(id);
    if (entry.isEmpty()) {
        fail(u"Entry not found in this workspace"_s);
        return;
    }
    const QJsonValue project = entry.value(u"project_id");
    if (!isStartable(project)) {
        return;
    }
    QList<Change> changes;
    if (!m_view.timer().isEmpty()) {
        const auto stopped = stopChange();
        if (!stopped) {
            return;
        }
        changes.append(*stopped);
    }
    Change begun = startChange(entry.value(u"description").toString(), project.toString(),
                               entry.value(u"billable").toBool());
    if (!changes.isEmpty()) {
        // The stop is after its start whatever the clock says; two entries must not share a second for it.
        const QString stopAt = changes.constFirst().payload.value(u"stop_at").toString();
        const QString startAt = begun.payload.value(u"start_at").toString();
        begun.payload.insert(u"start_at", std::max(startAt, stopAt));
    }
    changes.append(begun);
    enqueue(changes);
}

void Controller::editEntry(const QString& id, const QVariantMap& changes) {
    if (m_busy) {
        return;
    }
    const QJsonObject entry = presentEntry(id);
    if (!isChangeable(entry)) {
        return;
    }
    QJsonObject payload = differences(entry, changes);
    if (!takeTimes(entry, changes, payload)) {
        fail(invalidTimes());
        return;
    }
    if (payload.isEmpty()) {
        say(u"The entry says so already; nothing was changed."_s);
        return;
    }
    QJsonObject changed = entry;
    for (auto field = payload.constBegin(); field != payload.constEnd(); ++field) {
        changed.insert(field.key(), field.value());
    }
    if (isLocked(changed)) {
        fail(lockedSentence);
        return;
    }
    enqueue(u"entry.update"_s, id, entry.value(u"version").toInt(), payload);
}

void Controller::duplicateEntry(const QString& id) {
    if (m_busy) {
        return;
    }
    const QJsonObject entry = presentEntry(id);
    if (!isChangeable(entry) || !isBookable(entry.value(u"project_id"))) {
        return;
    }
    const QDateTime start = stamp(entry.value(u"start_at"));
    const QDateTime end = stamp(entry.value(u"stop_at"));
    if (!hasUtcText(start) || !hasUtcText(end)) {
        fail(invalidTimes());
        return;
    }
    QJsonObject payload = newEntry(entry.value(u"description").toString(),
                                   entry.value(u"project_id").toString(), entry.value(u"billable").toBool());
    payload.insert(u"tag_ids", entry.value(u"tag_ids").toArray());
    payload.insert(u"start_at", utcText(start));
    payload.insert(u"stop_at", utcText(end));
    enqueue(u"entry.create"_s, newEntryId(), 0, payload);
}

void Controller::deleteEntry(const QString& id) {
    if (m_busy) {
        return;
    }
    const QJsonObject entry = presentEntry(id);
    if (!isChangeable(entry)) {
        return;
    }
    enqueue(u"entry.delete"_s, id, entry.value(u"version").toInt(), {});
    if (isDeleted(m_view.find(id))) {
        m_personal.undoable = id;
        Q_EMIT changed();
    }
}

bool Controller::canUndoDelete() const {
    const QString& id = m_personal.undoable;
    const QJsonObject entry = id.isEmpty() ? QJsonObject() : m_view.find(id);
    // What the server refused is decided on as a refused change.
    return isDeleted(entry) && !entry.value(u"local_conflict").toBool();
}

void Controller::undoDelete() {
    if (m_busy || !canUndoDelete()) {
        return;
    }
    const QString id = m_personal.undoable;
    const QJsonObject entry = m_view.find(id);
    if (isChangeable(entry)) { // its week may have been submitted since
        enqueue(u"entry.restore"_s, id, entry.value(u"version").toInt(), {});
    }
}
