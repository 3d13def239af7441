// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

/// What a reload does to the control that the keyboard acts on, and to an open
/// chooser: nothing that a person would notice.
class WindowFocusTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    [[nodiscard]] QObject* popup() const {
        return item("workspaceSelect")->property("popup").value<QObject*>();
    }
    void startReload();
    void endReload();

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void focusComesBackAsItWas_data();
    void focusComesBackAsItWas();
    void enterOnARowsButtonThatWaitsOpensNoOtherDialog();
    void focusThatWentElsewhereStaysThere();
    void tabGoesOnFromTheControlThatWaits_data();
    void tabGoesOnFromTheControlThatWaits();
    void pageStaysWhereItWasScrolled();
    void openChooserHoldsTheChoice_data();
    void openChooserHoldsTheChoice();
    void heldChoiceIsLeftWithItsAccount();
    void placeholderIsAsLargeAsTheText();
};

void WindowFocusTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    m_peer->answer("GET", u"/v1/sync/snapshot"_s,
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    QTRY_VERIFY(m_fixture->window->isActive());
    QTRY_VERIFY(item("description")->hasActiveFocus());
}

void WindowFocusTest::cleanup() {
    m_fixture.reset();
    m_peer.reset();
}

void WindowFocusTest::startReload() {
    controller().refresh();
    QVERIFY(controller().busy());
    QTRY_COMPARE(m_peer->held(), 1);
}

void WindowFocusTest::endReload() {
    m_peer->release();
    QTRY_VERIFY(!controller().busy());
}

void WindowFocusTest::focusComesBackAsItWas_data() {
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("name");
    QTest::newRow("tool bar") << 0 << u"synchronize"_s;
    QTest::newRow("chooser") << 0 << u"workspaceSelect"_s;
    QTest::newRow("timer") << 0 << u"timerAction"_s;
    QTest::newRow("row") << 0 << u"editEntry"_s;
    QTest::newRow("reports") << 1 << u"generateReport"_s;
    QTest::newRow("settings") << 3 << u"connect"_s;
}

void WindowFocusTest::focusComesBackAsItWas() {
    QFETCH(int, tab);
    QFETCH(QString, name);
    m_fixture->openTab(tab);
    QQuickItem* const control = m_fixture->item(name);
    QTRY_VERIFY(control->isVisible());
    control->forceActiveFocus(Qt::TabFocusReason);
    QVERIFY(control->property("visualFocus").toBool());

    startReload();
    QVERIFY(!control->isEnabled());
    endReload();
    QTRY_VERIFY(control->hasActiveFocus());
    QVERIFY(control->property("visualFocus").toBool());
}

// The focus of a button that is switched off falls to its row, which has a dialog of its own for Enter.
void WindowFocusTest::enterOnARowsButtonThatWaitsOpensNoOtherDialog() {
    const QObject* const whole = m_fixture->object(u"entryDialog"_s);
    const QObject* const description = m_fixture->object(u"editDialog"_s);
    const auto leave = [this](const QObject* dialog) {
        QTest::keyClick(m_fixture->window, Qt::Key_Escape);
        QTRY_VERIFY(!dialog->property("visible").toBool());
    };
    QQuickItem* const button = item("editEntry");
    QTRY_VERIFY(button->isVisible());
    button->forceActiveFocus(Qt::TabFocusReason);
    startReload();
    QVERIFY(!button->isEnabled());
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QVERIFY(!whole->property("visible").toBool());
    endReload();
    QTRY_VERIFY(button->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_VERIFY(description->property("opened").toBool());
    leave(description);

    // Who comes to the row itself during a wait can use it.
    m_fixture->click(item("description"));
    startReload();
    item("entryList")->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_VERIFY(whole->property("opened").toBool());
    leave(whole);
    endReload();
}

void WindowFocusTest::focusThatWentElsewhereStaysThere() {
    item("synchronize")->forceActiveFocus(Qt::TabFocusReason);
    startReload();
    m_fixture->click(item("description"));
    QVERIFY(item("description")->hasActiveFocus());
    endReload();
    QVERIFY(item("synchronize")->isEnabled());
    QVERIFY(item("description")->hasActiveFocus());
}

void WindowFocusTest::tabGoesOnFromTheControlThatWaits_data() {
    QTest::addColumn<bool>("back");
    QTest::newRow("Tab") << false;
    QTest::newRow("Shift+Tab") << true;
}

void WindowFocusTest::tabGoesOnFromTheControlThatWaits() {
    QFETCH(bool, back);
    const auto press = [&] {
        QTest::keyClick(m_fixture->window, back ? Qt::Key_Backtab : Qt::Key_Tab,
                        back ? Qt::ShiftModifier : Qt::NoModifier);
        return m_fixture->window->activeFocusItem();
    };
    // Its neighbours stay enabled.
    QQuickItem* const control = item("timerAction");
    control->forceActiveFocus(Qt::TabFocusReason);
    QQuickItem* const neighbour = press();
    QVERIFY(neighbour && neighbour != control);

    control->forceActiveFocus(Qt::TabFocusReason);
    startReload();
    if (neighbour->isEnabled()) {
        QCOMPARE(press(), neighbour);
    } else {
        QVERIFY(press()->isEnabled());
    }
    QQuickItem* const reached = m_fixture->window->activeFocusItem();
    QVERIFY(reached->property("visualFocus").toBool() || reached->inherits("QQuickTextField"));
    endReload();
    QCOMPARE(m_fixture->window->activeFocusItem(), reached);
}

void WindowFocusTest::pageStaysWhereItWasScrolled() {
    m_fixture->window->resize(m_fixture->window->minimumSize());
    m_fixture->openTab(3);
    item("connect")->forceActiveFocus(Qt::TabFocusReason);
    QQuickItem* view = item("connect");
    while (!view->inherits("QQuickFlickable")) {
        view = view->parentItem();
    }
    QTRY_VERIFY(view->property("contentHeight").toDouble() > view->height() + 100);
    // Not quite to the end: the status above the page can get a line less.
    const double low = view->property("contentHeight").toDouble() - view->height() - 40;
    QVERIFY(low >
            item("connect")->mapToItem(view->property("contentItem").value<QQuickItem*>(), QPointF()).y() +
                item("connect")->height());
    view->setProperty("contentY", low);
    startReload();
    endReload();
    QTRY_VERIFY(item("connect")->hasActiveFocus());
    QCOMPARE(view->property("contentY").toDouble(), low);
}

void WindowFocusTest::openChooserHoldsTheChoice_data() {
    QTest::addColumn<bool>("byKey");
    QTest::newRow("Enter") << true;
    QTest::newRow("click") << false;
}

void WindowFocusTest::openChooserHoldsTheChoice() {
    QFETCH(bool, byKey);
    QQuickItem* const chooser = item("workspaceSelect");
    m_fixture->click(chooser);
    QTRY_VERIFY(popup()->property("opened").toBool());
    startReload();
    QVERIFY(popup()->property("opened").toBool());
    if (byKey) {
        QTest::keyClick(m_fixture->window, Qt::Key_Down);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        const auto rows = WindowFixture::textItems(popup()->property("contentItem").value<QQuickItem*>());
        const auto garden = std::find_if(rows.cbegin(), rows.cend(), [](const QQuickItem* row) {
            return row->property("text").toString() == u"Garden"_s;
        });
        QVERIFY(garden != rows.cend());
        m_fixture->click(*garden);
    }
    QTRY_VERIFY(!popup()->property("visible").toBool());
    QVERIFY(!chooser->isEnabled());
    QCOMPARE(chooser->property("displayText").toString(), u"Garden"_s);
    QCOMPARE(controller().workspace(), u"w1"_s);

    m_peer->release();
    QTRY_COMPARE(controller().workspace(), u"w2"_s);
    QCOMPARE(chooser->property("displayText").toString(), u"Garden"_s);
}

void WindowFocusTest::heldChoiceIsLeftWithItsAccount() {
    m_fixture->click(item("workspaceSelect"));
    QTRY_VERIFY(popup()->property("opened").toBool());
    startReload();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_VERIFY(!popup()->property("visible").toBool());
    QJsonObject next = WindowFixture::document();
    next.insert(u"me", QJsonObject{{u"id"_s, u"u2"_s}});
    m_fixture->show(next);
    endReload();
    QCoreApplication::processEvents();
    QCOMPARE(controller().workspace(), u"w1"_s);
    QCOMPARE(item("workspaceSelect")->property("displayText").toString(), u"Studio"_s);
}

void WindowFocusTest::placeholderIsAsLargeAsTheText() {
    for (const char* const name : {"description", "email", "password", "server", "manualFrom"}) {
        const QQuickItem* const field = item(name);
        const auto children = field->childItems();
        const auto placeholder =
            std::find_if(children.cbegin(), children.cend(),
                         [](const QQuickItem* child) { return child->inherits("QQuickLabel"); });
        QVERIFY(placeholder != children.cend());
        const auto fontOf = [](const QQuickItem* item) {
            return QFontInfo(item->property("font").value<QFont>());
        };
        QCOMPARE(fontOf(*placeholder).pixelSize(), fontOf(field).pixelSize());
        QCOMPARE(fontOf(*placeholder).family(), fontOf(field).family());
    }
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowFocusTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "focus.moc"
