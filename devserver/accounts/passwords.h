// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

// Argon2id with libsodium's moderate limits: every call takes about half a
// second and 256 MiB, and so has no place in a transaction.
namespace devserver {

/// The hash to store, as text with its salt and its limits.
[[nodiscard]] QByteArray hashPassword(const QByteArray& password);

/// Whether the password has this hash. Throws std::runtime_error when that
/// cannot be found out: without enough memory, or for text that is no hash.
[[nodiscard]] bool hasHash(const QByteArray& password, const QByteArray& hash);

/// A hash that no password has, and that costs as much to compare with as any other.
[[nodiscard]] QByteArray unmatchedHash();

} // namespace devserver
