// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <limits>
#include <vector>

/// The closed periods of one user in one workspace.
class LockedSpans {
public:
    /// Half open, in milliseconds since the epoch.
    struct Span {
        qint64 start;
        qint64 end;
    };

    void add(Span span);
    /// Whether one of them overlaps the entry, whoever owns it.
    [[nodiscard]] bool cover(const QJsonObject& entry) const;

private:
    std::vector<Span> m_spans;
    qint64 m_end = std::numeric_limits<qint64>::min(); ///< of the last one
};

/// The lock rule of SyncState::isLocked, prepared for many entries: the times
/// of each closed period are read once.
class PeriodLocks {
public:
    explicit PeriodLocks(const QJsonArray& periods = {});

    /// The periods that can lock an entry with these `workspace_id` and
    /// `user_id`, compared as JSON values.
    [[nodiscard]] LockedSpans of(const QJsonValue& workspace, const QJsonValue& user) const;

private:
    struct Period {
        QJsonValue workspace;
        QJsonValue user;
        LockedSpans::Span span;
    };

    std::vector<Period> m_closed;
};
