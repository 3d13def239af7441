// SPDX-License-Identifier: MIT
#pragma once

#include <QList>

/// The clock of this program, which can be wrong; that of the server is another program's.
namespace WrongClock {

/// Clocks go wrong by hours and by days, in both directions.
[[nodiscard]] const QList<qint64>& errors();
/// By so many seconds, from now on.
void set(qint64 seconds);
/// Since 1970, as the server sees it.
[[nodiscard]] qint64 trueSeconds();

} // namespace WrongClock
