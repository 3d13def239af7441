// SPDX-License-Identifier: MIT
#include "benchmarks/barestore.h"

#include "vault/vault.h"

#include <QJsonDocument>
#include <QSqlQuery>
#include <QVariant>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

QByteArray key() {
    return QByteArray(32, 'k');
}

} // namespace

BareStore::BareStore(const QString& file) {
    m_database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"bare"_s);
    m_database.setDatabaseName(file);
    require(m_database.open(), "the bare store opens");
    for (const char* statement :
         {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL", "PRAGMA secure_delete=FAST",
          "CREATE TABLE IF NOT EXISTS vault (id INTEGER PRIMARY KEY CHECK(id=1), payload BLOB NOT NULL)"}) {
        require(QSqlQuery(m_database).exec(QString::fromLatin1(statement)), statement);
    }
}

void BareStore::save(const QJsonObject& state) {
    const QByteArray text = QJsonDocument(state).toJson(QJsonDocument::Compact);
    require(m_database.transaction(), "begin");
    QSqlQuery query(m_database);
    query.prepare(u"INSERT OR REPLACE INTO vault(id,payload) VALUES(1,?)"_s);
    query.addBindValue(Vault::seal(text, key(), "aad"_ba));
    require(query.exec() && m_database.commit(), "commit");
}

QJsonObject BareStore::load() {
    QSqlQuery query(m_database);
    require(query.exec(u"SELECT payload FROM vault"_s) && query.next(), "read");
    bool authentic = false;
    const QByteArray text = Vault::unseal(query.value(0).toByteArray(), key(), "aad"_ba, &authentic);
    require(authentic, "unseal");
    return QJsonDocument::fromJson(text).object();
}
