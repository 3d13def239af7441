// SPDX-License-Identifier: MIT
#include "tests/support/sqlitefile.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

using namespace Qt::StringLiterals;

SqliteFile::SqliteFile(const QString& fileName)
    : m_database(QSqlDatabase::addDatabase(u"QSQLITE"_s, QUuid::createUuid().toString())) {
    m_database.setDatabaseName(fileName);
    if (!m_database.open()) {
        qFatal("%s: %s", qPrintable(fileName), qPrintable(m_database.lastError().text()));
    }
}

SqliteFile::~SqliteFile() {
    const QString name = m_database.connectionName();
    m_database.close();
    m_database = {};
    QSqlDatabase::removeDatabase(name);
}

QVariant SqliteFile::run(const QString& statement, const QVariantList& values) {
    QSqlQuery query(m_database);
    bool done = query.prepare(statement);
    for (const QVariant& value : values) {
        query.addBindValue(value);
    }
    done = done && query.exec();
    if (!done) {
        qFatal("%s: %s", qPrintable(statement), qPrintable(query.lastError().text()));
    }
    return query.next() ? query.value(0) : QVariant();
}
