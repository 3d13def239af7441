// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/deviceview.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <functional>

/// A device: a client as a program of its own, which can be killed in any instant, and
/// what it has told since.
class Device {
public:
    /// Nothing was ever recorded here. `server` is the address that its client knows.
    explicit Device(const QString& server);
    ~Device();
    Q_DISABLE_COPY_MOVE(Device)

    /// The program begins, and connects.
    void start();
    /// SIGKILL; false when the program had ended by itself.
    bool kill();
    /// The program ends as it does at the end of a session.
    [[nodiscard]] bool quit();

    /// A person does something.
    void act(const QString& what);
    /// Reads on until the program has answered everything, or for as long as a person would wait.
    [[nodiscard]] bool hasAnswered();
    /// Reads on until nothing is under way.
    [[nodiscard]] bool isCalm();

    /// The last that the person saw since the program's start.
    [[nodiscard]] const DeviceView& view() const { return m_view; }
    [[nodiscard]] const QString& server() const { return m_server; }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    /// How the program ended, for a person who looks for the reason.
    [[nodiscard]] QString end() const;

    /// The device's clock is wrong by so much from now on, where that can be made so.
    void setClock(qint64 seconds);
    [[nodiscard]] static bool canSetClock();

    /// Called with each thing that the program tells.
    std::function<void(const DeviceView& view)> told;

private:
    void read();

    QString m_server;
    QTemporaryDir m_clock;
    QProcess m_process;
    QByteArray m_input;
    DeviceView m_view;
    int m_acts = 0;
};
