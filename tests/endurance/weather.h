// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/faultproxy.h"

#include <QObject>
#include <QRandomGenerator>
#include <QTimer>

/// Decides by itself what becomes of the requests that wait in a proxy, one after the other as time passes.
class Weather : public QObject {
public:
    explicit Weather(FaultProxy& proxy);

    /// From now on one of so many requests meets a fault; with 0, as at first, none does.
    void change(quint32 seed, int oneOf);

private:
    void decide();

    FaultProxy& m_proxy;
    QTimer m_timer;
    QRandomGenerator m_dice;
    int m_oneOf = 0;
};
