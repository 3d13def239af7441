// SPDX-License-Identifier: MIT
#include "devserver/accounts/signin.h"

#include "devserver/accounts/passwords.h"
#include "devserver/base/apierror.h"

#include <QCryptographicHash>

#include <algorithm>

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
    Account found;
    connection.each(u"SELECT id, email, password_hash FROM users ORDER BY id"_s, {},
                    [&](const QSqlQuery& row) {
                        if (found.userId.isEmpty() && folded(row.value(1).toString()) == email) {
                            found = {row.value(0).toString(), row.value(2).toString().toLatin1()};
                        }
                    });
    return found;
}

QByteArray keyOf(const QString& account) {
    return QCryptographicHash::hash(account.toUtf8(), QCryptographicHash::Blake2b_256);
}

} // namespace

bool FailureLimit::allows(const QString& account, const QString& address, Time now) {
    while (!m_failures.empty() && now - m_failures.front().time >= window) {
        m_failures.pop_front();
    }
    const QByteArray key = keyOf(account);
    const auto ofAccount = std::count_if(m_failures.begin(), m_failures.end(),
                                         [&key](const Failure& f) { return f.account == key; });
    const auto ofAddress = std::count_if(m_failures.begin(), m_failures.end(),
                                         [&address](const Failure& f) { return f.address == address; });
    return ofAccount < most && ofAddress < most;
}

void FailureLimit::failed(const QString& account, const QString& address, Time now) {
    if (m_failures.size() == capacity) {
        m_failures.pop_front();
    }
    m_failures.push_back({now, keyOf(account), address});
}

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
