// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <vector>

/// The lock rule of SyncState::isLocked, prepared for many entries: each closed
/// period's times are read once, and an entry meets only the periods of its own
/// user and workspace.
class PeriodLocks {
public:
    explicit PeriodLocks(const QJsonArray& periods = {});

    /// Not const: remembers the owner it was last asked about, because entries
    /// come in long runs of one owner.
    [[nodiscard]] bool covers(const QJsonObject& entry);

private:
    /// Half open, in milliseconds since the epoch.
    struct Span {
        qint64 start;
        qint64 end;
    };
    struct Period {
        QJsonValue workspace;
        QJsonValue user;
        Span span;
    };

    void selectOwner(const QJsonValue& workspace, const QJsonValue& user);

    std::vector<Period> m_closed;
    QJsonValue m_workspace;
    QJsonValue m_user;
    std::vector<Span> m_owned;
};
