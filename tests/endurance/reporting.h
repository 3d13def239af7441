// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class Controller;

/// Asks for a report of whatever was recorded, however wrong the clock is.
void askForReport(Controller& client, const QString& kind);
