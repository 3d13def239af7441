// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStyleHints>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// A button that is off at the first half of a double click, and on at the second.
class SwitchedOnBetween : public QObject {
public:
    explicit SwitchedOnBetween(QQuickItem& button) : m_button(button) {
        button.setEnabled(false);
        button.window()->installEventFilter(this);
    }

    bool eventFilter(QObject* /*window*/, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonRelease) {
            m_button.setEnabled(true);
        }
        return false;
    }

private:
    QQuickItem& m_button;
};

} // namespace

/// What mouse and keyboard do beyond a single press.
class WindowInputTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    void type(const char* name, const QByteArray& text);
    void doubleClickTheTimer();

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void heldReturnPressesOnce();
    void heldReturnOpensADialogAndLeavesItOpen_data();
    void heldReturnOpensADialogAndLeavesItOpen();
    void heldShortcutTogglesOnce();
    void doubleClickOnTheTimerIsOneDeed();
    void aButtonThatWasOffTakesTheSecondHalfOfADoubleClick();
    void renamedProjectShowsItsNewName();
    void crossClearsTheProject();
    void switchChangesTheTheme_data();
    void switchChangesTheTheme();
    void timerRunsInEnglish();
    void manualEntryIsAddedInEnglish();
    void descriptionIsEditedInEnglish();
    void whatWasTypedIsThereWhenThePageIsShownAgain();
    void cursorRestsWhenNobodyTypes();
};

void WindowInputTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    QTRY_VERIFY(m_fixture->window->isActive());
}

void WindowInputTest::cleanup() {
    m_fixture.reset();
}

void WindowInputTest::type(const char* name, const QByteArray& text) {
    QQuickItem* const field = item(name);
    field->forceActiveFocus();
    for (const char letter : text) {
        QTest::keyClick(m_fixture->window, letter);
    }
    QCOMPARE(field->property("text").toString(), QString::fromLatin1(text));
}

void WindowInputTest::heldReturnPressesOnce() {
    item("language")->forceActiveFocus(Qt::TabFocusReason);
    m_fixture->hold(Qt::Key_Return);
    QCOMPARE(m_fixture->window->property("hebrew"), false);
    m_fixture->hold(Qt::Key_Enter);
    QCOMPARE(m_fixture->window->property("hebrew"), true);
}

void WindowInputTest::heldReturnOpensADialogAndLeavesItOpen_data() {
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Return") << Qt::Key_Return;
    QTest::newRow("Enter") << Qt::Key_Enter;
}

void WindowInputTest::heldReturnOpensADialogAndLeavesItOpen() {
    QFETCH(Qt::Key, key);
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    QTRY_VERIFY(item("editEntry")->isVisible());
    const QObject* const dialog = m_fixture->object(u"editDialog"_s);
    item("editEntry")->forceActiveFocus(Qt::TabFocusReason);
    QTest::simulateEvent(m_fixture->window, true, key, {}, {}, false);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(item("editDescription")->hasActiveFocus());
    QTest::simulateEvent(m_fixture->window, true, key, {}, {}, true);
    QTest::simulateEvent(m_fixture->window, false, key, {}, {}, false);
    QCOMPARE(controller().pending(), 0);
    QVERIFY(dialog->property("opened").toBool());

    QTest::keyClick(m_fixture->window, key);
    QCOMPARE(controller().pending(), 1);
}

void WindowInputTest::heldShortcutTogglesOnce() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    m_fixture->hold(Qt::Key_Space, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(!controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 1);
}

void WindowInputTest::doubleClickTheTimer() {
    m_fixture->layOut();
    const QQuickItem* const button = item("timerAction");
    const QPointF centre = button->mapToScene(QPointF(button->width() / 2, button->height() / 2));
    QTest::mouseDClick(m_fixture->window, Qt::LeftButton, {}, centre.toPoint());
}

void WindowInputTest::aButtonThatWasOffTakesTheSecondHalfOfADoubleClick() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    const SwitchedOnBetween button(*item("timerAction"));
    doubleClickTheTimer();
    QVERIFY(!controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 1);
}

void WindowInputTest::doubleClickOnTheTimerIsOneDeed() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    item("description")->setProperty("text", u"plan"_s);
    doubleClickTheTimer();
    QCOMPARE(controller().timer().value(u"description"_s).toString(), u"plan"_s);
    QCOMPARE(controller().pending(), 1);
    QTRY_VERIFY(item("timerAction")->isEnabled());
    doubleClickTheTimer();
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 2);

    // Further apart they are two.
    QTRY_VERIFY(item("timerAction")->isEnabled());
    m_fixture->click(item("timerAction"));
    QVERIFY(!controller().timer().isEmpty());
    QTRY_VERIFY(item("timerAction")->isEnabled());
    m_fixture->click(item("timerAction"));
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 4);
}

void WindowInputTest::renamedProjectShowsItsNewName() {
    QJsonObject document = WindowFixture::document();
    m_fixture->show(document);
    QQuickItem* const chooser = item("projectSelect");
    m_fixture->click(chooser);
    auto* const popup = chooser->property("popup").value<QObject*>();
    QTRY_VERIFY(popup->property("opened").toBool());
    const auto* const list = popup->property("contentItem").value<QQuickItem*>();
    QTRY_VERIFY(WindowFixture::texts(list).contains(u"Two"_s));

    QJsonObject snapshot = document.value(u"snapshot").toObject();
    QJsonArray projects = snapshot.value(u"catalog").toObject().value(u"projects").toArray();
    projects[1] = QJsonObject{{u"id"_s, u"p2"_s}, {u"name"_s, u"Renamed"_s}};
    snapshot.insert(u"catalog", QJsonObject{{u"projects"_s, projects}});
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);

    QTRY_VERIFY(WindowFixture::texts(list).contains(u"Renamed"_s));
    QVERIFY(!WindowFixture::texts(list).contains(u"Two"_s));
}

void WindowInputTest::crossClearsTheProject() {
    m_fixture->show(WindowFixture::document());
    QQuickItem* const chooser = item("projectSelect");
    QVERIFY(!item("clearProject")->isVisible());
    chooser->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QCOMPARE(chooser->property("displayText").toString(), u"One"_s);

    QCOMPARE(item("clearProject")->property("text").toString(), u"×"_s);
    QVERIFY(item("clearProject")->isVisible());
    m_fixture->click(item("clearProject"));
    QCOMPARE(chooser->property("chosen").toString(), QString());
    QCOMPARE(chooser->property("displayText").toString(), u"—"_s);
    QVERIFY(!item("clearProject")->isVisible());
}

void WindowInputTest::switchChangesTheTheme_data() {
    QTest::addColumn<bool>("byMouse");
    QTest::newRow("click") << true;
    QTest::newRow("space") << false;
}

void WindowInputTest::switchChangesTheTheme() {
    QFETCH(bool, byMouse);
    m_fixture->openTab(3);
    QQuickItem* const appearance = item("darkAppearance");
    const auto act = [&] {
        if (byMouse) {
            m_fixture->click(appearance);
            return;
        }
        appearance->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Space);
    };
    const auto isDark = [this] {
        return m_fixture->evaluate(u"Material.theme === Material.Dark"_s).toBool();
    };

    act();
    QVERIFY(isDark());
    act();
    QVERIFY(!isDark());
}

void WindowInputTest::timerRunsInEnglish() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    m_fixture->click(item("language"));
    type("description", "plan");
    m_fixture->click(item("billable"));

    m_fixture->click(item("timerAction"));
    QCOMPARE(item("timerAction")->property("text").toString(), u"Stop"_s);
    QCOMPARE(controller().timer().value(u"description"_s).toString(), u"plan"_s);
    QCOMPARE(controller().timer().value(u"billable"_s).toBool(), true);

    QTRY_VERIFY(item("timerAction")->isEnabled());
    m_fixture->click(item("timerAction"));
    QCOMPARE(item("timerAction")->property("text").toString(), u"Start"_s);
    QCOMPARE(controller().pending(), 2);
    QTRY_COMPARE(item("entryDescription")->property("text").toString(), u"plan"_s);
}

void WindowInputTest::manualEntryIsAddedInEnglish() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    m_fixture->click(item("language"));
    QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    m_fixture->click(item("manualEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(dialog->property("title").toString(), u"Manual entry"_s);
    type("manualDescription", "Call");
    type("manualFrom", "2021-03-01T09:00:00+02:00");
    type("manualTo", "2021-03-01T10:00:00+02:00");

    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    QCOMPARE(controller().pending(), 1);
    QTRY_COMPARE(item("entryDescription")->property("text").toString(), u"Call"_s);
    QCOMPARE(item("startAt")->property("text").toString(), u"2021-03-01T07:00:00Z · Pending sync"_s);
}

void WindowInputTest::descriptionIsEditedInEnglish() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    m_fixture->click(item("language"));
    QObject* const dialog = m_fixture->object(u"editDialog"_s);
    QTRY_VERIFY(item("editEntry")->isVisible());
    m_fixture->click(item("editEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(dialog->property("title").toString(), u"Edit description"_s);
    item("editDescription")->setProperty("text", QString());
    type("editDescription", "Better");

    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    QCOMPARE(controller().pending(), 1);
    QTRY_COMPARE(item("entryDescription")->property("text").toString(), u"Better"_s);
}

void WindowInputTest::whatWasTypedIsThereWhenThePageIsShownAgain() {
    m_fixture->openTab(2);
    item("importSource")->setProperty("text", QString());
    type("importSource", "old tracker");
    const QQuickItem* const typed = item("importSource");
    m_fixture->openTab(0);
    m_fixture->openTab(2);
    QCOMPARE(item("importSource"), typed);
    QCOMPARE(item("importSource")->property("text").toString(), u"old tracker"_s);
}

void WindowInputTest::cursorRestsWhenNobodyTypes() {
    const int usual = QGuiApplication::styleHints()->cursorFlashTime();
    const auto restored = qScopeGuard([usual] { QGuiApplication::styleHints()->setCursorFlashTime(usual); });
    QGuiApplication::styleHints()->setCursorFlashTime(20);
    item("description")->forceActiveFocus();
    QTRY_VERIFY(m_fixture->window->isActive());
    const QQuickItem* const cursor = findDrawn(item("description"), u"textCursor"_s);
    QVERIFY(cursor);
    QVERIFY(cursor->isVisible());
    QSignalSpy blinks(cursor, &QQuickItem::opacityChanged);
    const int most = cursor->property("most").toInt();
    QTRY_COMPARE(cursor->property("turns").toInt(), most);
    QCOMPARE(cursor->opacity(), 1.0);
    blinks.clear();
    QTest::keyClick(m_fixture->window, 'a');
    QVERIFY(cursor->property("turns").toInt() < most);
    QTRY_COMPARE(cursor->property("turns").toInt(), most);
    QCOMPARE(blinks.size(), most);
    QVERIFY(cursor->isVisible());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowInputTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "input.moc"
