// SPDX-License-Identifier: MIT
#include "controller/controller.h"

#include "state/syncstate.h"
#include "state/timestamp.h"

#include <QDateTime>
#include <QUuid>

#include <algorithm>

namespace {

/// Whole seconds in UTC with "Z", the form of every time stamp that goes to the server.
QString utcText(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

/// Four digits of year is all that this form holds.
bool hasUtcText(const QDateTime& time) {
    const int year = time.toUTC().date().year();
    return time.isValid() && year >= 1 && year <= 9999;
}

bool isAfter(const QDateTime& end, const QDateTime& start) {
    return start.secsTo(end) > 0;
}

/// The end of a timer that is stopped now: after its start, whatever the clock says.
QDateTime stopTime(const QDateTime& started) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime earliest = started.addSecs(1);
    return hasUtcText(earliest) ? std::max(now, earliest) : now;
}

QString newEntryId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

/// What a new entry starts with; the caller adds its times.
QJsonObject newEntry(const QString& description, const QString& projectId, bool billable) {
    return {
        {QStringLiteral("description"), description},
        {QStringLiteral("project_id"), projectId.isEmpty() ? QJsonValue() : QJsonValue(projectId)},
        {QStringLiteral("tag_ids"), QJsonArray()},
        {QStringLiteral("billable"), billable},
    };
}

} // namespace

void Controller::start(const QString& description, const QString& projectId, bool billable) {
    if (m_busy || !m_view.timer().isEmpty()) {
        return;
    }
    QJsonObject payload = newEntry(description, projectId, billable);
    payload.insert(u"start_at", utcText(QDateTime::currentDateTimeUtc()));
    enqueue(QStringLiteral("timer.start"), newEntryId(), 0, payload);
}

void Controller::stop() {
    if (m_busy || m_view.timer().isEmpty()) {
        return;
    }
    if (m_view.timer().value(u"workspace_id").toString() != m_document.workspace) {
        fail(QStringLiteral(
            "Select the running timer's workspace before stopping it in this native preview."));
        return;
    }
    const QString stopAt = utcText(stopTime(stamp(m_view.timer().value(u"start_at"))));
    enqueue(QStringLiteral("timer.stop"), m_view.timer().value(u"id").toString(),
            m_view.timer().value(u"version").toInt(), {{QStringLiteral("stop_at"), stopAt}});
}

void Controller::addManual(const QString& description, const QString& projectId, const QString& from,
                           const QString& to, bool billable) {
    const QDateTime start = QDateTime::fromString(from, Qt::ISODateWithMs);
    const QDateTime end = QDateTime::fromString(to, Qt::ISODateWithMs);
    if (!hasUtcText(start) || !hasUtcText(end) || !isAfter(end, start)) {
        fail(QStringLiteral("Enter valid ISO timestamps with an explicit offset; end must be after start."));
        return;
    }
    QJsonObject payload = newEntry(description, projectId, billable);
    payload.insert(u"start_at", utcText(start));
    payload.insert(u"stop_at", utcText(end));
    enqueue(QStringLiteral("entry.create"), newEntryId(), 0, payload);
}

QString Controller::manualNotice(const QString& from, const QString& to) const {
    const QDateTime start = QDateTime::fromString(from, Qt::ISODateWithMs);
    const QDateTime end = QDateTime::fromString(to, Qt::ISODateWithMs);
    if (start.isValid() && end.isValid()) {
        if (!isAfter(end, start)) {
            return QStringLiteral("order");
        }
        const QJsonObject entry{
            {QStringLiteral("workspace_id"), m_document.workspace},
            {QStringLiteral("user_id"), m_document.me.value(u"id")},
            {QStringLiteral("start_at"), utcText(start)},
            {QStringLiteral("stop_at"), utcText(end)},
        };
        if (SyncState::isLocked(entry, m_document.snapshot.value(u"timesheet_periods").toArray())) {
            return QStringLiteral("period");
        }
    }
    const auto holdsForOne = [&](const auto& holds) {
        return (start.isValid() && holds(start)) || (end.isValid() && holds(end));
    };
    if (holdsForOne([](const QDateTime& time) { return time.timeSpec() == Qt::LocalTime; })) {
        return QStringLiteral("offset");
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const bool isFuture = holdsForOne([&now](const QDateTime& time) { return time > now; });
    return isFuture ? QStringLiteral("future") : QString();
}

void Controller::editDescription(const QString& id, const QString& description) {
    if (m_busy) {
        return;
    }
    const QJsonObject entry = m_view.find(id);
    if (entry.isEmpty()) {
        fail(QStringLiteral("Entry not found in this workspace"));
        return;
    }
    if (entry.value(u"period_locked").toBool()) {
        fail(QStringLiteral(
            "This entry is submitted or approved. Reopen its period in the Web workbench first."));
        return;
    }
    enqueue(QStringLiteral("entry.update"), id, entry.value(u"version").toInt(),
            {{QStringLiteral("description"), description}});
}

QVariantList Controller::entries() const {
    return m_view.rows();
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
