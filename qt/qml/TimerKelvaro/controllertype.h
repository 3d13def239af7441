// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"

#include <qqml.h>

/// Names the controller's type for the pages' typed properties; the one object
/// itself comes from the application.
struct ControllerType {
    Q_GADGET
    QML_FOREIGN(Controller)
    QML_NAMED_ELEMENT(Controller)
    QML_UNCREATABLE("The application makes the one controller")
};
