// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class Controller;

/// Controller::connectServer() for an address that nobody types: as soon as the controller is not at work
/// any more, and an import has ended or paused. Nothing for the server that it has already: whoever signed
/// out there, or misses its record, goes on by a Connect of their own.
void connectWhenFree(Controller& controller, const QString& address);
