// SPDX-License-Identifier: MIT
#include "devserver/database.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QUuid>

#include <atomic>
#include <memory>

namespace devserver {
namespace {

// Held by every writer on PostgreSQL; any number that nothing else in the database uses.
const QString kWriterLock = QStringLiteral("SELECT pg_advisory_xact_lock(7265726174)");

QString reasonOf(const QSqlError& error) {
    const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return text.simplified();
}

} // namespace

Connection::Connection(const DatabaseAddress& address)
    : name_(QUuid::createUuid().toString()), sqlite_(address.kind == DatabaseAddress::Kind::Sqlite) {
    try {
        open(address);
    } catch (...) {
        QSqlDatabase::removeDatabase(name_);
        throw;
    }
}

Connection::~Connection() {
    QSqlDatabase::removeDatabase(name_);
}

void Connection::open(const DatabaseAddress& address) {
    QSqlDatabase database =
        QSqlDatabase::addDatabase(sqlite_ ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL"), name_);
    database.setDatabaseName(address.name);
    database.setHostName(address.host);
    database.setPort(address.port);
    database.setUserName(address.user);
    if (sqlite_) {
        if (!QDir().mkpath(QFileInfo(address.name).absolutePath()))
            fail(QStringLiteral("the folder cannot be created"));
        database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=8000"));
    }
    if (!database.open())
        fail(reasonOf(database.lastError()));
    if (!sqlite_) {
        run(QStringLiteral("SET client_min_messages = warning"));
        return;
    }
    // Working hours are nobody else's business; the journal files take over the mode.
    if (!QFile::setPermissions(address.name, QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        fail(QStringLiteral("its permissions cannot be set"));
    run(QStringLiteral("PRAGMA journal_mode=WAL"));
    run(QStringLiteral("PRAGMA synchronous=FULL"));
    run(QStringLiteral("PRAGMA foreign_keys=ON"));
}

void Connection::fail(const QString& text) {
    usable_ = false;
    throw DatabaseError(text.toStdString());
}

QSqlQuery Connection::run(const QString& sql, const QVariantList& values) {
    if (!values.isEmpty()) {
        QSqlQuery query = prepare(sql);
        execute(query, values);
        return query;
    }
    QSqlQuery query(QSqlDatabase::database(name_, false));
    query.setForwardOnly(true);
    if (!query.exec(sql))
        fail(reasonOf(query.lastError()));
    return query;
}

QSqlQuery Connection::prepare(const QString& sql) {
    QSqlQuery query(QSqlDatabase::database(name_, false));
    query.setForwardOnly(true);
    if (!query.prepare(sql))
        fail(reasonOf(query.lastError()));
    return query;
}

void Connection::execute(QSqlQuery& query, const QVariantList& values) {
    for (qsizetype i = 0; i < values.size(); ++i)
        query.bindValue(static_cast<int>(i), values[i]);
    if (!query.exec())
        fail(reasonOf(query.lastError()));
}

bool Connection::next(QSqlQuery& query) {
    if (query.next())
        return true;
    if (query.lastError().isValid())
        fail(reasonOf(query.lastError()));
    return false;
}

Transaction::Transaction(Connection& connection, Kind kind) : connection_(connection) {
    if (connection.isSqlite()) {
        connection.run(kind == Kind::Read ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"));
    } else if (kind == Kind::Read) {
        connection.run(QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"));
    } else {
        connection.run(QStringLiteral("BEGIN"));
        connection.run(kWriterLock);
    }
}

Transaction::~Transaction() {
    if (!open_)
        return;
    try {
        connection_.run(QStringLiteral("ROLLBACK"));
    } catch (const DatabaseError&) {
        // Either the database has rolled back by itself, or closing the now
        // unusable connection does it.
        return;
    }
}

void Transaction::commit() {
    connection_.run(QStringLiteral("COMMIT"));
    open_ = false;
}

Database::Database(DatabaseAddress address) : address_(std::move(address)) {
    static std::atomic<quint64> counter = 0;
    serial_ = ++counter;
}

Connection& Database::connection() const {
    thread_local quint64 owner = 0;
    thread_local std::unique_ptr<Connection> current;
    if (owner != serial_ || !current || !current->isUsable())
        current = std::make_unique<Connection>(address_);
    owner = serial_;
    return *current;
}

} // namespace devserver
