// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

namespace {

QString text(const QObject* object) {
    return object->property("text").toString();
}

QString accessibleName(QObject* object) {
    QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(object);
    return found ? found->text(QAccessible::Name) : QString();
}

bool isHebrew(const QString& name) {
    return std::any_of(name.cbegin(), name.cend(),
                       [](QChar c) { return c.script() == QChar::Script_Hebrew; });
}

void collect(QQuickItem* item, QList<QQuickItem*>& stops) {
    if (!item->isVisible() || !item->isEnabled())
        return;
    if (item->activeFocusOnTab())
        stops.append(item);
    const auto children = item->childItems();
    for (QQuickItem* const child : children)
        collect(child, stops);
}

} // namespace

class WindowTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QList<QQuickItem*> stops() const;
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void startsInHebrewAndLightOnTheDescription();
    void formatsDurations_data();
    void formatsDurations();
    void reportDatesAreThoseOfToday();
    void languageMirrorsAllButAddressesAndTimes();
    void importWaitsForAPreview();
    void pendingChangesBlockTheAccount();
    void rowsTellPendingAndLocked();
    void buttonAndShortcutStart_data();
    void buttonAndShortcutStart();
    void projectChoiceSurvivesReloads();
    void refusedWorkspaceReturns();
    void serverFieldKeepsWhatIsTyped();
    void passwordIsForgottenAtOnce();
    void editDialogQueuesTheText();
    void closeHidesOnlyWithATray();
    void everyControlIsReachedByTab();
    void everyControlIsNamedInTheLanguageOnScreen();
    void assistiveTechnologyPressesOnce();
};

void WindowTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
}

void WindowTest::cleanup() {
    m_fixture.reset();
}

QList<QQuickItem*> WindowTest::stops() const {
    QList<QQuickItem*> found;
    collect(m_fixture->window->contentItem(), found);
    return found;
}

void WindowTest::startsInHebrewAndLightOnTheDescription() {
    QCOMPARE(m_fixture->window->objectName(), QStringLiteral("timerWindow"));
    QCOMPARE(m_fixture->window->title(), QStringLiteral("Timer.Kelvaro · Native preview"));
    QCOMPARE(m_fixture->window->size(), QSize(1160, 820));
    QCOMPARE(m_fixture->window->minimumSize(), QSize(820, 620));
    QCOMPARE(m_fixture->window->property("hebrew"), true);
    QCOMPARE(m_fixture->evaluate(QStringLiteral("Material.theme === Material.Light")), true);
    QCOMPARE(m_fixture->object(QStringLiteral("tabs"))->property("currentIndex"), 0);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), item("description"));
}

void WindowTest::formatsDurations_data() {
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("shown");

    QTest::newRow("hours, minutes, seconds") << "3725"
                                             << "01:02:05";
    QTest::newRow("negative") << "-5"
                              << "00:00:00";
    QTest::newRow("not a number") << "'abc'"
                                  << "00:00:00";
    QTest::newRow("nothing") << "undefined"
                             << "00:00:00";
    QTest::newRow("null") << "null"
                          << "00:00:00";
    QTest::newRow("number in a text") << "'61'"
                                      << "00:01:01";
    QTest::newRow("hours are not wrapped") << "360000"
                                           << "100:00:00";
    QTest::newRow("fraction stays in the seconds") << "61.5"
                                                   << "00:01:1.5";
}

void WindowTest::formatsDurations() {
    QFETCH(QString, value);
    QTEST(m_fixture->evaluate(QStringLiteral("duration(%1)").arg(value)).toString(), "shown");
}

void WindowTest::reportDatesAreThoseOfToday() {
    const QDate today = QDate::currentDate();
    QCOMPARE(text(item("reportFrom")), today.toString(QStringLiteral("yyyy-MM-01")));
    QCOMPARE(text(item("reportTo")), today.toString(QStringLiteral("yyyy-MM-dd")));
}

void WindowTest::languageMirrorsAllButAddressesAndTimes() {
    const auto alignment = [this](const char* name) {
        return item(name)->property("effectiveHorizontalAlignment").toInt();
    };
    const auto x = [this](const char* name) { return item(name)->mapToScene({}).x(); };
    const QList<const char*> fixed{"reportFrom", "reportTo", "server", "email", "manualFrom", "manualTo"};
    const QList<const char*> mirrored{"description", "importSource", "password"};

    for (const char* const name : fixed)
        QCOMPARE(alignment(name), Qt::AlignLeft);
    for (const char* const name : mirrored)
        QCOMPARE(alignment(name), Qt::AlignRight);
    QVERIFY(x("timerAction") < x("elapsed"));
    QVERIFY(x("language") < x("workspaceSelect"));

    m_fixture->click(item("language"));
    QCOMPARE(m_fixture->window->property("hebrew"), false);

    for (const char* const name : fixed + mirrored)
        QCOMPARE(alignment(name), Qt::AlignLeft);
    QTRY_VERIFY(x("timerAction") > x("elapsed"));
    QVERIFY(x("language") > x("workspaceSelect"));
    QCOMPARE(text(item("language")), QStringLiteral("עברית"));
    QCOMPARE(text(item("timerAction")), QStringLiteral("Start"));
}

void WindowTest::importWaitsForAPreview() {
    QVERIFY(!item("confirmImport")->isEnabled());
    QVERIFY(item("previewImport")->isEnabled());
}

void WindowTest::pendingChangesBlockTheAccount() {
    m_fixture->unlock();
    QVERIFY(item("signIn")->isEnabled());
    QVERIFY(!item("signOut")->isEnabled());

    const QJsonArray one{WindowFixture::entry(QStringLiteral("e1"))};
    QJsonObject signedIn = WindowFixture::document(one);
    signedIn.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")}});
    m_fixture->show(signedIn);
    QVERIFY(item("signOut")->isEnabled());
    QCOMPARE(text(item("account")), QStringLiteral("חשבון אישי: dana@example.com"));

    signedIn.insert(u"queue", QJsonArray{WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("x"))});
    m_fixture->show(signedIn);
    QVERIFY(!item("signIn")->isEnabled());
    QVERIFY(!item("signOut")->isEnabled());
    QCOMPARE(text(item("synchronize")), QStringLiteral("סנכרון (1)"));
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text(item("synchronize")), QStringLiteral("Sync (1)"));
}

void WindowTest::rowsTellPendingAndLocked() {
    QJsonObject locked = WindowFixture::entry(QStringLiteral("e2"));
    locked.insert(u"start_at", QStringLiteral("2020-01-05T08:00:00Z"));
    locked.insert(u"stop_at", QStringLiteral("2020-01-05T09:00:00Z"));
    m_fixture->window->setProperty("hebrew", false);

    m_fixture->show(WindowFixture::document({locked}));
    QTRY_VERIFY(item("locked")->isVisible());
    QCOMPARE(text(item("locked")), QStringLiteral("Submitted / locked"));
    QVERIFY(!item("editEntry")->isEnabled());
    QCOMPARE(text(item("startAt")), QStringLiteral("2020-01-05T08:00:00Z"));

    m_fixture->show(WindowFixture::document({WindowFixture::entry(QStringLiteral("e2"))},
                                            {WindowFixture::edit(QStringLiteral("e2"), {})}));
    QTRY_COMPARE(text(item("startAt")), QStringLiteral("2021-03-01T09:00:00Z · Pending sync"));
    QCOMPARE(text(item("entryDescription")), QStringLiteral("…"));
    QVERIFY(!item("locked")->isVisible());
    QVERIFY(!item("editEntry")->isEnabled());
    QCOMPARE(m_fixture->window->property("hebrew"), false);
}

void WindowTest::buttonAndShortcutStart_data() {
    QTest::addColumn<bool>("byButton");
    QTest::newRow("button") << true;
    QTest::newRow("shortcut") << false;
}

void WindowTest::buttonAndShortcutStart() {
    QFETCH(bool, byButton);
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    const auto act = [&] {
        if (byButton)
            m_fixture->click(item("timerAction"));
        else
            QTest::keyClick(m_fixture->window, Qt::Key_Space, Qt::ControlModifier | Qt::ShiftModifier);
    };
    QTRY_VERIFY(item("description")->hasActiveFocus());
    for (const char letter : QByteArray("plan"))
        QTest::keyClick(m_fixture->window, letter);

    act();
    QCOMPARE(controller().timer().value(QStringLiteral("description")).toString(), QStringLiteral("plan"));
    QCOMPARE(controller().timer().value(QStringLiteral("project_id")).toString(), QString());
    QCOMPARE(text(item("timerAction")), QStringLiteral("עצור"));

    QTRY_VERIFY(item("timerAction")->isEnabled());
    act();
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 2);
}

void WindowTest::projectChoiceSurvivesReloads() {
    QQuickItem* const chooser = item("projectSelect");
    m_fixture->show(WindowFixture::document());
    QCOMPARE(chooser->property("displayText").toString(), QStringLiteral("—"));
    QCOMPARE(chooser->property("count").toInt(), 3);

    chooser->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QCOMPARE(chooser->property("chosen").toString(), QStringLiteral("p2"));

    QJsonObject fewer = WindowFixture::document();
    QJsonObject snapshot = fewer.value(u"snapshot").toObject();
    QJsonArray projects = snapshot.value(u"catalog").toObject().value(u"projects").toArray();
    projects.removeFirst();
    snapshot.insert(u"catalog", QJsonObject{{QStringLiteral("projects"), projects}});
    fewer.insert(u"snapshot", snapshot);
    m_fixture->show(fewer);
    QCOMPARE(chooser->property("chosen").toString(), QStringLiteral("p2"));
    QCOMPARE(chooser->property("displayText").toString(), QStringLiteral("Two"));

    QTest::keyClick(m_fixture->window, Qt::Key_Delete);
    QCOMPARE(chooser->property("chosen").toString(), QString());
    QCOMPARE(chooser->property("displayText").toString(), QStringLiteral("—"));

    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QCOMPARE(chooser->property("chosen").toString(), QStringLiteral("p2"));
    m_fixture->show({});
    QCOMPARE(chooser->property("chosen").toString(), QString());
}

void WindowTest::refusedWorkspaceReturns() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))},
                                {WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("x"))}));
    QQuickItem* const chooser = item("workspaceSelect");
    QCOMPARE(chooser->property("displayText").toString(), QStringLiteral("Studio"));

    chooser->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);

    QCOMPARE(controller().message(),
             QStringLiteral("Finish synchronizing pending work before switching the native workspace."));
    QCOMPARE(chooser->property("displayText").toString(), QStringLiteral("Studio"));
}

void WindowTest::serverFieldKeepsWhatIsTyped() {
    QQuickItem* const field = item("server");
    QCOMPARE(text(field), QStringLiteral("http://127.0.0.1:18080"));
    field->setProperty("text", QStringLiteral("http://10.0.0"));
    Q_EMIT controller().changed();
    QCOMPARE(text(field), QStringLiteral("http://10.0.0"));

    const QString server = deadServer();
    controller().connectServer(server);
    QCOMPARE(text(field), server);
}

void WindowTest::passwordIsForgottenAtOnce() {
    m_fixture->unlock();
    m_fixture->openTab(3);
    item("email")->setProperty("text", QStringLiteral("dana@example.com"));
    item("password")->setProperty("text", QStringLiteral("secret"));
    QTRY_VERIFY(item("signIn")->isVisible());
    item("signIn")->forceActiveFocus(Qt::TabFocusReason);

    QTest::keyClick(m_fixture->window, Qt::Key_Return);

    QCOMPARE(text(item("password")), QString());
    QTRY_VERIFY(!controller().busy());
    QVERIFY(!controller().accountSignedIn());
}

void WindowTest::editDialogQueuesTheText() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))}));
    QObject* const dialog = m_fixture->object(QStringLiteral("editDialog"));
    QTRY_VERIFY(item("editEntry")->isVisible());
    m_fixture->click(item("editEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(text(item("editDescription")), QStringLiteral("Work e1"));
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 0);

    m_fixture->click(item("editEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    item("editDescription")->setProperty("text", QStringLiteral("Better"));
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_COMPARE(text(item("entryDescription")), QStringLiteral("Better"));
    QCOMPARE(controller().pending(), 1);
}

void WindowTest::closeHidesOnlyWithATray() {
    QVERIFY(m_fixture->window->close());

    m_fixture = std::make_unique<WindowFixture>(true);
    QVERIFY(!m_fixture->window->close());
    QVERIFY(!m_fixture->window->isVisible());
    m_fixture->window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_fixture->window));
}

void WindowTest::everyControlIsReachedByTab() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(QStringLiteral("e1")), WindowFixture::entry(QStringLiteral("e2"), 9)}));
    QTRY_COMPARE(item("entryList")->property("count").toInt(), 2);
    for (int tab = 0; tab < 5; ++tab) {
        m_fixture->openTab(tab);
        QTRY_VERIFY(stops().size() > 8);
        for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab}) {
            item("language")->forceActiveFocus(Qt::TabFocusReason);
            const auto all = stops();
            QList<QQuickItem*> reached;
            while (!reached.contains(m_fixture->window->activeFocusItem())) {
                reached.append(m_fixture->window->activeFocusItem());
                QTest::keyClick(m_fixture->window, key);
            }
            // Going back, a row is passed by where something inside it is a stop.
            const auto isReached = [&](const QQuickItem* stop) {
                return std::any_of(reached.cbegin(), reached.cend(), [&](const QQuickItem* item) {
                    return item == stop || (key == Qt::Key_Backtab && stop->isAncestorOf(item));
                });
            };
            for (QQuickItem* const stop : all)
                QVERIFY2(isReached(stop), qPrintable(QStringLiteral("page %1: %2 %3")
                                                         .arg(tab)
                                                         .arg(stop->objectName(), accessibleName(stop))));
        }
    }
}

void WindowTest::everyControlIsNamedInTheLanguageOnScreen() {
    const QStringList alike{QStringLiteral("EN"), QStringLiteral("עברית"), QStringLiteral("CSV"),
                            QStringLiteral("Excel"), QStringLiteral("JSON")};
    for (const bool hebrew : {true, false}) {
        m_fixture->window->setProperty("hebrew", hebrew);
        for (int tab = 0; tab < 5; ++tab) {
            m_fixture->openTab(tab);
            QTRY_VERIFY(stops().size() > 8);
            const auto all = stops();
            for (QQuickItem* const stop : all) {
                const QString name = accessibleName(stop);
                QVERIFY2(!name.isEmpty(), qPrintable(QStringLiteral("page %1: %2").arg(tab).arg(text(stop))));
                QVERIFY2(alike.contains(name) || isHebrew(name) == hebrew, qPrintable(name));
            }
        }
    }
}

void WindowTest::assistiveTechnologyPressesOnce() {
    QAccessible::setActive(true);
    const auto press = pressByAssistiveTechnology;

    press(item("language"));
    QCOMPARE(m_fixture->window->property("hebrew"), false);
    press(item("billable"));
    QCOMPARE(item("billable")->property("checked"), true);
    press(item("workspaceSelect"));
    QCOMPARE(item("workspaceSelect")->property("popup").value<QObject*>()->property("visible"), true);
    press(item("darkAppearance"));
    QCOMPARE(m_fixture->window->property("dark"), true);
    m_fixture->keepBusy();
    const QString before = controller().message();
    press(item("connect"));
    QCOMPARE(controller().message(), before);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "actions.moc"
