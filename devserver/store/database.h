// SPDX-License-Identifier: MIT
#pragma once

#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <stdexcept>

namespace devserver {

/// Which database the server keeps its data in.
struct DatabaseAddress {
    enum class Kind { Sqlite, Postgresql };

    Kind kind = Kind::Sqlite;
    QString name; ///< the SQLite file, or the PostgreSQL database
    QString host; ///< the rest is PostgreSQL's; what is empty is libpq's default
    int port = -1;
    QString user;
};

/// A statement that failed. `what()` is for the server's own log, never for a reply.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One open database connection, used only by the thread that made it. Every
/// failure throws DatabaseError and leaves the connection unusable: a
/// half-known state is thrown away with it.
class Connection {
public:
    explicit Connection(const DatabaseAddress& address);
    ~Connection();
    Q_DISABLE_COPY_MOVE(Connection)

    [[nodiscard]] bool isSqlite() const { return m_sqlite; }
    [[nodiscard]] bool isUsable() const { return m_usable; }

    /// Runs one statement, its values bound in order.
    QSqlQuery run(const QString& sql, const QVariantList& values = {});

    /// A prepared statement for many `execute` calls or a large result, read forward only.
    [[nodiscard]] QSqlQuery prepare(const QString& sql);
    void execute(QSqlQuery& query, const QVariantList& values);

    /// Steps to the next row; false at the end.
    [[nodiscard]] bool next(QSqlQuery& query);

private:
    void open(const DatabaseAddress& address);
    [[noreturn]] void fail(const QString& text);

    QString m_name;
    bool m_sqlite;
    bool m_usable = true;
};

/// A transaction that is rolled back unless it is committed. Readers see one
/// moment of the data; writers come one at a time, on both databases, so that
/// what a writer has read stays true until its commit.
class Transaction {
public:
    enum class Kind { Read, Write };

    Transaction(Connection& connection, Kind kind);
    ~Transaction();
    Q_DISABLE_COPY_MOVE(Transaction)

    void commit();

private:
    Connection& m_connection;
    bool m_open = true;
};

/// Hands each thread its own connection.
class Database {
public:
    explicit Database(DatabaseAddress address);

    /// The calling thread's connection; opened anew when there is none or the last one failed.
    [[nodiscard]] Connection& connection() const;

private:
    DatabaseAddress m_address;
    quint64 m_serial;
};

} // namespace devserver
