// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// As long as it lives, a crash, or a run that does not end, names the seed on standard output.
class DeathNote {
public:
    explicit DeathNote(quint32 seed);
    ~DeathNote();
    Q_DISABLE_COPY_MOVE(DeathNote)
};
