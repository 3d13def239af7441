// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class Controller;

/// Controller::connectServer() for an address that nobody types: now, or as soon as the
/// controller is not at work any more.
void connectWhenFree(Controller& controller, const QString& address);
