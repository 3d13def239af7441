// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/base/text.h"

#include <QSqlQuery>
#include <QVariantList>

#include <functional>
#include <optional>
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

    /// Runs one statement, its values bound in order. Bytes are a text in UTF-8, to be read
    /// as bytes again: SQLite keeps them as they are. Outside a transaction it is run
    /// once more, on a new connection, when the database had been restarted meanwhile.
    QSqlQuery run(const QString& sql, const QVariantList& values = {});

    /// Inserts `count` rows, many to a statement: one by one each would cost a round
    /// trip. `table` names the columns, "t (a, b)"; `valuesOf(n)` are the n-th row's.
    void insert(const QString& table, qsizetype count,
                const std::function<QVariantList(qsizetype)>& valuesOf);
    void insert(const QString& table, const QVariantList& values) {
        insert(table, 1, [&values](qsizetype) { return values; });
    }

    /// Steps to the next row; false at the end.
    [[nodiscard]] bool next(QSqlQuery& query);

    /// Calls `use` with each row that the statement finds, of which one is in memory at a time.
    template <typename Use>
    void each(const QString& sql, const QVariantList& values, const Use& use) {
        QSqlQuery query = run(sql, values);
        while (next(query)) {
            use(query);
        }
    }
    /// What `make` makes of each row.
    template <typename Make>
    [[nodiscard]] auto all(const QString& sql, const QVariantList& values, const Make& make) {
        QList<std::invoke_result_t<Make, const QSqlQuery&>> made;
        each(sql, values, [&](const QSqlQuery& row) { made.append(make(row)); });
        return made;
    }
    /// The first value of the first row; invalid where there is no row.
    [[nodiscard]] QVariant value(const QString& sql, const QVariantList& values = {});
    [[nodiscard]] bool finds(const QString& sql, const QVariantList& values = {}) {
        return value(sql, values).isValid();
    }

private:
    friend class Transaction;

    void open();
    QSqlQuery runOnce(const QString& sql, const QVariantList& values);
    [[nodiscard]] QSqlQuery prepare(const QString& sql);
    void execute(QSqlQuery& query, const QVariantList& values);
    [[noreturn]] void fail(const QString& text);

    DatabaseAddress m_address;
    QString m_name;
    bool m_sqlite;
    bool m_usable = true;
    bool m_inTransaction = false;
};

/// Nothing where the database has NULL, and the other way round.
[[nodiscard]] std::optional<QString> textOrNull(const QVariant& value);
[[nodiscard]] std::optional<qint64> numberOrNull(const QVariant& value);
template <typename Value>
[[nodiscard]] QVariant orNull(const std::optional<Value>& value) {
    return value ? QVariant(*value) : QVariant();
}

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
