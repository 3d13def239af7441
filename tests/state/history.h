// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QString>

/// A random life of one state document: writes, acknowledgements, reloads,
/// changes of workspace, user and periods, and values of the wrong type.
/// Same seed, same life.
class History {
public:
    explicit History(quint32 seed);

    /// Takes one step and says which, for the message of a failing test.
    QString step();
    [[nodiscard]] const QJsonObject& state() const { return m_state; }

private:
    [[nodiscard]] int below(int bound) { return m_random.bounded(bound); }
    [[nodiscard]] QJsonValue pick(const QJsonArray& values);
    [[nodiscard]] QJsonObject shaped(const QJsonObject& pools);
    [[nodiscard]] QJsonValue entry();
    [[nodiscard]] QJsonValue period();
    [[nodiscard]] QJsonValue item();
    void acknowledge();
    void editEntries();
    void reload();
    void changeScope();
    void setSnapshot(const QString& key, const QJsonValue& value);

    QRandomGenerator m_random;
    QJsonObject m_state;
};
