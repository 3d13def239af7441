// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

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
    if (!item->isVisible() || !item->isEnabled()) {
        return;
    }
    if (item->activeFocusOnTab()) {
        stops.append(item);
    }
    const auto children = item->childItems();
    for (QQuickItem* const child : children) {
        collect(child, stops);
    }
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
    void theMarkOfAChosenTabGoesThereInOneStep();
    void aPageIsMadeWhenItsTabIsChosen();
    void aPageIsMadeForTheSignInThatIsAskedFor();
    void aDialogIsMadeForItsButton();
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
    QCOMPARE(m_fixture->window->objectName(), u"timerWindow"_s);
    QCOMPARE(m_fixture->window->title(), u"Timer.Kelvaro · Native preview"_s);
    QCOMPARE(m_fixture->window->size(), QSize(1160, 820));
    QCOMPARE(m_fixture->window->minimumSize(), QSize(820, 620));
    QCOMPARE(m_fixture->window->property("hebrew"), true);
    QCOMPARE(m_fixture->evaluate(u"Material.theme === Material.Light"_s), true);
    QCOMPARE(m_fixture->object(u"tabs"_s)->property("currentIndex"), 0);
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
    QTEST(m_fixture->evaluate(u"duration(%1)"_s.arg(value)).toString(), "shown");
}

void WindowTest::reportDatesAreThoseOfToday() {
    const QDate today = QDate::currentDate();
    QCOMPARE(text(item("reportFrom")), today.toString(u"yyyy-MM-01"_s));
    QCOMPARE(text(item("reportTo")), today.toString(u"yyyy-MM-dd"_s));
}

void WindowTest::languageMirrorsAllButAddressesAndTimes() {
    const auto alignment = [this](const char* name) {
        return item(name)->property("effectiveHorizontalAlignment").toInt();
    };
    const auto x = [this](const char* name) { return item(name)->mapToScene({}).x(); };
    const QList<const char*> fixed{"reportFrom", "reportTo", "server", "email", "manualFrom", "manualTo"};
    const QList<const char*> mirrored{"description", "importSource", "password"};

    for (const char* const name : fixed) {
        QCOMPARE(alignment(name), Qt::AlignLeft);
    }
    for (const char* const name : mirrored) {
        QCOMPARE(alignment(name), Qt::AlignRight);
    }
    QVERIFY(x("timerAction") < x("elapsed"));
    QVERIFY(x("language") < x("workspaceSelect"));

    m_fixture->click(item("language"));
    QCOMPARE(m_fixture->window->property("hebrew"), false);

    for (const char* const name : fixed + mirrored) {
        QCOMPARE(alignment(name), Qt::AlignLeft);
    }
    QTRY_VERIFY(x("timerAction") > x("elapsed"));
    QVERIFY(x("language") > x("workspaceSelect"));
    QCOMPARE(text(item("language")), u"עברית"_s);
    QCOMPARE(text(item("timerAction")), u"Start"_s);
}

void WindowTest::importWaitsForAPreview() {
    QVERIFY(!item("confirmImport")->isEnabled());
    QVERIFY(item("previewImport")->isEnabled());
}

void WindowTest::pendingChangesBlockTheAccount() {
    m_fixture->unlock();
    QVERIFY(item("signIn")->isEnabled());
    QVERIFY(!item("signOut")->isEnabled());

    const QJsonArray one{WindowFixture::entry(u"e1"_s)};
    QJsonObject signedIn = WindowFixture::document(one);
    signedIn.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    m_fixture->show(signedIn);
    QVERIFY(item("signOut")->isEnabled());
    QCOMPARE(text(item("account")), u"חשבון אישי: dana@example.com"_s);

    signedIn.insert(u"queue", QJsonArray{WindowFixture::edit(u"e1"_s, u"x"_s)});
    m_fixture->show(signedIn);
    QVERIFY(!item("signIn")->isEnabled());
    QVERIFY(!item("signOut")->isEnabled());
    QCOMPARE(text(item("synchronize")), u"סנכרון (1)"_s);
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text(item("synchronize")), u"Sync (1)"_s);
}

void WindowTest::rowsTellPendingAndLocked() {
    QJsonObject locked = WindowFixture::entry(u"e2"_s);
    locked.insert(u"start_at", u"2020-01-05T08:00:00Z"_s);
    locked.insert(u"stop_at", u"2020-01-05T09:00:00Z"_s);
    m_fixture->window->setProperty("hebrew", false);

    m_fixture->show(WindowFixture::document({locked}));
    QTRY_VERIFY(item("locked")->isVisible());
    QCOMPARE(text(item("locked")), u"Submitted / locked"_s);
    QVERIFY(!item("editEntry")->isEnabled());
    QCOMPARE(text(item("startAt")), u"2020-01-05T08:00:00Z"_s);

    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e2"_s)}, {WindowFixture::edit(u"e2"_s, {})}));
    QTRY_COMPARE(text(item("startAt")), u"2021-03-01T09:00:00Z · Pending sync"_s);
    QCOMPARE(text(item("entryDescription")), u"…"_s);
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
        if (byButton) {
            m_fixture->click(item("timerAction"));
        } else {
            QTest::keyClick(m_fixture->window, Qt::Key_Space, Qt::ControlModifier | Qt::ShiftModifier);
        }
    };
    QTRY_VERIFY(item("description")->hasActiveFocus());
    for (const char letter : QByteArray("plan")) {
        QTest::keyClick(m_fixture->window, letter);
    }

    act();
    QCOMPARE(controller().timer().value(u"description"_s).toString(), u"plan"_s);
    QCOMPARE(controller().timer().value(u"project_id"_s).toString(), QString());
    QCOMPARE(text(item("timerAction")), u"עצור"_s);

    QTRY_VERIFY(item("timerAction")->isEnabled());
    act();
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 2);
}

void WindowTest::projectChoiceSurvivesReloads() {
    QQuickItem* const chooser = item("projectSelect");
    m_fixture->show(WindowFixture::document());
    QCOMPARE(chooser->property("displayText").toString(), u"—"_s);
    QCOMPARE(chooser->property("count").toInt(), 3);

    chooser->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QCOMPARE(chooser->property("chosen").toString(), u"p2"_s);

    QJsonObject fewer = WindowFixture::document();
    QJsonObject snapshot = fewer.value(u"snapshot").toObject();
    QJsonArray projects = snapshot.value(u"catalog").toObject().value(u"projects").toArray();
    projects.removeFirst();
    snapshot.insert(u"catalog", QJsonObject{{u"projects"_s, projects}});
    fewer.insert(u"snapshot", snapshot);
    m_fixture->show(fewer);
    QCOMPARE(chooser->property("chosen").toString(), u"p2"_s);
    QCOMPARE(chooser->property("displayText").toString(), u"Two"_s);

    QTest::keyClick(m_fixture->window, Qt::Key_Delete);
    QCOMPARE(chooser->property("chosen").toString(), QString());
    QCOMPARE(chooser->property("displayText").toString(), u"—"_s);

    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QCOMPARE(chooser->property("chosen").toString(), u"p2"_s);
    m_fixture->show({});
    QCOMPARE(chooser->property("chosen").toString(), QString());
}

void WindowTest::refusedWorkspaceReturns() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, u"x"_s)}));
    QQuickItem* const chooser = item("workspaceSelect");
    QCOMPARE(chooser->property("displayText").toString(), u"Studio"_s);

    chooser->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Down);

    QCOMPARE(controller().message(),
             u"Finish synchronizing pending work before switching the native workspace."_s);
    QCOMPARE(chooser->property("displayText").toString(), u"Studio"_s);
}

void WindowTest::serverFieldKeepsWhatIsTyped() {
    QQuickItem* const field = item("server");
    QCOMPARE(text(field), u"http://127.0.0.1:18080"_s);
    field->setProperty("text", u"http://10.0.0"_s);
    Q_EMIT controller().changed();
    QCOMPARE(text(field), u"http://10.0.0"_s);

    const QString server = deadServer();
    controller().connectServer(server);
    QCOMPARE(text(field), server);
}

void WindowTest::passwordIsForgottenAtOnce() {
    m_fixture->unlock();
    m_fixture->openTab(3);
    item("email")->setProperty("text", u"dana@example.com"_s);
    item("password")->setProperty("text", u"secret"_s);
    QTRY_VERIFY(item("signIn")->isVisible());
    item("signIn")->forceActiveFocus(Qt::TabFocusReason);

    QTest::keyClick(m_fixture->window, Qt::Key_Return);

    QCOMPARE(text(item("password")), QString());
    QTRY_VERIFY(!controller().busy());
    QVERIFY(!controller().accountSignedIn());
}

void WindowTest::editDialogQueuesTheText() {
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    QObject* const dialog = m_fixture->object(u"editDialog"_s);
    QTRY_VERIFY(item("editEntry")->isVisible());
    m_fixture->click(item("editEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(text(item("editDescription")), u"Work e1"_s);
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 0);

    m_fixture->click(item("editEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    item("editDescription")->setProperty("text", u"Better"_s);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_COMPARE(text(item("entryDescription")), u"Better"_s);
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

void WindowTest::theMarkOfAChosenTabGoesThereInOneStep() {
    const auto* const row = m_fixture->object(u"tabs"_s)->property("contentItem").value<QQuickItem*>();
    const auto inRow = [row](const char* name) { return row->property(name).value<QQuickItem*>(); };
    const auto isThere = [inRow] {
        const auto* const tab = inRow("currentItem");
        const auto* const mark = inRow("highlightItem");
        return tab && mark && qFuzzyCompare(mark->x(), tab->x()) &&
               qFuzzyCompare(mark->width(), tab->width());
    };
    m_fixture->openTab(1);
    QTRY_VERIFY(isThere()); // the row itself has only just been laid out
    const QSignalSpy steps(inRow("highlightItem"), &QQuickItem::xChanged);
    m_fixture->openTab(4);
    QTRY_VERIFY(isThere());
    QCOMPARE(steps.count(), 1);
}

void WindowTest::aPageIsMadeWhenItsTabIsChosen() {
    m_fixture = std::make_unique<WindowFixture>(false, WindowFixture::Pages::WhenOpened);
    const QStringList names{u"generateReport"_s, u"importPreview"_s, u"server"_s, u"openTimesheets"_s};
    for (int i = 0; i < names.size(); ++i) {
        QVERIFY2(!m_fixture->window->findChild<QObject*>(names[i]), qPrintable(names[i]));
        m_fixture->openTab(1 + i);
        QVERIFY2(m_fixture->item(names[i])->isVisible(), qPrintable(names[i]));
    }
}

void WindowTest::aPageIsMadeForTheSignInThatIsAskedFor() {
    m_fixture = std::make_unique<WindowFixture>(false, WindowFixture::Pages::WhenOpened);
    QVERIFY(QMetaObject::invokeMethod(m_fixture->window, "accountWanted"));
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), item("email"));
    m_fixture->layOut();
    const QRectF seen = item("email")->mapRectToScene(item("email")->boundingRect());
    QVERIFY(seen.top() > 0 && seen.bottom() <= m_fixture->window->height());
}

void WindowTest::aDialogIsMadeForItsButton() {
    m_fixture = std::make_unique<WindowFixture>(false, WindowFixture::Pages::WhenOpened);
    QVERIFY(!m_fixture->window->findChild<QObject*>(u"manualDialog"_s));
    QVERIFY(QMetaObject::invokeMethod(item("manualEntry"), "clicked"));
    QTRY_VERIFY(m_fixture->object(u"manualDialog"_s)->property("opened").toBool());
    QVERIFY(item("manualDescription")->hasActiveFocus());
}

void WindowTest::everyControlIsReachedByTab() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s), WindowFixture::entry(u"e2"_s, 9)}));
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
            for (QQuickItem* const stop : all) {
                QVERIFY2(isReached(stop), qPrintable(u"page %1: %2 %3"_s.arg(tab).arg(stop->objectName(),
                                                                                      accessibleName(stop))));
            }
        }
    }
}

void WindowTest::everyControlIsNamedInTheLanguageOnScreen() {
    const QStringList alike{u"EN"_s, u"עברית"_s, u"CSV"_s, u"Excel"_s, u"JSON"_s};
    for (const bool hebrew : {true, false}) {
        m_fixture->window->setProperty("hebrew", hebrew);
        for (int tab = 0; tab < 5; ++tab) {
            m_fixture->openTab(tab);
            QTRY_VERIFY(stops().size() > 8);
            const auto all = stops();
            for (QQuickItem* const stop : all) {
                const QString name = accessibleName(stop);
                QVERIFY2(!name.isEmpty(), qPrintable(u"page %1: %2"_s.arg(tab).arg(text(stop))));
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
