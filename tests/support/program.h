// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/element.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

/// The program that people run, as a process of its own.
class Program {
public:
    Program();
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The file that is run; the built program unless told otherwise.
    void setFile(const QString& file) { m_file = file; }
    /// One variable of its environment, besides those of the test.
    void setVariable(const QString& name, const QString& value);
    void unsetVariable(const QString& name);
    void start(const QStringList& arguments = {});
    /// Starts it beside one that is open; whether it handed over to that one, and said nothing. On a busy
    /// machine that one may not answer in time, and is asked again.
    [[nodiscard]] bool handsOver(const QStringList& arguments = {});
    /// What it says when the one that is open does not answer.
    [[nodiscard]] static QByteArray unanswered();
    void kill();
    /// Waits until the process ends; its exit code, -1 when it crashed or goes on.
    [[nodiscard]] int exitCode();
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] qint64 id() const { return m_process.processId(); }
    /// What it printed, errors included.
    [[nodiscard]] QByteArray output() { return m_process.readAll(); }

    /// All that is on the screen of it; null until it can be reached.
    [[nodiscard]] Element elements() const { return Element::application(id()); }
    /// An element that can be used now: on the screen and enabled.
    [[nodiscard]] Element usable(Element::Role role, const QString& name) const;
    [[nodiscard]] bool shows(Element::Role role, const QString& name) const;

private:
    QString m_file;
    QProcess m_process;
};
