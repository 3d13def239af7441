// SPDX-License-Identifier: MIT
#include "app/idlewatch.h"

#include "app/mutteridle.h"
#include "app/polledidle.h"
#if TIMER_X11_IDLE
#include "app/x11idle.h"
#endif

#include <utility>

IdleWatch::IdleWatch(Sources sources, QObject* parent) : QObject(parent), m_sources(std::move(sources)) {
    for (std::size_t i = 0; i < m_sources.size(); ++i) {
        IdleSource* const source = m_sources[i].get();
        connect(source, &IdleSource::returned, this, &IdleWatch::returned);
        connect(source, &IdleSource::answered, this, [this, i](bool works) { noteAnswer(i, works); });
    }
}

IdleWatch::Sources IdleWatch::known(std::chrono::milliseconds rest) {
    Sources sources;
    sources.push_back(std::make_unique<MutterIdle>(rest));
#if TIMER_X11_IDLE
    // Before the desktop's own word, which on some desktops is in seconds and never tells of a rest.
    sources.push_back(std::make_unique<PolledIdle>(askX11(), PolledIdle::Pace{rest}));
#endif
    sources.push_back(std::make_unique<PolledIdle>(askScreenSaver(), PolledIdle::Pace{rest}));
    return sources;
}

void IdleWatch::start() {
    stop();
    m_watching = true;
    m_current = 0;
    if (!m_sources.empty()) {
        m_sources.front()->start();
    }
}

void IdleWatch::stop() {
    if (std::exchange(m_watching, false) && m_current < m_sources.size()) {
        m_sources[m_current]->stop();
    }
}

void IdleWatch::noteAnswer(std::size_t source, bool works) {
    if (works || !m_watching || source != m_current) {
        return;
    }
    m_sources[m_current]->stop();
    if (++m_current < m_sources.size()) {
        m_sources[m_current]->start();
    }
}
