// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <utility>

/// Damages one member of a reply, at any depth: it is of another type or, with `missing`, away. Mostly
/// it is one of those that the client reads, each of them as often as the others.
class Damage {
public:
    Damage(QString request, bool missing, QRandomGenerator& dice)
        : m_request(std::move(request)), m_missing(missing), m_dice(dice) {}

    /// The reply's object, which is not empty, with the damage done.
    [[nodiscard]] QJsonObject done(const QJsonObject& object);

    /// "/sync/push results[].canonical.id": the member without what differs from reply to reply.
    [[nodiscard]] const QString& member() const { return m_member; }
    /// Where it stands, "results[0].canonical.id", and what stands there now.
    [[nodiscard]] const QString& detail() const { return m_detail; }

    /// The path of a request without ids.
    [[nodiscard]] static QString nameOf(QString request);
    /// The names of all members that the client reads.
    [[nodiscard]] static const QStringList& readMembers();

private:
    /// The way to a member: names, and places in lists as "[0]".
    using Path = QStringList;

    [[nodiscard]] QString nameOfMember(const Path& path) const;
    [[nodiscard]] QJsonValue damaged(const QJsonValue& value, const Path& path);
    [[nodiscard]] QJsonValue replaced(const QJsonValue& value);

    QString m_request;
    const bool m_missing;
    QRandomGenerator& m_dice;
    QString m_member;
    QString m_detail;
};
