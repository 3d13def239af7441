// SPDX-License-Identifier: MIT
#pragma once

#include "app/idlesource.h"
#include "app/machinetime.h"

#include <QDBusServiceWatcher>

#include <chrono>
#include <functional>
#include <optional>

/// GNOME's idle monitor, which tells by itself: nothing is done here while somebody works.
class MutterIdle : public IdleSource {
    Q_OBJECT

public:
    explicit MutterIdle(std::chrono::milliseconds rest, MachineClock clock = &MachineTime::now,
                        QObject* parent = nullptr);
    ~MutterIdle() override;

    void start() override;
    void stop() override;

private:
    /// Of a watch: its number, nothing when there is no such service.
    using Use = std::function<void(std::optional<uint> watch)>;

    Q_SLOT void fired(uint watch);
    void watchForRest();
    void add(const QString& method, const QVariantList& arguments, const Use& use);
    static void remove(uint watch);

    std::chrono::milliseconds m_rest;
    MachineClock m_clock;
    QDBusServiceWatcher m_presence;
    int m_run = 0; ///< tells answers to what was asked before stop()
    bool m_watching = false;
    std::optional<uint> m_restWatch;
    std::optional<uint> m_returnWatch;
    std::optional<qint64> m_restBegan;
};
