// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"

#include "tests/support/client.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using Role = Element::Role;
using namespace Qt::StringLiterals;

bool WindowStory::startDesk() {
    startClean();
    return m_screen.start() && m_server.start();
}

bool WindowStory::openProgram() {
    m_program.start({u"--server"_s, m_server.url()});
    const auto connected = [this] {
        m_status = elements().find(Role::Label, u"Connected to PostgreSQL"_s);
        return !m_status.isNull();
    };
    return QTest::qWaitFor(connected, Screen::patienceMs) &&
           press(u"EN"_s, [this] { return m_program.shows(Role::PushButton, u"Start"_s); });
}

bool WindowStory::isWaiting(int changes) const {
    return m_program.shows(Role::PushButton, u"Sync (%1)"_s.arg(changes)) ||
           m_program.shows(Role::PushButton, u"סנכרון (%1)"_s.arg(changes));
}

bool WindowStory::press(const QString& button, const std::function<bool()>& outcome) const {
    return m_screen.clickUntil(m_program, Role::PushButton, button, outcome);
}

bool WindowStory::openTab(const QString& tab, const QString& buttonOnIt) const {
    return m_screen.clickUntil(m_program, Role::PageTab, tab,
                               [this, buttonOnIt] { return m_program.shows(Role::PushButton, buttonOnIt); });
}

bool WindowStory::fillIn(const QString& field, const QString& text) const {
    return m_screen.clickUntil(m_program, Role::Text, field, [&] {
        return elements().find(Role::Text, field).isFocused();
    }) && replaceText(field, text);
}

bool WindowStory::chooseFile(const QString& button, const QString& path) const {
    const QString field = u"File name:"_s; // of the toolkit's own dialog, in English everywhere
    const auto isOpen = [&] { return m_program.shows(Role::Text, field); };
    return press(button, isOpen) &&
           QTest::qWaitFor([&] { return elements().find(Role::Text, field).isFocused(); },
                           Screen::patienceMs) &&
           replaceText(field, path) &&
           retry([&] { return !isOpen() || m_screen.key(u"Return"_s); }, [&] { return !isOpen(); });
}

// Again, under another name, when the status line said something else before it was read.
QByteArray WindowStory::savedBy(const QString& button, const QString& message) const {
    const QTemporaryDir folder(QDir::home().filePath(u"saved-XXXXXX"_s));
    QFile file;
    int attempt = 0;
    const auto act = [&] {
        file.setFileName(folder.filePath(QString::number(++attempt)));
        return chooseFile(button, file.fileName()) &&
               QTest::qWaitFor([&file] { return file.exists(); }, Screen::patienceMs);
    };
    const bool saved = retry(act, [&] { return status() == message; });
    return saved && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool WindowStory::replaceText(const QString& field, const QString& text) const {
    return m_screen.key(u"ctrl+a"_s) && m_screen.type(text) &&
           QTest::qWaitFor([&] { return elements().find(Role::Text, field).text() == text; },
                           Screen::patienceMs);
}
