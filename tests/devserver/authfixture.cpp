// SPDX-License-Identifier: MIT
#include "tests/devserver/authfixture.h"

#include <QDir>
#include <QFileInfo>
#include <QVariant>

#include <sodium.h>

using namespace Qt::StringLiterals;
using devserver::Connection;

QJsonObject credentials(const QString& email, const QString& password) {
    return {{u"email"_s, email},
            {u"password"_s, password},
            {u"client"_s, u"native"_s},
            {u"device_name"_s, u"A desk"_s}};
}

Reply signIn(TestClient& client, const QString& email, const QString& password) {
    return client.postTo("/v1/auth/login", credentials(email, password));
}

QString addPerson(const TestDatabase& database, const QString& email, const QByteArray& password) {
    QVariant hash(QMetaType::fromType<QString>());
    if (!password.isEmpty()) {
        char text[crypto_pwhash_STRBYTES];
        if (crypto_pwhash_str(text, password.constData(), static_cast<unsigned long long>(password.size()),
                              crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN) != 0) {
            return {};
        }
        hash = QString::fromLatin1(text);
    }
    const QString id = World::newId();
    database.run(u"INSERT INTO users (id, email, display_name, timezone, password_hash)"
                 " VALUES (?, ?, 'Person', 'UTC', ?)"_s,
                 {id, email, hash});
    return id;
}

QByteArray contentsOf(const TestDatabase& database) {
    QByteArray all;
    if (!TestDatabase::isPostgresql()) {
        const QFileInfo main(database.address().name);
        for (const QFileInfo& entry : main.dir().entryInfoList({main.fileName() + u'*'}, QDir::Files)) {
            QFile file(entry.filePath());
            if (file.open(QIODevice::ReadOnly)) {
                all += file.readAll();
            }
        }
        return all;
    }
    Connection connection(database.address());
    QSqlQuery query =
        connection.run(u"SELECT table_name FROM information_schema.tables WHERE table_schema = 'public'"_s);
    QStringList tables;
    while (connection.next(query)) {
        tables += query.value(0).toString();
    }
    for (const QString& table : tables) {
        QSqlQuery rows = connection.run(u"SELECT t::text FROM %1 t"_s.arg(table));
        while (connection.next(rows)) {
            all += rows.value(0).toByteArray();
        }
    }
    return all;
}
