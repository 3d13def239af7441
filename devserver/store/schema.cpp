// SPDX-License-Identifier: MIT
#include "devserver/store/schema.h"

#include "devserver/base/time.h"

#include <QFile>
#include <QRegularExpression>

namespace devserver {
namespace {

// Append only: a migration that has ever run somewhere is never edited.
constexpr int newestVersion = 8;

QStringList statementsOf(int version, const Connection& connection) {
    QFile file(u":/migrations/%1.sql"_s.arg(version));
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::logic_error("a migration was not built in");
    }
    static const QRegularExpression comment(u"^--.*\n"_s, QRegularExpression::MultilineOption);
    QString text = QString::fromUtf8(file.readAll()).remove(comment);
    text.replace(u" ID"_s, connection.isSqlite() ? u" TEXT"_s : u" TEXT COLLATE \"C\""_s);
    text.replace(u"{user}"_s, developmentUser).replace(u"{workspace}"_s, developmentWorkspace);
    text.replace(u"{now}"_s, QString::number(currentInstant()));
    return text.trimmed().split(u';', Qt::SkipEmptyParts);
}

} // namespace

void migrate(Connection& connection) {
    Transaction transaction(connection, Transaction::Kind::Write);
    connection.run(u"CREATE TABLE IF NOT EXISTS schema_migrations"
                   " (version INTEGER PRIMARY KEY, applied_at BIGINT NOT NULL)"_s);
    int version = connection.value(u"SELECT MAX(version) FROM schema_migrations"_s).toInt();
    if (version > newestVersion) {
        throw DatabaseError("it was made by a newer version of this program");
    }
    while (version < newestVersion) {
        for (const QString& statement : statementsOf(++version, connection)) {
            connection.run(statement);
        }
        connection.insert(u"schema_migrations (version, applied_at)"_s, {version, currentInstant()});
    }
    transaction.commit();
}

} // namespace devserver
