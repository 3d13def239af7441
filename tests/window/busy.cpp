// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QColor>
#include <QDesktopServices>
#include <QJsonArray>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

/// Stands in for the browser.
class Browser : public QObject {
    Q_OBJECT

public:
    Browser() { QDesktopServices::setUrlHandler(u"http"_s, this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler(u"http"_s); }

    Q_INVOKABLE void open(const QUrl& url) { opened.append(url); }

    QList<QUrl> opened;
};

/// A person who is signed in with secure storage, has a report and an import
/// preview, and whose next report stays under way until it is released.
class WindowBusyTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    void loadReport();
    void loadPreview();
    void becomeBusy();
    /// The mark of a wait is drawn.
    [[nodiscard]] bool isTurning() const;

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<WindowFixture> m_fixture;
    std::unique_ptr<FileDialogs> m_dialogs;

private Q_SLOTS:
    void init();
    void cleanup();

    void whatMustWaitIsDisabledOnlyWhileBusy_data();
    void whatMustWaitIsDisabledOnlyWhileBusy();
    void exportsWorkWhileBusy_data();
    void exportsWorkWhileBusy();
    void shortcutLanguagePauseAndBrowserWorkWhileBusy();
    void shortcutPressedWhileBusyStartsOnceItEnds();
    void disabledChooserStaysShutForAssistiveTechnology();
    void theMarkOfAWaitIsThereOnlyWhileItIsSeen();
    void nothingOutlastsAShortWait();
    void aWaitThatIsThereFirstIsNoticed();
    void aReloadThatNobodyAskedForShowsOnlyWhereItLasts();
    void whatIsPressedInTheListIsDoneOnceAndInItsOrder();
};

void WindowBusyTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_dialogs = std::make_unique<FileDialogs>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    QJsonObject document = WindowFixture::document({WindowFixture::entry(u"e1"_s)});
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    m_fixture->show(document);
    loadReport();
    loadPreview();
}

void WindowBusyTest::cleanup() {
    m_fixture.reset();
    m_dialogs.reset();
    m_peer.reset();
}

void WindowBusyTest::loadReport() {
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/reports/summary/query"_s,
                       PeerReply::json({{u"snapshot_id"_s, u"r1"_s}}));
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    QTRY_COMPARE(controller().message(), u"Server snapshot loaded"_s);
}

void WindowBusyTest::loadPreview() {
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"entries.csv"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("a,b\n") == 4 && file.flush());
    m_peer->answer("POST", u"/v1/workspaces/w1/imports/csv/preview"_s,
                   PeerReply::json({{u"id"_s, u"i1"_s}}, 201));
    m_dialogs->choose(file.fileName());
    controller().previewCsv(u"source"_s, u"UTC"_s, true);
    m_dialogs->cancel();
    QTRY_COMPARE(controller().importPreview().value(u"id"_s).toString(), u"i1"_s);
}

void WindowBusyTest::becomeBusy() {
    m_peer->answer("POST", u"/v1/workspaces/w1/reports/summary/query"_s,
                   PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    QVERIFY(controller().busy());
}

void WindowBusyTest::whatMustWaitIsDisabledOnlyWhileBusy_data() {
    QTest::addColumn<QString>("name");
    for (const char* const name :
         {"workspaceSelect", "synchronize", "timerAction", "generateReport", "previewImport", "confirmImport",
          "connect", "signIn", "signOut", "editEntry"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void WindowBusyTest::whatMustWaitIsDisabledOnlyWhileBusy() {
    QFETCH(QString, name);
    QVERIFY(m_fixture->item(name)->isEnabled());
    becomeBusy();
    QVERIFY(!m_fixture->item(name)->isEnabled());
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_VERIFY(m_fixture->item(name)->isEnabled());
}

void WindowBusyTest::exportsWorkWhileBusy_data() {
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("file");

    QTest::newRow("csv") << 1 << u"CSV"_s << u"timer-report.csv"_s;
    QTest::newRow("excel") << 1 << u"Excel"_s << u"timer-report.xlsx"_s;
    QTest::newRow("json") << 1 << u"JSON"_s << u"timer-report.json"_s;
    QTest::newRow("html") << 1 << u"Save printable HTML"_s << u"timer-report.html"_s;
    QTest::newRow("pending") << 3 << u"Export pending changes"_s << u"timer-pending-changes.json"_s;
}

void WindowBusyTest::exportsWorkWhileBusy() {
    QFETCH(int, tab);
    QFETCH(QString, button);
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->openTab(tab);
    becomeBusy();
    const auto items = WindowFixture::textItems(m_fixture->window->contentItem());
    const auto found = std::find_if(items.cbegin(), items.cend(), [&](const QQuickItem* item) {
        return item->property("text").toString() == button && item->inherits("QQuickButton");
    });
    QVERIFY(found != items.cend());
    QVERIFY((*found)->isEnabled());
    const auto before = m_dialogs->seen().size();

    (*found)->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);

    QTRY_COMPARE(m_dialogs->seen().size(), before + 1);
    QTEST(m_dialogs->seen().constLast().proposedName, "file");
    QVERIFY(controller().busy());
}

void WindowBusyTest::shortcutLanguagePauseAndBrowserWorkWhileBusy() {
    Browser browser;
    QObject* shortcut = nullptr;
    const auto objects = m_fixture->window->findChildren<QObject*>();
    for (QObject* const object : objects) {
        if (object->property("sequence").toString() == u"Ctrl+Shift+Space") {
            shortcut = object;
        }
    }
    QVERIFY(shortcut);
    QSignalSpy activated(shortcut, SIGNAL(activated()));
    becomeBusy();

    QTRY_VERIFY(m_fixture->window->isActive());
    QTest::keyClick(m_fixture->window, Qt::Key_Space, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(activated.count(), 1);
    m_fixture->click(item("language"));
    QCOMPARE(m_fixture->window->property("hebrew"), false);
    m_fixture->openTab(2);
    m_fixture->click(item("pauseImport"));
    QCOMPARE(controller().message(), u"Pausing after the current committed chunk"_s);
    m_fixture->openTab(4);
    m_fixture->click(item("openTimesheets"));
    QCOMPARE(browser.opened, QList<QUrl>{QUrl(m_peer->url() + u"/#timesheet"_s)});
    QVERIFY(controller().busy());
}

void WindowBusyTest::shortcutPressedWhileBusyStartsOnceItEnds() {
    item("description")->setProperty("text", u"plan"_s);
    becomeBusy();
    QTRY_VERIFY(m_fixture->window->isActive());
    QTest::keyClick(m_fixture->window, Qt::Key_Space, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(controller().timer().isEmpty());
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_COMPARE(controller().timer().value(u"description"_s).toString(), u"plan"_s);
    QCOMPARE(controller().pending(), 1);
}

void WindowBusyTest::disabledChooserStaysShutForAssistiveTechnology() {
    QAccessible::setActive(true);
    const auto* const popup = item("workspaceSelect")->property("popup").value<QObject*>();
    becomeBusy();
    pressByAssistiveTechnology(item("workspaceSelect"));
    QCOMPARE(popup->property("visible"), false);

    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_VERIFY(!controller().busy());
    pressByAssistiveTechnology(item("workspaceSelect"));
    QCOMPARE(popup->property("visible"), true);
}

bool WindowBusyTest::isTurning() const {
    const QList<QQuickItem*> parts = item("busyMark")->findChildren<QQuickItem*>();
    return std::any_of(parts.begin(), parts.end(), [](const QQuickItem* part) {
        return part->inherits("QQuickBusyIndicator") && part->isVisible();
    });
}

void WindowBusyTest::theMarkOfAWaitIsThereOnlyWhileItIsSeen() {
    // A reload that is over at once: whatever began to turn then would never be stopped.
    becomeBusy();
    QCOMPARE(item("busyMark")->property("running"), true);
    QVERIFY(!isTurning());
    QTRY_COMPARE(m_peer->held(), 1);
    QTRY_VERIFY(isTurning());
    m_peer->release();
    QTRY_VERIFY(!controller().busy());
    QCOMPARE(item("busyMark")->property("running"), false);
    QVERIFY(!isTurning());
}

void WindowBusyTest::nothingOutlastsAShortWait() {
    const auto* const patience = item("busyMark")->findChild<QObject*>(u"patience"_s);
    QVERIFY(patience);
    becomeBusy();
    QCOMPARE(patience->property("active"), true);
    m_fixture->controller.fail(u"Over"_s);
    QCOMPARE(patience->property("active"), false);
}

void WindowBusyTest::aWaitThatIsThereFirstIsNoticed() {
    QQmlComponent component(qmlEngine(item("busyMark")));
    component.setData("import TimerKelvaro\nBusyMark { running: true }", QUrl());
    const std::unique_ptr<QObject> mark(component.create());
    QVERIFY2(mark, qPrintable(component.errorString()));
    QTRY_COMPARE(mark->property("noticed"), true);
}

void WindowBusyTest::aReloadThatNobodyAskedForShowsOnlyWhereItLasts() {
    const char* const names[] = {"timerAction", "synchronize", "workspaceSelect", "generateReport"};
    const auto allLit = [&] {
        return std::all_of(std::begin(names), std::end(names),
                           [this](const char* name) { return item(name)->property("lit").toBool(); });
    };
    m_peer->answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json({}).delivered(PeerReply::Delivery::Hold));
    QVERIFY(allLit());
    const auto* const arrow = item("workspaceSelect")->property("indicator").value<QObject*>();
    QSignalSpy flickers(item("timerAction"), SIGNAL(litChanged()));
    QSignalSpy arrowFlickers(arrow, SIGNAL(colorChanged()));

    stepPeriodically(controller());
    QVERIFY(controller().busy());
    QVERIFY(!item("timerAction")->isEnabled());
    controller().fail(u"Over"_s);
    QVERIFY(flickers.isEmpty());
    QVERIFY(arrowFlickers.isEmpty());

    stepPeriodically(controller());
    QVERIFY(allLit());
    QTRY_VERIFY(!item("timerAction")->property("lit").toBool());
    QCOMPARE(item("timerAction")->property("fill").value<QColor>(), QColor(u"#928aaa"_s));
    controller().fail(u"Over"_s);
    QVERIFY(allLit());

    controller().refresh();
    for (const char* const name : names) {
        QVERIFY2(!item(name)->property("lit").toBool(), name);
    }
}

void WindowBusyTest::whatIsPressedInTheListIsDoneOnceAndInItsOrder() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s), WindowFixture::entry(u"e2"_s, 60)}));
    m_fixture->openTab(0);
    becomeBusy();
    QQuickItem* const page = item("entryList")->parentItem();
    const auto press = [page](const QString& deed, const QString& id) {
        QMetaObject::invokeMethod(page, "act", Q_ARG(QString, deed), Q_ARG(QString, id));
    };
    press(u"delete"_s, u"e2"_s);
    press(u"duplicate"_s, u"e1"_s);
    press(u"duplicate"_s, u"e1"_s); // again, since nothing happens yet
    press(u"delete"_s, u"e1"_s);
    QCOMPARE(controller().pending(), 0);
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_COMPARE(controller().pending(), 3);
    QStringList operations;
    for (int i = 0; i < 3; ++i) {
        operations.append(mutationAt(controller(), i).value(u"operation").toString());
    }
    QCOMPARE(operations, QStringList({u"entry.delete"_s, u"entry.create"_s, u"entry.delete"_s}));
    QCOMPARE(mutationAt(controller(), 0).value(u"entity_id").toString(), u"e2"_s);
    QCOMPARE(mutationAt(controller(), 2).value(u"entity_id").toString(), u"e1"_s);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowBusyTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "busy.moc"
