// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// One step of a storm: what is done, and the chance that decides its details. It
/// does not depend on the steps before, so that any of them can be left out.
struct Step {
    int action; ///< an index into Storm::actions()
    quint32 chance;
};
using History = QList<Step>;

/// Always the same steps for the same seed.
[[nodiscard]] History historyOf(quint32 seed);

/// "start:17 flow:3", and back; nothing when a word is not understood.
[[nodiscard]] QString textOf(const History& history);
[[nodiscard]] std::optional<History> historyFrom(const QString& text);
