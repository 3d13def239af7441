// SPDX-License-Identifier: MIT
#include "tests/support/vaultfile.h"

#include <QCryptographicHash>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QUuid>

namespace {

QSqlDatabase openVaultFile(const QString& server) {
    QSqlDatabase database =
        QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QUuid::createUuid().toString());
    database.setDatabaseName(vaultFile(server));
    if (!database.open()) {
        qFatal("The vault's file cannot be opened: %s", qPrintable(database.lastError().text()));
    }
    return database;
}

void closeVaultFile(QSqlDatabase& database) {
    const QString name = database.connectionName();
    database.close();
    database = {};
    QSqlDatabase::removeDatabase(name);
}

} // namespace

QString vaultFile(const QString& server) {
    const QByteArray hash = QCryptographicHash::hash(server.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + u'/' +
           QString::fromLatin1(hash) + QStringLiteral(".sqlite");
}

QByteArray sealedRecord(const QString& server) {
    QSqlDatabase database = openVaultFile(server);
    QByteArray record;
    {
        QSqlQuery query(QStringLiteral("SELECT payload FROM vault WHERE id=1"), database);
        if (query.next()) {
            record = query.value(0).toByteArray();
        }
    }
    closeVaultFile(database);
    return record;
}

bool replaceSealedRecord(const QString& server, const QByteArray& record) {
    QSqlDatabase database = openVaultFile(server);
    bool replaced = false;
    {
        QSqlQuery query(database);
        replaced = query.prepare(QStringLiteral("UPDATE vault SET payload=? WHERE id=1"));
        query.bindValue(0, record);
        replaced = replaced && query.exec() && query.numRowsAffected() == 1;
    }
    closeVaultFile(database);
    return replaced;
}

SaveBlocker::SaveBlocker(const QString& server, How how) : m_database(openVaultFile(server)), m_how(how) {
    if (how == How::Busy) {
        run(QStringLiteral("BEGIN EXCLUSIVE"));
        return;
    }
    run(QStringLiteral("CREATE TRIGGER refuse_insert BEFORE INSERT ON vault "
                       "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    run(QStringLiteral("CREATE TRIGGER refuse_update BEFORE UPDATE ON vault "
                       "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
}

SaveBlocker::~SaveBlocker() {
    if (m_how == How::Busy) {
        run(QStringLiteral("ROLLBACK"));
    } else {
        run(QStringLiteral("DROP TRIGGER refuse_insert"));
        run(QStringLiteral("DROP TRIGGER refuse_update"));
    }
    closeVaultFile(m_database);
}

void SaveBlocker::run(const QString& statement) {
    QSqlQuery query(m_database);
    if (!query.exec(statement)) {
        qFatal("%s: %s", qPrintable(statement), qPrintable(query.lastError().text()));
    }
}
