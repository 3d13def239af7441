// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class Controller;
class QQuickWindow;

/// The read-only smoke test: once the controller is ready() it writes what was
/// loaded, as one JSON object, and a picture of the window beside it, then ends
/// the program. Exit codes: 0 written; with one sentence for the terminal 2 not ready
/// within 20 s, 3 not writable.
class Probe : public QObject {
    Q_OBJECT

public:
    /// `window` may be null, which the result then says; both must outlive the probe.
    Probe(Controller& controller, QQuickWindow* window, QString file);

private:
    void write();

    Controller& m_controller;
    QPointer<QQuickWindow> m_window;
    QString m_file;
    QTimer m_deadline;
};
