// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>
#include <qqmlintegration.h>

/// Once started, waits until nobody has typed anything anywhere in the program for a while.
class KeyPause : public QObject {
    Q_OBJECT
    QML_ELEMENT

public:
    explicit KeyPause(QObject* parent = nullptr);

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void ended();

private:
    QTimer m_timer;
};
