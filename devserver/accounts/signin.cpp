// SPDX-License-Identifier: MIT
#include "devserver/accounts/signin.h"

#include "devserver/accounts/passwords.h"
#include "devserver/base/apierror.h"

#include <QVariant>

#include <chrono>

namespace devserver {
namespace {

struct Account {
    QString userId;
    QByteArray passwordHash; ///< empty when nobody can sign in
};

QString folded(const QString& email) {
    return email.trimmed().toCaseFolded();
}

// The databases fold ASCII at most, so the few users are compared here.
Account findAccount(Connection& connection, const QString& email) {
    QSqlQuery query = connection.run(u"SELECT id, email, password_hash FROM users ORDER BY id"_s);
    Account found;
    while (connection.next(query)) {
        if (found.userId.isEmpty() && folded(query.value(1).toString()) == email) {
            found = {query.value(0).toString(), query.value(2).toString().toLatin1()};
        }
    }
    return found;
}

} // namespace

SignIn::SignIn() : m_unmatched(unmatchedHash()) {
}

QString SignIn::userOf(Connection& connection, const QString& email, const QByteArray& password,
                       const QString& remoteAddress) {
    const QString account = folded(email);
    const Account found = findAccount(connection, account);
    const std::lock_guard turn(m_turn);
    if (!m_limit.allows(account, remoteAddress, std::chrono::steady_clock::now())) {
        throw ApiError{429, u"too_many_failures"_s,
                       u"Too many sign-ins have failed; wait ten minutes and try again."_s};
    }
    if (!hasHash(password, found.passwordHash.isEmpty() ? m_unmatched : found.passwordHash)) {
        m_limit.failed(account, remoteAddress, std::chrono::steady_clock::now());
        throw ApiError{401, u"wrong_credentials"_s, u"The e-mail address or the password is wrong."_s};
    }
    return found.userId;
}

} // namespace devserver
