// SPDX-License-Identifier: MIT
#include "tests/endurance/weather.h"

Weather::Weather(FaultProxy& proxy) : m_proxy(proxy) {
    connect(&m_timer, &QTimer::timeout, this, &Weather::decide);
    m_timer.setSingleShot(true); // asking the server takes turns of the event loop
    m_timer.start();
}

void Weather::change(quint32 seed, int oneOf) {
    m_dice.seed(seed);
    m_oneOf = oneOf;
}

void Weather::decide() {
    for (qsizetype i = 0; i < m_proxy.waiting(); ++i) {
        if (m_proxy.at(i).stalled) {
            continue; // until the client gives up
        }
        const bool fails = m_oneOf > 0 && m_dice.bounded(m_oneOf) == 0;
        m_proxy.finish(i, fails ? FaultProxy::draw(m_proxy.at(i), m_dice) : FaultProxy::Fault::None, m_dice);
        break;
    }
    m_timer.start(1);
}
