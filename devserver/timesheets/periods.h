// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <QDate>

namespace devserver {

class JsonWriter;

/// One row of `timesheet_periods`: somebody's whole days in a workspace, from
/// `startAt` up to, not including, `endAt`.
struct Period {
    QString id;
    QString workspaceId;
    QString userId;
    QString status; ///< "open"; "submitted" and "approved" close it
    QString fromDate;
    QString toDate;
    QString timezone;
    qint64 startAt = 0;
    qint64 endAt = 0;
    qint64 version = 0;
    std::optional<QString> lastReason; ///< what was said when it was reopened, until it is submitted again

    [[nodiscard]] bool isClosed() const { return status != u"open"; }
    /// Whether it shares a moment with the half-open interval; `stop` is nothing while a timer runs.
    [[nodiscard]] bool overlaps(qint64 start, const std::optional<qint64>& stop) const;
};

/// What can be done with a period: Submit an open one, Approve a submitted
/// one, Reopen either.
enum class PeriodStep { Submit, Approve, Reopen };

constexpr qsizetype longestReason = 1000;

/// Everybody's periods in a workspace, or one user's, the oldest first.
[[nodiscard]] QList<Period> periodsOf(Connection& connection, const QString& workspaceId,
                                      const QString& userId = {});

/// Whether a submitted or approved period of the user's holds a part of this time.
[[nodiscard]] bool isClosed(Connection& connection, const QString& userId, const QString& workspaceId,
                            qint64 start, const std::optional<qint64>& stop);

/// The fields that everybody sees: "id","status","from_date","to_date","timezone","version","last_reason".
void writeFields(JsonWriter& json, const Period& period);

/// Throws ApiError 404 unless it is the user's own, in a workspace of theirs.
[[nodiscard]] Period findPeriod(Connection& connection, const QString& userId, const QString& id);

/// Opens a period for the week that holds `day`, in the user's time zone. A
/// week begins on Sunday in a Hebrew workspace and on Monday in an English one.
///
/// Throws ApiError: 400 for a day outside the years 1970 to 9998, 404 for a
/// workspace that is not the user's, 409 `period_exists` when a period of
/// theirs there overlaps the week.
[[nodiscard]] Period addPeriod(Connection& connection, const QString& userId, const QString& workspaceId,
                               QDate day);

/// Takes the step, raises the version by one and writes `lastReason`: what was
/// said when reopening, and nothing at the other steps, which answer it. There
/// are no roles: whoever worked also approves.
///
/// Throws ApiError: 404 as `findPeriod`; 409 `period_changed` when `version`
/// is not the period's any more; 409 `period_status` when the step does not
/// start at the period's status; 409 `timer_running` when it would close over
/// a running timer, which could not be stopped then; 400 `reason_missing` and
/// `reason_unusable` (longer than `longestReason`, or not storable).
[[nodiscard]] Period takeStep(Connection& connection, const QString& userId, const QString& id,
                              PeriodStep step, qint64 version, const QString& reason);

} // namespace devserver
