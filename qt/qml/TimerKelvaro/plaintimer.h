// SPDX-License-Identifier: MIT
#pragma once

#include <QTimer>
#include <qqml.h>

/// For what counts down in a window that nothing else moves: a Timer of Qt Quick is one of its
/// animations, and to start one costs a frame (seen with Qt 6.4).
struct PlainTimerType {
    Q_GADGET
    QML_FOREIGN(QTimer)
    QML_NAMED_ELEMENT(PlainTimer)
};
