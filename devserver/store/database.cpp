// SPDX-License-Identifier: MIT
#include "devserver/store/database.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>

#include <algorithm>
#include <atomic>

namespace devserver {
namespace {

// Held by every writer on PostgreSQL; any number that nothing else in the database uses.
const QString writerLock = u"SELECT pg_advisory_xact_lock(7265726174)"_s;

QString reasonOf(const QSqlError& error) {
    const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return text.simplified();
}

} // namespace

Connection::Connection(const DatabaseAddress& address)
    : m_address(address), m_name(newId()), m_sqlite(address.kind == DatabaseAddress::Kind::Sqlite) {
    try {
        open();
    } catch (...) {
        QSqlDatabase::removeDatabase(m_name);
        throw;
    }
}

Connection::~Connection() {
    QSqlDatabase::removeDatabase(m_name);
}

void Connection::open() {
    QSqlDatabase database = QSqlDatabase::addDatabase(m_sqlite ? u"QSQLITE"_s : u"QPSQL"_s, m_name);
    database.setDatabaseName(m_address.name);
    database.setHostName(m_address.host);
    database.setPort(m_address.port);
    database.setUserName(m_address.user);
    if (m_sqlite) {
        if (!QDir().mkpath(QFileInfo(m_address.name).absolutePath())) {
            fail(u"the folder cannot be created"_s);
        }
        database.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=8000"_s);
    } else {
        database.setConnectOptions(u"connect_timeout=5"_s); // seconds for each address
    }
    if (!database.open()) {
        fail(reasonOf(database.lastError()));
    }
    if (!m_sqlite) {
        runOnce(u"SET client_min_messages = warning"_s, {});
        return;
    }
    // Working hours are nobody else's business; the journal files take over the mode.
    if (!QFile::setPermissions(m_address.name, QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        fail(u"its permissions cannot be set"_s);
    }
    runOnce(u"PRAGMA journal_mode=WAL"_s, {});
    runOnce(u"PRAGMA synchronous=FULL"_s, {});
    runOnce(u"PRAGMA foreign_keys=ON"_s, {});
    runOnce(u"PRAGMA cache_size=-512"_s, {}); // KiB: there are as many connections as workers
}

void Connection::fail(const QString& text) {
    m_usable = false;
    throw DatabaseError(text.toStdString());
}

QSqlQuery Connection::run(const QString& sql, const QVariantList& values) {
    try {
        return runOnce(sql, values);
    } catch (const DatabaseError&) {
        if (m_inTransaction || QSqlDatabase::database(m_name, false).isOpen()) {
            throw;
        }
    }
    // Nothing was begun, so nothing is done twice.
    QSqlDatabase::removeDatabase(m_name);
    open();
    m_usable = true;
    return runOnce(sql, values);
}

QSqlQuery Connection::runOnce(const QString& sql, const QVariantList& values) {
    if (!values.isEmpty()) {
        QSqlQuery query = prepare(sql);
        execute(query, values);
        return query;
    }
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    query.setForwardOnly(true);
    if (!query.exec(sql)) {
        fail(reasonOf(query.lastError()));
    }
    return query;
}

void Connection::insert(const QString& table, qsizetype count,
                        const std::function<QVariantList(qsizetype)>& valuesOf) {
    // A statement of more values takes SQLite longer to read than it spares: the time grows with their
    // square.
    constexpr qsizetype mostValues = 300;
    const qsizetype columns = table.count(u',') + 1;
    const qsizetype batch = mostValues / columns;
    const QString places = u'(' + QStringList(columns, u"?"_s).join(u',') + u')';
    QSqlQuery query;
    qsizetype prepared = 0;
    for (qsizetype from = 0; from < count; from += batch) {
        const qsizetype size = std::min(batch, count - from);
        if (size != prepared) {
            query = prepare(u"INSERT INTO %1 VALUES %2"_s.arg(table, QStringList(size, places).join(u',')));
            prepared = size;
        }
        QVariantList values;
        for (qsizetype i = from; i < from + size; ++i) {
            values += valuesOf(i);
        }
        execute(query, values);
    }
}

QSqlQuery Connection::prepare(const QString& sql) {
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        fail(reasonOf(query.lastError()));
    }
    return query;
}

void Connection::execute(QSqlQuery& query, const QVariantList& values) {
    for (qsizetype i = 0; i < values.size(); ++i) {
        const bool isUtf8 = values[i].typeId() == QMetaType::QByteArray && !m_sqlite;
        const QVariant value = isUtf8 ? values[i].toString() : values[i];
        // A default QString would be bound as NULL.
        const bool isText = value.typeId() == QMetaType::QString && !value.isNull();
        query.bindValue(static_cast<int>(i), isText && value.toString().isEmpty() ? u""_s : value);
    }
    if (!query.exec()) {
        fail(reasonOf(query.lastError()));
    }
}

bool Connection::next(QSqlQuery& query) {
    if (query.next()) {
        return true;
    }
    if (query.lastError().isValid()) {
        fail(reasonOf(query.lastError()));
    }
    return false;
}

QVariant Connection::value(const QString& sql, const QVariantList& values) {
    QSqlQuery query = run(sql, values);
    return next(query) ? query.value(0) : QVariant();
}

std::optional<QString> textOrNull(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

std::optional<qint64> numberOrNull(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
}

Transaction::Transaction(Connection& connection, Kind kind) : m_connection(connection) {
    if (connection.isSqlite()) {
        connection.run(kind == Kind::Read ? u"BEGIN"_s : u"BEGIN IMMEDIATE"_s);
    } else {
        // A writer has to see what was committed while it waited for the lock.
        connection.run(kind == Kind::Read ? u"BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"_s
                                          : u"BEGIN ISOLATION LEVEL READ COMMITTED"_s);
    }
    connection.m_inTransaction = true;
    if (kind == Kind::Write && !connection.isSqlite()) {
        connection.run(writerLock);
    }
}

Transaction::~Transaction() {
    if (!m_open) {
        return;
    }
    try {
        m_connection.run(u"ROLLBACK"_s);
        m_connection.m_inTransaction = false;
    } catch (const DatabaseError&) {
        // Either the database has rolled back by itself, or closing the now
        // unusable connection does it.
        return;
    }
}

void Transaction::commit() {
    m_connection.run(u"COMMIT"_s);
    m_connection.m_inTransaction = false;
    m_open = false;
}

Database::Database(DatabaseAddress address) : m_address(std::move(address)) {
    static std::atomic<quint64> counter = 0;
    m_serial = ++counter;
}

Connection& Database::connection() const {
    thread_local quint64 owner = 0;
    thread_local std::optional<Connection> current;
    if (owner != m_serial || !current || !current->isUsable()) {
        current.emplace(m_address);
    }
    owner = m_serial;
    return *current;
}

} // namespace devserver
