// SPDX-License-Identifier: MIT
#include "vault/recordfile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QUuid>
#include <QVariant>

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {

const QString driver = u"QSQLITE"_s;

// A person's own tool may hold the database for a while. The window must not
// stand still for the driver's five seconds then.
const QString busyTimeout = u"QSQLITE_BUSY_TIMEOUT=1000"_s;

// The record is one large value, which many small pages make twice as slow to write. A file that was made
// with others keeps them.
constexpr int pageSize = 65536;

// How far the log grows before it is written back.
constexpr int mostLogged = 4 * 1024 * 1024;

// What the database keeps in memory of what it has written. Said once the size of its pages is known: what
// SQLite has reckoned before, in pages of 4 KiB, would let it keep thirty times as much.
constexpr int mostCached = 1024 * 1024;

// Prefix, nonce and tag: no two records agree in them.
constexpr qsizetype markSize = 36;

// The statement's one value, invalid without a row; nothing when it cannot be asked.
std::optional<QVariant> ask(const QSqlDatabase& database, const QString& statement) {
    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!query.exec(statement)) {
        return std::nullopt;
    }
    return query.next() ? query.value(0) : QVariant();
}

std::optional<bool> hasTable(const QSqlDatabase& database) {
    const auto found = ask(database, u"SELECT EXISTS(SELECT 1 FROM sqlite_master WHERE name='vault')"_s);
    return found ? std::optional(found->toBool()) : std::nullopt;
}

// Whether the table is as it was made. Where a page was lost the record is not found
// either, and what is left of it must not be taken for a first use.
bool isEmpty(const QSqlDatabase& database) {
    const auto row = ask(database, u"SELECT EXISTS(SELECT 1 FROM vault)"_s);
    const auto verdict = ask(database, u"PRAGMA quick_check(1)"_s);
    return row && !row->toBool() && verdict && verdict->toString() == u"ok"_s;
}

std::optional<QByteArray> markIn(const QSqlDatabase& database) {
    const std::optional<bool> table = hasTable(database);
    if (!table.value_or(false)) {
        return table ? std::optional(QByteArray()) : std::nullopt;
    }
    const auto mark = ask(database, u"SELECT substr(payload,1,%1) FROM vault WHERE id=1"_s.arg(markSize));
    if (!mark || (!mark->isValid() && !isEmpty(database))) {
        return std::nullopt;
    }
    return mark->toByteArray();
}

} // namespace

RecordFile::RecordFile() : m_connection(QUuid::createUuid().toString()) {
}

RecordFile::~RecordFile() {
    close();
    m_database = {};
    QSqlDatabase::removeDatabase(m_connection);
}

bool RecordFile::open(const QString& path) {
    close();
    m_path = path;
    m_open = openDatabase();
    return m_open;
}

void RecordFile::close() {
    m_database.close();
    m_open = false;
    m_missing = false;
    m_lost = false;
    m_replaced = false;
    m_mark.clear();
}

bool RecordFile::isOpen() const {
    return m_open;
}

bool RecordFile::isLost() const {
    return m_lost;
}

bool RecordFile::isReplaced() const {
    return m_replaced;
}

bool RecordFile::wasMissing() const {
    return m_missing;
}

bool RecordFile::openDatabase() {
    if (!QDir().mkpath(QFileInfo(m_path).absolutePath())) {
        return false;
    }
    if (!m_database.isValid()) {
        m_database = QSqlDatabase::addDatabase(driver, m_connection);
    }
    m_database.setConnectOptions(busyTimeout);
    m_database.setDatabaseName(m_path);
    if (!m_database.open()) {
        return false;
    }
    // Best effort: file systems without permissions exist, and the content is sealed.
    QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    const std::optional<bool> table = hasTable(m_database);
    QSqlQuery query(m_database);
    // Zeroing what was sealed anyway would double the bytes of every write.
    query.exec(u"PRAGMA secure_delete=FAST"_s);
    query.exec(u"PRAGMA page_size=%1"_s.arg(pageSize));
    if (const int size = ask(m_database, u"PRAGMA page_size"_s).value_or(QVariant()).toInt(); size > 0) {
        query.exec(u"PRAGMA wal_autocheckpoint=%1"_s.arg(mostLogged / size));
    }
    const bool prepared = table && query.exec(u"PRAGMA journal_mode=WAL"_s) &&
                          query.exec(u"PRAGMA synchronous=FULL"_s) &&
                          query.exec(u"CREATE TABLE IF NOT EXISTS vault (id INTEGER PRIMARY KEY CHECK(id=1), "
                                     "payload BLOB NOT NULL)"_s) &&
                          query.exec(u"PRAGMA cache_size=-%1"_s.arg(mostCached / 1024));
    m_missing = !table.value_or(true);
    m_traces = traces();
    return prepared;
}

std::optional<QByteArray> RecordFile::read() {
    const std::optional<QVariant> payload = ask(m_database, u"SELECT payload FROM vault WHERE id=1"_s);
    if (!payload || (!payload->isValid() && !isEmpty(m_database))) {
        return std::nullopt;
    }
    QByteArray record = payload->toByteArray();
    if (payload->isValid() && record.isNull()) {
        record = ""_ba; // a row that holds nothing is still a row
    }
    m_mark = record.first(std::min(markSize, record.size()));
    return record;
}

bool RecordFile::write(const QByteArray& record) {
    if (m_lost ? !reopen() : !isIntact()) {
        return false;
    }
    if (!commit(record)) {
        return false;
    }
    m_mark = record.first(std::min(markSize, record.size()));
    const Traces now = traces();
    m_lost = !now.goesOnFrom(m_traces);
    m_traces = now;
    return !m_lost;
}

bool RecordFile::isIntact() {
    const Traces now = traces();
    if (m_lost || now == m_traces) {
        return !m_lost;
    }
    // Touched by somebody: a tool that looked at the table, say.
    m_lost = !now.goesOnFrom(m_traces) || markAt(m_path) != m_mark;
    m_traces = now;
    return !m_lost;
}

bool RecordFile::reopen() {
    // An emptied file is removed first: closing would write the log's pages into it, without the others.
    if (QFileInfo(m_path).isFile() && traceOf(m_path).size == 0 && !QFile::remove(m_path)) {
        return false;
    }
    m_database.close();
    const std::optional<QByteArray> mark = markAt(m_path);
    m_replaced = mark && !mark->isEmpty() && *mark != m_mark;
    if (!mark || m_replaced) {
        return false;
    }
    m_lost = !openDatabase();
    return !m_lost;
}

bool RecordFile::commit(const QByteArray& record) {
    if (!m_database.transaction()) {
        return false;
    }
    QSqlQuery query(m_database);
    const bool prepared = query.prepare(u"INSERT INTO vault(id,payload) VALUES(1,?) ON CONFLICT(id) "
                                        "DO UPDATE SET payload=excluded.payload"_s);
    query.addBindValue(record);
    const bool written = prepared && query.exec();
    if (written && m_database.commit()) {
        return true;
    }
    query.finish();
    m_database.rollback();
    if (written) {
        // All of it may be in the log but for the sync that failed. A program that starts after a kill would
        // find it there; what this commit changes is nothing, and takes its place.
        query.exec(u"PRAGMA user_version=0"_s);
    }
    return false;
}

std::optional<QByteArray> RecordFile::markAt(const QString& path) const {
    std::error_code error;
    const auto file = std::filesystem::symlink_status(QFileInfo(path).filesystemFilePath(), error);
    if (file.type() == std::filesystem::file_type::not_found) {
        return QByteArray();
    }
    const QString connection = m_connection + u" inspection"_s;
    std::optional<QByteArray> mark;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(driver, connection);
        database.setConnectOptions(u"QSQLITE_OPEN_READONLY;"_s + busyTimeout);
        database.setDatabaseName(path);
        if (database.open()) {
            mark = markIn(database);
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return mark;
}

bool RecordFile::setAside(const QString& path) {
    const QString aside =
        path + u".aside-"_s + QDateTime::currentDateTimeUtc().toString(u"yyyyMMdd'T'HHmmsszzz"_s);
    // The log first: it would be read into the file that is made anew.
    for (const QString& suffix : {u"-wal"_s, u"-shm"_s, QString()}) {
        std::error_code error;
        std::filesystem::rename(QFileInfo(path + suffix).filesystemFilePath(),
                                QFileInfo(aside + suffix).filesystemFilePath(), error);
        if (error && (suffix.isEmpty() || error != std::errc::no_such_file_or_directory)) {
            return false;
        }
    }
    return true;
}

RecordFile::Trace RecordFile::traceOf(const QString& path) {
    struct stat found {};
    if (stat(QFile::encodeName(path).constData(), &found) != 0) {
        return {};
    }
    return {found.st_dev, found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
}

RecordFile::Traces RecordFile::traces() const {
    return {traceOf(m_path), traceOf(m_path + u"-wal"_s)};
}

bool RecordFile::Trace::goesOnFrom(const Trace& before) const {
    return device == before.device && inode == before.inode && size >= before.size;
}

bool RecordFile::Traces::goesOnFrom(const Traces& before) const {
    return file.goesOnFrom(before.file) && log.goesOnFrom(before.log);
}
