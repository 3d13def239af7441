// SPDX-License-Identifier: MIT
#include "controller/logging.h"

Q_LOGGING_CATEGORY(controllerLog, "timer.controller", QtWarningMsg)
