// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/endurance/weather.h"
#include "tests/support/client.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QDesktopServices>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <array>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

/// What the tests take of it; more with TIMER_PRESSES, others with TIMER_SEED, of which the odd ones begin
/// with a personal session.
constexpr int usualPresses = 300;

/// Whose the demonstration's entries are.
const QString person = u"noa@example.org"_s;

QStringList warnings;
QtMessageHandler usualHandler = nullptr;

/// What the toolkit says of itself: of its own file dialogs, which no person of a desktop sees, and of a list
/// that empties while a row beyond its edge is being made.
bool isOfTheToolkit(const QString& text) {
    return text.contains(u"propagateSizeHints"_s) ||
           text.startsWith(u"DelegateModel::cancel: index out range"_s);
}

void listen(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (type != QtDebugMsg && type != QtInfoMsg && !isOfTheToolkit(text)) {
        warnings.append(text);
    }
    usualHandler(type, context, text);
}

int number(const char* variable, int usual) {
    return qEnvironmentVariableIsSet(variable) ? qEnvironmentVariableIntValue(variable) : usual;
}

} // namespace

/// Stands in for the browser.
class Browser : public QObject {
    Q_OBJECT

public:
    Browser() { QDesktopServices::setUrlHandler(u"http"_s, this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler(u"http"_s); }

    Q_INVOKABLE void open(const QUrl&) {}
};

/// Somebody presses anything anywhere, on all pages and in all dialogs, while the real
/// server answers, or something in between.
class RestlessHandsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { usualHandler = qInstallMessageHandler(listen); }
    void cleanupTestCase() { qInstallMessageHandler(nullptr); }

    void theWindowBearsThem();

private:
    void press();
    void pressKey();
    void resize();
    [[nodiscard]] QPoint anywhere();
    [[nodiscard]] QPoint onAButton();
    /// Whether the keyboard gets away from the control that it is in.
    [[nodiscard]] bool canBeLeft();
    void noteOpened();
    /// A fault may have cost the session; there is more to press with one.
    void comeBack(const QString& server);

    std::unique_ptr<WindowFixture> m_fixture;
    QRandomGenerator m_dice;
    QString m_last;
    QSet<QString> m_opened; ///< the dialogs and menus that were
};

QPoint RestlessHandsTest::anywhere() {
    return {m_dice.bounded(m_fixture->window->width()), m_dice.bounded(m_fixture->window->height())};
}

QPoint RestlessHandsTest::onAButton() {
    QList<const QQuickItem*> buttons;
    const auto all = m_fixture->window->findChildren<const QQuickItem*>();
    std::copy_if(all.begin(), all.end(), std::back_inserter(buttons), [](const QQuickItem* item) {
        return item->inherits("QQuickAbstractButton") && item->isVisible() && item->isEnabled();
    });
    if (buttons.isEmpty()) {
        return anywhere();
    }
    const QQuickItem* const button = buttons.at(m_dice.bounded(int(buttons.size())));
    const QPoint middle = button->mapToScene(button->boundingRect().center()).toPoint();
    return QRect({}, m_fixture->window->size()).contains(middle) ? middle : anywhere();
}

void RestlessHandsTest::pressKey() {
    static constexpr std::array keys{
        Qt::Key_Tab,    Qt::Key_Tab,   Qt::Key_Backtab, Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape,
        Qt::Key_Left,   Qt::Key_Right, Qt::Key_Up,      Qt::Key_Down,   Qt::Key_Home,  Qt::Key_End,
        Qt::Key_PageUp, Qt::Key_F2,    Qt::Key_Delete,  Qt::Key_A,      Qt::Key_1,     Qt::Key_Colon,
        Qt::Key_Menu,   Qt::Key_F4,    Qt::Key_Z,       Qt::Key_F,      Qt::Key_Enter, Qt::Key_Backspace};
    static constexpr std::array modifiers{Qt::NoModifier,    Qt::NoModifier,      Qt::NoModifier,
                                          Qt::ShiftModifier, Qt::ControlModifier, Qt::AltModifier};
    const Qt::Key key = keys.at(m_dice.bounded(quint32(keys.size())));
    const Qt::KeyboardModifiers held = modifiers.at(m_dice.bounded(quint32(modifiers.size())));
    m_last = u"key %1 with %2"_s.arg(key, 0, 16).arg(int(held), 0, 16);
    QTest::keyClick(m_fixture->window, key, held);
}

void RestlessHandsTest::resize() {
    const QSize smallest = m_fixture->window->minimumSize();
    const QSize size(smallest.width() + m_dice.bounded(700), smallest.height() + m_dice.bounded(500));
    m_last = u"resize to %1x%2"_s.arg(size.width()).arg(size.height());
    m_fixture->window->resize(size);
}

void RestlessHandsTest::press() {
    const int what = m_dice.bounded(100);
    const QPoint where = what < 25 ? onAButton() : anywhere();
    m_last = u"%1 at %2, %3"_s.arg(what).arg(where.x()).arg(where.y());
    if (what < 45) {
        QTest::mouseClick(m_fixture->window, Qt::LeftButton, {}, where);
    } else if (what < 48) {
        QTest::mouseClick(m_fixture->window, Qt::RightButton, {}, where);
    } else if (what < 51) {
        QTest::mouseDClick(m_fixture->window, Qt::LeftButton, {}, where);
    } else if (what < 55) {
        QTest::mousePress(m_fixture->window, Qt::LeftButton, {}, where);
        QTest::mouseMove(m_fixture->window, anywhere());
        QTest::mouseRelease(m_fixture->window, Qt::LeftButton, {}, anywhere());
    } else if (what < 92) {
        pressKey();
    } else if (what < 96) {
        resize();
    } else {
        m_fixture->openTab(m_dice.bounded(m_fixture->object(u"tabs"_s)->property("count").toInt()));
    }
}

bool RestlessHandsTest::canBeLeft() {
    QQuickWindow* const window = m_fixture->window;
    const QQuickItem* const here = window->activeFocusItem();
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Escape}) {
        m_last =
            u"key %1 to leave %2"_s.arg(key, 0, 16).arg(here == nullptr ? QString() : here->objectName());
        QTest::keyClick(window, key);
        QCoreApplication::processEvents();
        if (window->activeFocusItem() != here) {
            return true;
        }
    }
    // What closes may fade first; and where nothing has the keyboard there is nothing to leave.
    return QTest::qWaitFor([&] {
        const QQuickItem* const now = window->activeFocusItem();
        return now != here || now == nullptr || now == window->contentItem();
    });
}

void RestlessHandsTest::noteOpened() {
    const auto all = m_fixture->window->findChildren<QObject*>();
    for (const QObject* const object : all) {
        if (object->inherits("QQuickPopup") && object->property("opened").toBool()) {
            m_opened.insert(object->objectName());
        }
    }
}

void RestlessHandsTest::comeBack(const QString& server) {
    Controller& client = m_fixture->controller;
    if (client.sessionRefused() && client.accountSignedIn()) {
        m_last = u"renew the session"_s;
        client.renewSession(person, AccountServer::password());
    } else if (!client.accountSignedIn() && m_dice.bounded(2) == 0) {
        m_last = u"sign in"_s;
        client.loginAccount(person, AccountServer::password());
    } else {
        m_last = u"connect"_s;
        client.connectServer(server);
    }
}

void RestlessHandsTest::theWindowBearsThem() {
    const int presses = number("TIMER_PRESSES", usualPresses);
    const auto seed = static_cast<quint32>(number("TIMER_SEED", 1));
    const Browser browser;
    FileDialogs dialogs;
    AccountServer accounts({u"--demo"_s});
    accounts.controller.reset(); // the window has its own
    QVERIFY(accounts.serve());
    accounts.database(u"UPDATE users SET email = ?, password_hash ="
                      " (SELECT password_hash FROM users WHERE email = ?)"
                      " WHERE id = (SELECT user_id FROM time_entries LIMIT 1)"_s,
                      {person, AccountServer::dana()});
    m_fixture = std::make_unique<WindowFixture>();
    m_dice.seed(seed);
    QTRY_VERIFY(m_fixture->window->isActive());
    m_fixture->item(u"server"_s)->setProperty("readOnly", true); // nobody else is to be asked
    FaultProxy between;
    between.forwardTo(accounts.server.url());
    Weather weather(between);
    QVERIFY(connectAndLoad(m_fixture->controller, between.url()));
    if (seed % 2 == 1) {
        m_fixture->controller.loginAccount(person, AccountServer::password());
        QTRY_VERIFY(m_fixture->controller.accountSignedIn() && !m_fixture->controller.busy());
    }
    weather.change(m_dice.generate(), 3);
    for (int i = 0; i < presses; ++i) {
        press();
        QCoreApplication::processEvents();
        QVERIFY2(warnings.isEmpty(), qPrintable(u"press %1 of seed %2: %3"_s.arg(i).arg(seed).arg(m_last)));
        QVERIFY(m_fixture->window->isVisible());
        // Drawn in any case: how busy the client is must not decide what the seed stands for.
        const bool waits = m_dice.bounded(3) == 0;
        const bool comesBack = m_dice.bounded(40) == 0;
        const bool leaves = m_dice.bounded(20) == 0;
        if (m_fixture->controller.busy() && waits) {
            QTRY_VERIFY_WITH_TIMEOUT(!m_fixture->controller.busy(), 60'000);
        }
        noteOpened();
        if (!m_fixture->controller.busy() && comesBack) {
            comeBack(between.url());
        }
        if (!m_fixture->controller.busy() && m_fixture->window->isActive() && leaves) {
            QVERIFY2(canBeLeft(), qPrintable(u"press %1 of seed %2: %3"_s.arg(i).arg(seed).arg(m_last)));
        }
    }
    qInfo() << "opened:" << m_opened << "faults:" << between.counts();
    m_fixture.reset();
    QCOMPARE(warnings, QStringList());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    RestlessHandsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "restlesshands.moc"
