// SPDX-License-Identifier: MIT
#include "app/absencewatch.h"

#include "controller/controller.h"

using namespace std::chrono_literals;

AbsenceWatch::AbsenceWatch(Controller& controller)
    : m_controller(controller), m_idle(IdleWatch::known(10min)) {
    connect(&m_sleep, &SleepWatch::woke, this,
            [this](qint64 slept) { m_controller.noteAbsence(Absences::Kind::Sleep, slept); });
    connect(&m_idle, &IdleWatch::returned, this,
            [this](qint64 ago) { m_controller.noteAbsence(Absences::Kind::Rest, ago); });
    connect(&controller, &Controller::tick, this, [this] {
        if (m_watching) {
            m_controller.noteAge();
        }
    });
    connect(&controller, &Controller::changed, this, &AbsenceWatch::follow);
    follow();
}

void AbsenceWatch::follow() {
    const bool runs = !m_controller.timer().isEmpty();
    if (runs == m_watching) {
        return;
    }
    m_watching = runs;
    if (runs) {
        m_sleep.start();
        m_idle.start();
    } else {
        m_sleep.stop();
        m_idle.stop();
    }
}
