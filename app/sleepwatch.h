// SPDX-License-Identifier: MIT
#pragma once

#include "app/machinetime.h"

#include <QObject>

#include <optional>

/// Tells when the machine wakes up: logind says so on the system bus. Where nobody says so, nothing comes.
class SleepWatch : public QObject {
    Q_OBJECT

public:
    explicit SleepWatch(MachineClock clock = &MachineTime::now, QObject* parent = nullptr);

    void start();
    void stop();

Q_SIGNALS:
    /// The machine is back, and has slept for so many milliseconds.
    void woke(qint64 slept);

private:
    Q_SLOT void prepareForSleep(bool begins);
    /// How long the machine has slept since it was started.
    [[nodiscard]] qint64 sleepSoFar() const;

    MachineClock m_clock;
    std::optional<qint64> m_began;
    qint64 m_sleepBefore = 0;
};
