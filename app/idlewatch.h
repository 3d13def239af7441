// SPDX-License-Identifier: MIT
#pragma once

#include "app/idlesource.h"

#include <chrono>
#include <memory>
#include <vector>

/// Tells when somebody comes back to keyboard and mouse after a rest: the first of its sources that can tell
/// here. Without any nothing comes.
class IdleWatch : public QObject {
    Q_OBJECT

public:
    using Sources = std::vector<std::unique_ptr<IdleSource>>;

    explicit IdleWatch(Sources sources, QObject* parent = nullptr);

    /// All that this program knows, for rests of this length.
    [[nodiscard]] static Sources known(std::chrono::milliseconds rest);

    void start();
    void stop();

Q_SIGNALS:
    /// The rest began so many milliseconds ago.
    void returned(qint64 ago);

private:
    void noteAnswer(std::size_t source, bool works);

    Sources m_sources;
    std::size_t m_current = 0;
    bool m_watching = false;
};
