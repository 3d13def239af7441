// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

#include <cstring>

/// Whether two JSON objects or arrays are the same data, and not only equal: a handle is one pointer to it,
/// and nobody changes what is shared.
template <typename Handle>
[[nodiscard]] bool sharesData(const Handle& left, const Handle& right) {
    static_assert(sizeof(Handle) == sizeof(void*));
    return std::memcmp(static_cast<const void*>(&left), static_cast<const void*>(&right), sizeof(Handle)) ==
           0;
}

/// `now`, sharing the data of `before` where both say the same: the values of its members, and those in its
/// lists, which may have moved if they have an `id`. What is shared is held in memory once, and is known to
/// be unchanged at a glance. The text is that of `now`; where all of it is the same, this is `before` itself.
[[nodiscard]] QJsonObject sharingWith(const QJsonObject& before, const QJsonObject& now);
