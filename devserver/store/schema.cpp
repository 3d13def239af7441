// SPDX-License-Identifier: MIT
#include "devserver/store/schema.h"

#include "devserver/base/timestamps.h"

#include <QStringList>

namespace devserver {
namespace {

// ID is text that sorts by its bytes on both databases. Instants are seconds
// since the epoch, truth values 0 and 1.
QStringList firstTables() {
    return {
        QStringLiteral("CREATE TABLE users (id ID PRIMARY KEY, email TEXT NOT NULL UNIQUE,"
                       " display_name TEXT NOT NULL, timezone TEXT NOT NULL)"),
        QStringLiteral("CREATE TABLE sessions (id ID PRIMARY KEY, user_id ID NOT NULL REFERENCES users(id),"
                       " token_hash TEXT NOT NULL UNIQUE, client TEXT NOT NULL, device_name TEXT NOT NULL,"
                       " created_at BIGINT NOT NULL, revoked_at BIGINT)"),
        QStringLiteral("CREATE TABLE workspaces (id ID PRIMARY KEY, name TEXT NOT NULL,"
                       " created_at BIGINT NOT NULL)"),
        QStringLiteral("CREATE TABLE members (workspace_id ID NOT NULL REFERENCES workspaces(id),"
                       " user_id ID NOT NULL REFERENCES users(id), PRIMARY KEY (workspace_id, user_id))"),
        QStringLiteral("CREATE TABLE clients (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), name TEXT NOT NULL)"),
        QStringLiteral("CREATE TABLE projects (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), client_id ID REFERENCES clients(id), name TEXT NOT NULL,"
                       " color TEXT NOT NULL, archived SMALLINT NOT NULL CHECK (archived IN (0, 1)))"),
        QStringLiteral("CREATE TABLE time_entries (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),"
                       " description TEXT NOT NULL, project_id ID REFERENCES projects(id),"
                       " tag_ids TEXT NOT NULL, billable SMALLINT NOT NULL CHECK (billable IN (0, 1)),"
                       " start_at BIGINT NOT NULL, stop_at BIGINT CHECK (stop_at >= start_at),"
                       " deleted_at BIGINT, version BIGINT NOT NULL)"),
        QStringLiteral("CREATE INDEX time_entries_order ON time_entries (workspace_id, start_at, id)"),
        QStringLiteral("CREATE UNIQUE INDEX one_running_timer ON time_entries (user_id)"
                       " WHERE stop_at IS NULL AND deleted_at IS NULL"),
        QStringLiteral("CREATE TABLE timesheet_periods (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),"
                       " status TEXT NOT NULL CHECK (status IN ('open', 'submitted', 'approved')),"
                       " from_date TEXT NOT NULL, to_date TEXT NOT NULL, timezone TEXT NOT NULL,"
                       " start_at BIGINT NOT NULL, end_at BIGINT NOT NULL CHECK (end_at > start_at),"
                       " version BIGINT NOT NULL, last_reason TEXT)"),
        QStringLiteral("CREATE INDEX timesheet_periods_of ON timesheet_periods (workspace_id, user_id)"),
        // What was answered to each mutation, so that a repeated push hears the same again.
        QStringLiteral("CREATE TABLE mutations (user_id ID NOT NULL REFERENCES users(id),"
                       " mutation_id ID NOT NULL, fingerprint TEXT NOT NULL, result TEXT NOT NULL,"
                       " PRIMARY KEY (user_id, mutation_id))"),
    };
}

QStringList developmentAccount() {
    return {
        QStringLiteral("INSERT INTO users (id, email, display_name, timezone)"
                       " VALUES ('%1', 'developer@localhost', 'Developer', 'Asia/Jerusalem')")
            .arg(developmentUser),
        QStringLiteral("INSERT INTO workspaces (id, name, created_at) VALUES ('%1', 'Development', %2)")
            .arg(developmentWorkspace)
            .arg(currentInstant()),
        QStringLiteral("INSERT INTO members (workspace_id, user_id) VALUES ('%1', '%2')")
            .arg(developmentWorkspace, developmentUser),
    };
}

QStringList passwords() {
    // Null: nobody can sign in as this user.
    return {QStringLiteral("ALTER TABLE users ADD COLUMN password_hash TEXT")};
}

// What reports count by. Rates are in hundredths of the workspace's currency
// per hour, null where none was agreed; durations are rounded up to whole
// rounding_minutes, 0 for not at all; the language decides which day begins a week.
QStringList reportRules() {
    return {
        QStringLiteral("ALTER TABLE workspaces ADD COLUMN language TEXT NOT NULL DEFAULT 'he'"
                       " CHECK (language IN ('he', 'en'))"),
        QStringLiteral("ALTER TABLE workspaces ADD COLUMN currency TEXT NOT NULL DEFAULT 'ILS'"),
        QStringLiteral("ALTER TABLE workspaces ADD COLUMN rounding_minutes INTEGER NOT NULL DEFAULT 0"),
        QStringLiteral("ALTER TABLE projects ADD COLUMN hourly_rate BIGINT"),
        QStringLiteral("CREATE TABLE tasks (id ID PRIMARY KEY, project_id ID NOT NULL"
                       " REFERENCES projects(id), name TEXT NOT NULL)"),
        QStringLiteral("CREATE INDEX tasks_of ON tasks (project_id)"),
        QStringLiteral("ALTER TABLE time_entries ADD COLUMN task_id ID REFERENCES tasks(id)"),
        QStringLiteral("CREATE TABLE tags (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), name TEXT NOT NULL)"),
        QStringLiteral("CREATE INDEX tags_of ON tags (workspace_id)"),
    };
}

// Each row is the JSON object that the query answered with, so that an export
// holds the same whatever has changed since.
QStringList reportSnapshots() {
    return {
        QStringLiteral("CREATE TABLE report_snapshots (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),"
                       " created_at BIGINT NOT NULL, header TEXT NOT NULL)"),
        QStringLiteral("CREATE TABLE report_rows (snapshot_id ID NOT NULL REFERENCES report_snapshots(id),"
                       " position INTEGER NOT NULL, content TEXT NOT NULL,"
                       " PRIMARY KEY (snapshot_id, position))"),
    };
}

// What was read from a CSV and waits to be written, record by record, with the
// answers to the steps so far. imported_records outlives it: what was imported
// once is never imported again, whatever became of the entry.
QStringList imports() {
    return {
        QStringLiteral("CREATE TABLE imports (id ID PRIMARY KEY, workspace_id ID NOT NULL"
                       " REFERENCES workspaces(id), user_id ID NOT NULL REFERENCES users(id),"
                       " source_namespace TEXT NOT NULL, checksum TEXT NOT NULL, total INTEGER NOT NULL,"
                       " invalid INTEGER NOT NULL, written INTEGER NOT NULL, checkpoint INTEGER NOT NULL"
                       " CHECK (checkpoint BETWEEN 0 AND total), created_at BIGINT NOT NULL)"),
        QStringLiteral("CREATE INDEX imports_of ON imports (user_id, created_at)"),
        QStringLiteral("CREATE TABLE import_records (import_id ID NOT NULL REFERENCES imports(id),"
                       " position INTEGER NOT NULL, file_row INTEGER NOT NULL, content TEXT NOT NULL,"
                       " PRIMARY KEY (import_id, position))"),
        QStringLiteral("CREATE TABLE import_replies (import_id ID NOT NULL REFERENCES imports(id),"
                       " idempotency_key TEXT NOT NULL, reply TEXT NOT NULL,"
                       " PRIMARY KEY (import_id, idempotency_key))"),
        QStringLiteral("CREATE TABLE imported_records (user_id ID NOT NULL REFERENCES users(id),"
                       " workspace_id ID NOT NULL REFERENCES workspaces(id), source_namespace TEXT NOT NULL,"
                       " fingerprint TEXT NOT NULL,"
                       " PRIMARY KEY (user_id, workspace_id, source_namespace, fingerprint))"),
    };
}

QString dialect(const Connection& connection, QString statement) {
    return statement.replace(QStringLiteral(" ID"), connection.isSqlite()
                                                        ? QStringLiteral(" TEXT")
                                                        : QStringLiteral(" TEXT COLLATE \"C\""));
}

} // namespace

void migrate(Connection& connection) {
    Transaction transaction(connection, Transaction::Kind::Write);
    connection.run(QStringLiteral("CREATE TABLE IF NOT EXISTS schema_migrations"
                                  " (version INTEGER PRIMARY KEY, applied_at BIGINT NOT NULL)"));
    int version = 0;
    {
        QSqlQuery query = connection.run(QStringLiteral("SELECT MAX(version) FROM schema_migrations"));
        if (connection.next(query)) {
            version = query.value(0).toInt();
        }
    }
    // Append only: a migration that has ever run somewhere is never edited.
    const QList<QStringList> migrations{firstTables(), developmentAccount(), passwords(),
                                        reportRules(), reportSnapshots(),    imports()};
    if (version > migrations.size()) {
        throw DatabaseError("it was made by a newer version of this program");
    }
    for (; version < migrations.size(); ++version) {
        for (const QString& statement : migrations[version]) {
            connection.run(dialect(connection, statement));
        }
        connection.run(QStringLiteral("INSERT INTO schema_migrations (version, applied_at) VALUES (?, ?)"),
                       {version + 1, currentInstant()});
    }
    transaction.commit();
}

} // namespace devserver
