// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// AES-256.
inline constexpr qsizetype sealingKeySize = 32;

/// Longer texts can be sealed, up to 50 MiB, but the blob is then too long to be opened.
inline constexpr qsizetype largestReadableText = 52'428'800 - 32;

/// Seals `plaintext` with AES-256-GCM (NIST SP 800-38D) behind what `record` already
/// holds, so that a document of many megabytes is encrypted where it is needed: "TKV1",
/// 12 bytes of nonce, 16 of tag, ciphertext. False leaves `record` unfit for use.
[[nodiscard]] bool appendSealed(QByteArray& record, const QByteArray& plaintext, const QByteArray& key,
                                const QByteArray& aad);

/// Opens a sealed blob. An empty plaintext is legitimate: only `ok` tells success from failure.
[[nodiscard]] QByteArray openSealed(const QByteArray& blob, const QByteArray& key, const QByteArray& aad,
                                    bool* ok = nullptr);
