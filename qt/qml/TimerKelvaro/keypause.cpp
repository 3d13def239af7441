// SPDX-License-Identifier: MIT
#include "keypause.h"

#include <QCoreApplication>
#include <QEvent>

using namespace std::chrono_literals;

KeyPause::KeyPause(QObject* parent) : QObject(parent) {
    m_timer.setSingleShot(true);
    m_timer.setInterval(1500ms);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        stop();
        Q_EMIT ended();
    });
}

void KeyPause::start() {
    QCoreApplication::instance()->installEventFilter(this);
    m_timer.start();
}

void KeyPause::stop() {
    QCoreApplication::instance()->removeEventFilter(this);
    m_timer.stop();
}

bool KeyPause::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::InputMethod) {
        m_timer.start();
    }
    return QObject::eventFilter(watched, event);
}
