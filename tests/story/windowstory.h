// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>

/// A person with the real program, in English, and its real server.
class WindowStory : public QObject {
    Q_OBJECT

protected:
    explicit WindowStory(DevServer::Data data) : m_server(data) {}

    /// An empty desktop, and the server.
    [[nodiscard]] bool startDesk();
    /// Runs the program, and waits until it is connected and speaks English.
    [[nodiscard]] bool openProgram();

    [[nodiscard]] Element elements() const { return m_program.elements(); }
    /// The status line. The periodic look at the server replaces what it says.
    [[nodiscard]] QString status() const { return m_status.name(); }
    /// Whether so many changes wait for the server, in either language.
    [[nodiscard]] bool isWaiting(int changes) const;

    [[nodiscard]] bool press(const QString& button, const std::function<bool()>& outcome) const;
    [[nodiscard]] bool openTab(const QString& tab, const QString& buttonOnIt) const;
    /// Clicks into the field, and replaces what it holds.
    [[nodiscard]] bool fillIn(const QString& field, const QString& text) const;
    /// Presses the button, and gives the file dialog that it opens this path.
    [[nodiscard]] bool chooseFile(const QString& button, const QString& path) const;
    /// What the button saves in a file; empty unless the status line says this about it.
    [[nodiscard]] QByteArray savedBy(const QString& button, const QString& message) const;

    Screen m_screen;
    DevServer m_server;
    Program m_program;

private:
    [[nodiscard]] bool replaceText(const QString& field, const QString& text) const;

    Element m_status;
};
