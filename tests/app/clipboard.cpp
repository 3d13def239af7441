// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/compositor.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

const QString copyDetails = u"Copy technical details"_s;
const QString firstWord = u"Timer.Kelvaro "_s;

/// The tab that has the button.
bool openSettings(Program& program, const QString& server) {
    program.start({u"--server"_s, server});
    return retry([&program] { return program.usable(Role::PushButton, u"EN"_s).press(); },
                 [&program] { return program.shows(Role::PageTab, u"Settings"_s); }) &&
           retry([&program] { return program.usable(Role::PageTab, u"Settings"_s).press(); },
                 [&program] { return !program.usable(Role::PushButton, copyDetails).isNull(); });
}

} // namespace

/// What the program copies, as it comes out in another program.
class ClipboardTest : public QObject {
    Q_OBJECT

    DevServer m_server;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.start()); }
    void init() { startClean(); }
    void technicalDetailsComeOutUnderX11();
    void technicalDetailsComeOutUnderWayland();
};

void ClipboardTest::technicalDetailsComeOutUnderX11() {
    Program program;
    QVERIFY(openSettings(program, m_server.url()));
    QVERIFY(retry([&program] { return program.usable(Role::PushButton, copyDetails).press(); },
                  [] { return QGuiApplication::clipboard()->text().startsWith(firstWord); }));
    QVERIFY(QGuiApplication::clipboard()->text().contains(u"\nPlatform: xcb, "_s));
}

// A compositor lets those alone copy whom a person has just clicked.
void ClipboardTest::technicalDetailsComeOutUnderWayland() {
    Compositor compositor;
    QVERIFY(compositor.start(1, Compositor::Shell::Kiosk));
    Program program;
    Compositor::show(program);
    QVERIFY(openSettings(program, m_server.url()));
    const Screen screen;
    QVERIFY(screen.clickUntil(program, Role::PushButton, copyDetails,
                              [] { return Compositor::clipboard().startsWith(firstWord); }));
    QTRY_VERIFY_WITH_TIMEOUT(Compositor::clipboard().contains(u"\nPlatform: wayland, "_s),
                             Screen::patienceMs);
}

QTEST_MAIN(ClipboardTest)
#include "clipboard.moc"
