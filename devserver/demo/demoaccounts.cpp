// SPDX-License-Identifier: MIT
#include "devserver/demo/demoaccounts.h"

#include "devserver/accounts/passwords.h"

#include <QVariant>

namespace devserver {
namespace {

bool lacksPassword(Connection& connection, const QString& email) {
    QSqlQuery query =
        connection.run(u"SELECT 1 FROM users WHERE email = ? AND password_hash IS NULL"_s, {email});
    return connection.next(query);
}

} // namespace

void giveDemoPasswords(Connection& connection) {
    for (const DemoAccount& account : {demoOwner, demoColleague}) {
        if (lacksPassword(connection, account.email)) {
            const QByteArray hash = hashPassword(account.password);
            connection.run(u"UPDATE users SET password_hash = ? WHERE email = ? AND password_hash IS NULL"_s,
                           {QString::fromLatin1(hash), account.email});
        }
    }
}

QByteArray demoAccountLines() {
    QByteArray lines;
    for (const DemoAccount& account : {demoOwner, demoColleague}) {
        lines += "Demo account " + account.email.toUtf8() + ", password " + account.password + '\n';
    }
    return lines;
}

} // namespace devserver
