// SPDX-License-Identifier: MIT
#include "devserver/store/database.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QUuid>

#include <atomic>
#include <optional>

namespace devserver {
namespace {

// Held by every writer on PostgreSQL; any number that nothing else in the database uses.
const QString writerLock = QStringLiteral("SELECT pg_advisory_xact_lock(7265726174)");

QString reasonOf(const QSqlError& error) {
    const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return text.simplified();
}

} // namespace

Connection::Connection(const DatabaseAddress& address)
    : m_name(QUuid::createUuid().toString()), m_sqlite(address.kind == DatabaseAddress::Kind::Sqlite) {
    try {
        open(address);
    } catch (...) {
        QSqlDatabase::removeDatabase(m_name);
        throw;
    }
}

Connection::~Connection() {
    QSqlDatabase::removeDatabase(m_name);
}

void Connection::open(const DatabaseAddress& address) {
    QSqlDatabase database =
        QSqlDatabase::addDatabase(m_sqlite ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL"), m_name);
    database.setDatabaseName(address.name);
    database.setHostName(address.host);
    database.setPort(address.port);
    database.setUserName(address.user);
    if (m_sqlite) {
        if (!QDir().mkpath(QFileInfo(address.name).absolutePath())) {
            fail(QStringLiteral("the folder cannot be created"));
        }
        database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=8000"));
    } else {
        database.setConnectOptions(QStringLiteral("connect_timeout=5")); // seconds for each address
    }
    if (!database.open()) {
        fail(reasonOf(database.lastError()));
    }
    if (!m_sqlite) {
        run(QStringLiteral("SET client_min_messages = warning"));
        return;
    }
    // Working hours are nobody else's business; the journal files take over the mode.
    if (!QFile::setPermissions(address.name, QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        fail(QStringLiteral("its permissions cannot be set"));
    }
    run(QStringLiteral("PRAGMA journal_mode=WAL"));
    run(QStringLiteral("PRAGMA synchronous=FULL"));
    run(QStringLiteral("PRAGMA foreign_keys=ON"));
}

void Connection::fail(const QString& text) {
    m_usable = false;
    throw DatabaseError(text.toStdString());
}

QSqlQuery Connection::run(const QString& sql, const QVariantList& values) {
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
        query.bindValue(static_cast<int>(i), values[i]);
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

Transaction::Transaction(Connection& connection, Kind kind) : m_connection(connection) {
    if (connection.isSqlite()) {
        connection.run(kind == Kind::Read ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"));
    } else if (kind == Kind::Read) {
        connection.run(QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"));
    } else {
        connection.run(QStringLiteral("BEGIN"));
        connection.run(writerLock);
    }
}

Transaction::~Transaction() {
    if (!m_open) {
        return;
    }
    try {
        m_connection.run(QStringLiteral("ROLLBACK"));
    } catch (const DatabaseError&) {
        // Either the database has rolled back by itself, or closing the now
        // unusable connection does it.
        return;
    }
}

void Transaction::commit() {
    m_connection.run(QStringLiteral("COMMIT"));
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
