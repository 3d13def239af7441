// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// A disk that goes wrong at a chosen moment. While one lives, every call of this
/// program that changes something in `folder` counts, those of its libraries too:
/// the first `good` succeed, and the next one fails.
class BrokenDisk {
public:
    enum class Mend {
        AtOnce,   ///< That one call fails, with EIO.
        Never,    ///< All further ones fail as well, with ENOSPC.
        Unsynced, ///< What is written can be read, but nothing is brought to the disk: only syncs count.
    };

    BrokenDisk(const QString& folder, int good, Mend mend);
    ~BrokenDisk();
    Q_DISABLE_COPY_MOVE(BrokenDisk)

    /// Whether a call has failed.
    [[nodiscard]] static bool hasBroken();
    /// Whether something was brought to the disk before that.
    [[nodiscard]] static bool hasSynced();
};
