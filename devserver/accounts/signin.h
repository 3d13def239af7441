// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/store/database.h"

#include <chrono>
#include <deque>
#include <mutex>

namespace devserver {

/// Counts failed sign-ins: ten within ten minutes, of one account or from one
/// address, are enough, whatever succeeded meanwhile. Kept in memory and
/// bounded. For one thread at a time.
class FailureLimit {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int most = 10;
    static constexpr std::chrono::minutes window{10};
    /// Of more failures than this the oldest are forgotten.
    static constexpr size_t capacity = 10'000;

    /// Whether one more attempt may be made.
    [[nodiscard]] bool allows(const QString& account, const QString& address, Time now);
    void failed(const QString& account, const QString& address, Time now);

    [[nodiscard]] size_t remembered() const { return m_failures.size(); }

private:
    struct Failure {
        Time time;
        QByteArray account; ///< A hash, of one size whatever is typed.
        QString address;
    };

    std::deque<Failure> m_failures; // the oldest first
};

/// Finds out who signs in. The server has one, which every road in shares: it
/// counts the failures.
class SignIn {
public:
    SignIn();

    /// The id of the user with this e-mail address, blanks around it and letter
    /// case aside, and this password in UTF-8. Throws ApiError 401 in the same
    /// words and after the same time whether the address is unknown, has no
    /// password or has another one; 429 after too many failures of this account
    /// or from this remote address. Not to be called in a transaction.
    [[nodiscard]] QString userOf(Connection& connection, const QString& email, const QByteArray& password,
                                 const QString& remoteAddress);

private:
    // One comparison at a time: together they would need all the memory there
    // is, and none can slip past a limit that another is about to reach.
    std::mutex m_turn;
    FailureLimit m_limit;
    QByteArray m_unmatched;
};

} // namespace devserver
