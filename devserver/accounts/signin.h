// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/failurelimit.h"
#include "devserver/store/database.h"

#include <QByteArray>
#include <QString>

#include <mutex>

namespace devserver {

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
