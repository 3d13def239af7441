// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// A disk that goes wrong at a chosen moment. While one lives, every call of this
/// program that changes a file or a folder counts, those of its libraries too: the
/// first `good` succeed, and the next one fails.
class BrokenDisk {
public:
    enum class Mend {
        AtOnce, ///< That one call fails, with EIO.
        Never,  ///< All further ones fail as well, with ENOSPC.
    };

    BrokenDisk(int good, Mend mend);
    ~BrokenDisk();
    Q_DISABLE_COPY_MOVE(BrokenDisk)

    /// Whether a call has failed.
    [[nodiscard]] static bool hasBroken();
    /// Of the file whose call failed first.
    [[nodiscard]] static QByteArray brokenPath();
};
