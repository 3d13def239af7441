// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>

/// Whether two JSON objects are the same data, and not only equal: a handle is one pointer to it.
template <typename Handle>
[[nodiscard]] bool sharesData(const Handle& left, const Handle& right) {
    static_assert(sizeof(Handle) == sizeof(void*));
    return std::memcmp(static_cast<const void*>(&left), static_cast<const void*>(&right), sizeof(Handle)) ==
           0;
}
