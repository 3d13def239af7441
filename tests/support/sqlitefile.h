// SPDX-License-Identifier: MIT
#pragma once

#include <QSqlDatabase>
#include <QString>
#include <QVariantList>

/// One more connection to an SQLite file that a program under test uses as
/// well. A statement that fails ends the test program.
class SqliteFile {
public:
    explicit SqliteFile(const QString& fileName);
    ~SqliteFile();
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    /// The first value of the first row; invalid when there is no row.
    QVariant run(const QString& statement, const QVariantList& values = {});

private:
    QSqlDatabase m_database;
};
