// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/// Somebody who can tell whether keyboard and mouse rest.
class IdleSource : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// Begins to watch; answered() follows once, perhaps at once.
    virtual void start() = 0;
    virtual void stop() = 0;

Q_SIGNALS:
    /// Whether it can tell here.
    void answered(bool works);
    /// Somebody is back after a rest that was long enough, and had begun so many milliseconds ago.
    void returned(qint64 ago);
};
