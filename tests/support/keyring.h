// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// The session's Secret Service, from outside the program that uses it.
namespace keyring {

/// The number of keys that the program has stored.
[[nodiscard]] int keyCount();

/// Locks the collection that holds them.
[[nodiscard]] bool lock();

/// Whether somebody is asked for a password.
[[nodiscard]] bool isAsking();

/// As long as it lives the service takes requests and answers none.
class Silence {
public:
    Silence();
    ~Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    qint64 m_process;
};

} // namespace keyring
