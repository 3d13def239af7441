// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QSqlDatabase>
#include <QString>

/// A document sealed in one row of a file, with the least that does it: what the program's own store is
/// compared with.
class BareStore {
public:
    explicit BareStore(const QString& file);

    void save(const QJsonObject& state);
    /// What was saved last; throws without it.
    [[nodiscard]] QJsonObject load();

private:
    QSqlDatabase m_database;
};
