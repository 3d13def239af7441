// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>

/// Why something was or was not sent: methods, counts, sizes and statuses. Never what a
/// person wrote, a name, an id or a token. Off unless QT_LOGGING_RULES asks for it.
Q_DECLARE_LOGGING_CATEGORY(controllerLog)
