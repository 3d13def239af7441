// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>

/// A durable state document with `entries` closed entries of one user, one period
/// for each of the first `periods` weeks, and an empty queue. 10,000 entries are
/// about 3.4 MB of JSON: a normal user of three years.
[[nodiscard]] QJsonObject makeState(int entries, int periods = 10);

/// A queue item that stops no timer and changes nothing but a description.
[[nodiscard]] QJsonObject makeEdit(const QJsonObject& state, int index);
