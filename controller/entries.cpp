// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/entrypayload.h"
#include "state/syncstate.h"
#include "state/timestamp.h"

#include <QDateTime>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// The end of a timer that is stopped at `moment`: after its start, whatever the clock says.
QDateTime stopTime(const QDateTime& started, const QDateTime& moment) {
    const QDateTime earliest = started.addSecs(1);
    return hasUtcText(earliest) ? std::max(moment, earliest) : moment;
}

bool holdsStop(const QJsonArray& queue, const QJsonValue& timer) {
    return std::any_of(queue.begin(), queue.end(), [&](const QJsonValue& item) {
        const QJsonValue mutation = item[u"mutation"];
        return mutation[u"entity_id"] == timer && mutation[u"operation"].toString() == u"timer.stop"_s;
    });
}

} // namespace

void Controller::start(const QString& description, const QString& projectId, bool billable) {
    if (m_busy || !m_view.timer().isEmpty()) {
        return;
    }
    enqueue({startChange(description, projectId, billable)});
}

Controller::Change Controller::startChange(const QString& description, const QString& projectId,
                                           bool billable) {
    QJsonObject payload = newEntry(description, projectId, billable);
    payload.insert(u"start_at", utcText(QDateTime::currentDateTimeUtc()));
    return {u"timer.start"_s, newEntryId(), 0, payload};
}

void Controller::stop() {
    if (m_busy || m_view.timer().isEmpty()) {
        return;
    }
    if (const auto change = stopChange()) {
        enqueue({*change});
    }
}

std::optional<Controller::Change> Controller::stopChange(const QDateTime& moment) {
    const QJsonObject& timer = m_view.timer();
    if (timer.value(u"workspace_id").toString() != m_document.workspace) {
        fail(u"Select the running timer's workspace before stopping it in this native preview."_s);
        return std::nullopt;
    }
    if (!m_retained.isEmpty() && holdsStop(m_document.queue, timer.value(u"id"))) {
        // It still runs here because its stop waits for a refused change, and would only be refused twice.
        fail(u"This timer's stop is kept back; decide about the refused change first."_s);
        return std::nullopt;
    }
    const QString stopAt = utcText(stopTime(stamp(timer.value(u"start_at")), moment));
    return Change{u"timer.stop"_s,
                  timer.value(u"id").toString(),
                  timer.value(u"version").toInt(),
                  {{u"stop_at"_s, stopAt}}};
}

void Controller::addManual(const QString& description, const QString& projectId, const QString& from,
                           const QString& to, bool billable) {
    const QDateTime start = QDateTime::fromString(from, Qt::ISODateWithMs);
    const QDateTime end = QDateTime::fromString(to, Qt::ISODateWithMs);
    if (!hasUtcText(start) || !hasUtcText(end) || !isAfter(end, start)) {
        fail(invalidTimes());
        return;
    }
    QJsonObject payload = newEntry(description, projectId, billable);
    payload.insert(u"start_at", utcText(start));
    payload.insert(u"stop_at", utcText(end));
    enqueue(u"entry.create"_s, newEntryId(), 0, payload);
}

bool Controller::isLocked(const QJsonObject& entry) const {
    return SyncState::isLocked(entry, m_document.snapshot.value(u"timesheet_periods").toArray());
}

QJsonObject Controller::entryFrom(const QDateTime& start) const {
    return {
        {u"workspace_id"_s, m_document.workspace},
        {u"user_id"_s, m_document.me.value(u"id")},
        {u"start_at"_s, utcText(start)},
    };
}

bool Controller::timerLocked() const {
    const QJsonObject& timer = m_view.timer();
    return isLocked(timer.isEmpty() ? entryFrom(QDateTime::currentDateTimeUtc()) : timer);
}

QString Controller::manualNotice(const QString& from, const QString& to) const {
    const QDateTime start = QDateTime::fromString(from, Qt::ISODateWithMs);
    const QDateTime end = QDateTime::fromString(to, Qt::ISODateWithMs);
    if (start.isValid() && end.isValid()) {
        if (!isAfter(end, start)) {
            return u"order"_s;
        }
        QJsonObject entry = entryFrom(start);
        entry.insert(u"stop_at"_s, utcText(end));
        if (isLocked(entry)) {
            return u"period"_s;
        }
    }
    const auto holdsForOne = [&](const auto& holds) {
        return (start.isValid() && holds(start)) || (end.isValid() && holds(end));
    };
    if (holdsForOne([](const QDateTime& time) { return time.timeSpec() == Qt::LocalTime; })) {
        return u"offset"_s;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const bool isFuture = holdsForOne([&now](const QDateTime& time) { return time > now; });
    return isFuture ? u"future"_s : QString();
}

void Controller::editDescription(const QString& id, const QString& description) {
    if (m_busy) {
        return;
    }
    const QJsonObject entry = m_view.find(id);
    if (!isChangeable(entry)) {
        return;
    }
    enqueue(u"entry.update"_s, id, entry.value(u"version").toInt(), {{u"description"_s, description}});
}

QVariantList Controller::entries() const {
    QVariantList maps;
    const ProjectedEntries& rows = entryRows();
    maps.reserve(rows.size());
    for (const ProjectedEntry& row : rows) {
        maps.append(EntryList::map(row));
    }
    return maps;
}

const ProjectedEntries& Controller::entryRows() const {
    return m_view.rows();
}

bool Controller::timerListed() const {
    return m_view.find(m_view.timer().value(u"id").toString()).value(u"stop_at").isString();
}

QString Controller::elapsed() const {
    if (m_view.timer().isEmpty()) {
        return formatSeconds(0);
    }
    const QDateTime started = stamp(m_view.timer().value(u"start_at"));
    return formatSeconds(started.secsTo(QDateTime::currentDateTimeUtc()));
}

QString Controller::formatSeconds(qint64 seconds) {
    return durationText(seconds);
}
