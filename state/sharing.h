// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

/// `now`, sharing the data of `before` where both say the same: the values of its members, and those in its
/// lists, which may have moved if they have an `id`. What is shared is held in memory once, and is known to
/// be unchanged at a glance. The text is that of `now`; where all of it is the same, this is `before` itself.
[[nodiscard]] QJsonObject sharingWith(const QJsonObject& before, const QJsonObject& now);
