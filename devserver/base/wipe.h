// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <sodium.h>

namespace devserver {

/// Overwrites a secret with zeros and lets go of it. Every copy that shares the
/// characters sees the zeros too. Not for literals, which are not ours to write.
inline void wipe(QByteArray& secret) {
    sodium_memzero(const_cast<char*>(secret.constData()), static_cast<size_t>(secret.size()));
    secret.clear();
}

inline void wipe(QString& secret) {
    sodium_memzero(const_cast<QChar*>(secret.constData()),
                   static_cast<size_t>(secret.size()) * sizeof(QChar));
    secret.clear();
}

} // namespace devserver
