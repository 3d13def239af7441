// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <openssl/crypto.h>

/// Overwrites the bytes with zeros and lets go of them. Every copy that shares
/// them sees the zeros too; that is the point, as a detached copy would leave the
/// secret behind. Not for literals or raw data, which are not ours to write.
inline void wipe(QByteArray& bytes) {
    OPENSSL_cleanse(const_cast<char*>(bytes.constData()), static_cast<size_t>(bytes.size()));
    bytes.clear();
}
