// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// AES-256.
inline constexpr qsizetype sealingKeySize = 32;

/// Longer texts can be sealed, up to 50 MiB, but the blob is then too long to be opened.
inline constexpr qsizetype largestReadableText = 52'428'800 - 32;

/// The same as Vault::seal(), but behind what `record` already holds, so that a
/// document of many megabytes is encrypted where it is needed. False leaves
/// `record` unfit for use.
[[nodiscard]] bool appendSealed(QByteArray& record, const QByteArray& plaintext, const QByteArray& key,
                                const QByteArray& aad);
