// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

/// Scheme, host and port of what a person gave as a server's address: the prefix of every request and
/// the vault's scope. Nothing unless it is HTTPS, or HTTP to this machine or a private network, and
/// without user name, query and fragment.
[[nodiscard]] std::optional<QString> serverAddress(const QString& text);
