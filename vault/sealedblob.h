// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// AES-256.
inline constexpr qsizetype sealingKeySize = 32;

/// Longer texts can be sealed, up to 50 MiB, but the blob is then too long to be opened.
inline constexpr qsizetype largestReadableText = 52'428'800 - 32;

/// "TKV1", 12 bytes of nonce, 16 of tag.
inline constexpr qsizetype sealedHeaderSize = 32;

/// Seals with AES-256-GCM (NIST SP 800-38D) what stands in `record` from `start` on, where it stands, so that
/// a document of many megabytes is written and encrypted in one place: room for the header, which is filled
/// in, then the plaintext, which becomes the ciphertext. Where it fails the plaintext may still be there.
[[nodiscard]] bool sealInPlace(QByteArray& record, qsizetype start, const QByteArray& key,
                               const QByteArray& aad);

/// Opens a sealed blob. An empty plaintext is legitimate: only `ok` tells success from failure.
[[nodiscard]] QByteArray openSealed(const QByteArray& blob, const QByteArray& key, const QByteArray& aad,
                                    bool* ok = nullptr);
