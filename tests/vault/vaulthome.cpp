// SPDX-License-Identifier: MIT
#include "tests/vault/vaulthome.h"

#include "vault/vault.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QSignalSpy>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>
#include <QUuid>
#include <qt6keychain/keychain.h>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"TimerKelvaro"_s;

bool finishes(QKeychain::Job& job, const QString& scope) {
    job.setAutoDelete(false);
    job.setKey(VaultHome::hashOf(scope));
    QSignalSpy finished(&job, &QKeychain::Job::finished);
    job.start();
    return QTest::qWaitFor([&finished] { return !finished.isEmpty(); }, 20000);
}

} // namespace

void VaultHome::nameApplication() {
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(service);
}

QString VaultHome::unlock(Vault& vault, const QString& scope) {
    QSignalSpy ready(&vault, &Vault::ready);
    QSignalSpy unavailable(&vault, &Vault::unavailable);
    vault.unlock(scope);
    if (!QTest::qWaitFor([&] { return !ready.isEmpty() || !unavailable.isEmpty(); }, 20000)) {
        return u"no answer"_s;
    }
    return ready.isEmpty() ? unavailable.first().first().toString() : QString();
}

QString VaultHome::directory() {
    return QDir::homePath() + u"/.local/share/Kelvaro/TimerKelvaro"_s;
}

QString VaultHome::hashOf(const QString& scope) {
    return QString::fromLatin1(QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256).toHex());
}

QString VaultHome::databaseFile(const QString& scope) {
    return directory() + u'/' + hashOf(scope) + u".sqlite"_s;
}

QByteArray VaultHome::context(const QString& scope) {
    return "timer.desktop.vault.v1\n" + scope.toUtf8();
}

QByteArray VaultHome::accountAwareContext(const QString& scope) {
    return context(scope) + "\naccount-aware-v2";
}

QByteArray VaultHome::record(const QString& scope) {
    const QVariantList rows = Connection(databaseFile(scope)).run(u"SELECT payload FROM vault WHERE id=1"_s);
    return rows.isEmpty() ? QByteArray() : rows.first().toByteArray();
}

bool VaultHome::setRecord(const QString& scope, const QByteArray& record) {
    Connection(databaseFile(scope)).run(u"INSERT OR REPLACE INTO vault(id,payload) VALUES(1,?)"_s, {record});
    return VaultHome::record(scope) == record;
}

QByteArray VaultHome::storedKey(const QString& scope) {
    QKeychain::ReadPasswordJob job(service);
    return finishes(job, scope) && job.error() == QKeychain::NoError ? job.binaryData() : QByteArray();
}

bool VaultHome::storeKey(const QString& scope, const QByteArray& key) {
    QKeychain::WritePasswordJob job(service);
    job.setBinaryData(key);
    return finishes(job, scope) && job.error() == QKeychain::NoError;
}

bool VaultHome::deleteKey(const QString& scope) {
    QKeychain::DeletePasswordJob job(service);
    return finishes(job, scope) && job.error() == QKeychain::NoError;
}

VaultHome::Connection::Connection(const QString& file) : m_name(QUuid::createUuid().toString()) {
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_name);
    database.setDatabaseName(file);
    if (!database.open()) {
        QTest::qFail(qPrintable(database.lastError().text()), __FILE__, __LINE__);
    }
}

VaultHome::Connection::~Connection() {
    QSqlDatabase::removeDatabase(m_name);
}

QVariantList VaultHome::Connection::run(const QString& statement, const QVariantList& values) {
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    query.prepare(statement);
    for (const QVariant& value : values) {
        query.addBindValue(value);
    }
    if (!query.exec()) {
        QTest::qFail(qPrintable(query.lastError().text()), __FILE__, __LINE__);
    }
    QVariantList firstColumn;
    while (query.next()) {
        firstColumn.append(query.value(0));
    }
    return firstColumn;
}
