// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Whether a status message is one of the client's fixed sentences, which name nobody and nothing. What is
/// not listed here may hold a server's words or something that a person recorded.
[[nodiscard]] bool isOwnSentence(const QString& message);
