// SPDX-License-Identifier: MIT
#pragma once

#include "state/projection.h"

#include <QDate>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QTimeZone>

/// How long somebody has worked. Pure; knows no clock.
class WorkSums {
public:
    /// Half open, in milliseconds since the epoch.
    struct Span {
        qint64 from;
        qint64 until;

        bool operator==(const Span&) const = default;
    };
    /// Whose entries count, compared as JSON values.
    struct Owner {
        QJsonValue workspace;
        QJsonValue user;

        bool operator==(const Owner&) const = default;
    };
    struct Week {
        QDate first;
        QDate last;
    };

    /// The whole days from the one to the other, in this zone.
    [[nodiscard]] static Span days(const Week& week, const QTimeZone& zone);
    /// The time of a period; empty when it cannot be read.
    [[nodiscard]] static Span time(const QJsonObject& period);

    /// Whether an entry or a period is the owner's.
    [[nodiscard]] static bool isOf(const QJsonObject& item, const Owner& owner);

    /// For each span the seconds of the owner's closed entries that lie in it; deleted ones do not count.
    [[nodiscard]] static QList<qint64> inside(const QList<Span>& spans, const QJsonArray& entries,
                                              const Owner& owner);
    [[nodiscard]] static QList<qint64> inside(const QList<Span>& spans, const ProjectedEntries& entries,
                                              const Owner& owner);

    /// The week that holds `day`, when weeks begin with `weekday`.
    [[nodiscard]] static Week weekOf(QDate day, int weekday);
};
