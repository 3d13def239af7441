// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

/// Damages one member of a reply, at any depth: it is of another type or, with `missing`, away.
class Damage {
public:
    Damage(bool missing, QRandomGenerator& dice) : m_missing(missing), m_dice(dice) {}

    /// The object, which is not empty, with the damage done.
    [[nodiscard]] QJsonObject done(QJsonObject object);

    /// "results[0].canonical.id", and as what it stands there now.
    [[nodiscard]] const QString& path() const { return m_path; }
    [[nodiscard]] const QString& now() const { return m_now; }

    /// "/sync/push results[].canonical.id": the member without what differs from reply to reply.
    [[nodiscard]] static QString memberName(const QString& request, const QString& path);
    /// The names of all members that the client reads.
    [[nodiscard]] static const QStringList& readMembers();

private:
    [[nodiscard]] bool isDeeper(const QJsonValue& value);
    [[nodiscard]] QJsonValue within(const QJsonValue& value);
    [[nodiscard]] QJsonValue replaced(const QJsonValue& value);

    const bool m_missing;
    QRandomGenerator& m_dice;
    QString m_path;
    QString m_now = QStringLiteral("missing");
};
