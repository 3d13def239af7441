// SPDX-License-Identifier: MIT
#pragma once

#include "app/idlesource.h"
#include "app/machinetime.h"

#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

/// A source that only tells, when it is asked, how long keyboard and mouse have rested. It is asked when the
/// rest can be long enough, so every ten minutes at most; and more often only while nobody is there.
class PolledIdle : public IdleSource {
    Q_OBJECT

public:
    /// Milliseconds, nothing when it does not know; may be called later.
    using Answer = std::function<void(std::optional<qint64> idle)>;
    using Ask = std::function<void(const Answer& answer)>;
    struct Pace {
        std::chrono::milliseconds rest;
        std::chrono::milliseconds whileAway{5000};
    };

    PolledIdle(Ask ask, Pace pace, MachineClock clock = &MachineTime::now, QObject* parent = nullptr);

    void start() override;
    void stop() override;

private:
    void look();
    void take(std::optional<qint64> idle);
    /// When to look again.
    [[nodiscard]] std::chrono::milliseconds follow(qint64 idle);

    Ask m_ask;
    Pace m_pace;
    MachineClock m_clock;
    QTimer m_next;
    int m_run = 0; ///< tells answers to what was asked before stop()
    bool m_answered = false;
    qint64 m_idle = 0;
    std::optional<qint64> m_restBegan;
};

/// Asks the desktop, KDE's and others, over the session bus.
[[nodiscard]] PolledIdle::Ask askScreenSaver();
