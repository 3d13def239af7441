// SPDX-License-Identifier: MIT
#pragma once

#include "app/idlewatch.h"
#include "app/sleepwatch.h"

#include <QObject>

class Controller;

/// Tells the controller of the time that nobody spent here, while a timer runs. Nothing is watched while
/// none does.
class AbsenceWatch : public QObject {
    Q_OBJECT

public:
    explicit AbsenceWatch(Controller& controller);

private:
    void follow();

    Controller& m_controller;
    SleepWatch m_sleep;
    IdleWatch m_idle;
    bool m_watching = false;
};
