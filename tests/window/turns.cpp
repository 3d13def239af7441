// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString mePath = u"/v1/me"_s;
const QString loginPath = u"/v1/auth/login"_s;
const QString pushPath = u"/v1/sync/push"_s;
const QString snapshotPath = u"/v1/sync/snapshot"_s;

} // namespace

/// What a person asks for while a change is on its way or the server is being asked comes at the end of that.
class WindowTurnsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    void pressEnterIn(const char* field) const;
    /// Opens the dialog, with another description typed.
    [[nodiscard]] QObject* editTheEntry() const;
    void holdAPush();
    void holdAReload();
    /// What waits then has no further turn of the event loop.
    static void endTheProgram() {
        QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
    }

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void workspaceChosenDuringAPushFollowsIt();
    void connectPressedDuringAPushFollowsIt();
    void enterInTheAddressConnects();
    void enterInTheAddressDoesWhatTheButtonWould();
    void enterInThePasswordFollowsAReload();
    void enterInThePasswordIsForgottenWithItsServer();
    void nothingWaitsForTheEndOfASignOut();
    void theEndOfTheProgramRecordsAnEditThatWaits();
    void theEndOfTheProgramRecordsWhatWasPressedInTheList();
    void theEndOfTheProgramConnectsNowhere();
};

void WindowTurnsTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    sample::serve(*m_peer, sample::oneEntry());
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    QCOMPARE(controller().workspace(), u"ws-1"_s);
    QTRY_VERIFY(m_fixture->window->isActive());
    m_peer->forgetRequests();
}

void WindowTurnsTest::cleanup() {
    m_fixture.reset();
    m_peer.reset();
}

void WindowTurnsTest::pressEnterIn(const char* field) const {
    m_fixture->openTab(3);
    item(field)->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
}

void WindowTurnsTest::holdAPush() {
    m_peer->answer("POST", pushPath, [](const PeerRequest& request) {
        return sample::accept(request).delivered(PeerReply::Delivery::Hold);
    });
    controller().editDescription(u"e1"_s, u"Mine"_s);
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(controller().syncing() && !controller().busy());
}

void WindowTurnsTest::holdAReload() {
    m_peer->answerOnce("GET", snapshotPath,
                       PeerReply::json(sample::oneEntry()).delivered(PeerReply::Delivery::Hold));
    controller().refresh();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(controller().busy());
}

void WindowTurnsTest::workspaceChosenDuringAPushFollowsIt() {
    holdAPush();
    QQuickItem* const chooser = item("workspaceSelect");
    m_fixture->click(chooser);
    QTRY_VERIFY(chooser->property("popup").value<QObject*>()->property("opened").toBool());
    QTest::keyClick(m_fixture->window, Qt::Key_Down);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QVERIFY(controller().syncing());
    m_peer->release();
    QTRY_COMPARE(controller().workspace(), u"ws-2"_s);
    QTRY_COMPARE(m_peer->requests("GET", snapshotPath).constLast().query, u"workspace_id=ws-2"_s);
}

void WindowTurnsTest::connectPressedDuringAPushFollowsIt() {
    holdAPush();
    m_peer->forgetRequests();
    m_fixture->openTab(3);
    item("server")->setProperty("text", m_peer->url() + u"/"_s);
    m_fixture->click(item("connect"));
    // What is typed later is not what was pressed for.
    item("server")->setProperty("text", u"http://"_s);
    m_peer->release();
    QTRY_COMPARE(m_peer->requests("GET", mePath).size(), 1);
    QTRY_COMPARE(controller().message(), u"Connected to PostgreSQL"_s);
}

void WindowTurnsTest::enterInTheAddressConnects() {
    ScriptedPeer another;
    sample::serve(another, sample::oneEntry());
    item("server")->setProperty("text", another.url());
    pressEnterIn("server");
    QTRY_COMPARE(another.log(), sample::connectionLog());
    QCOMPARE(controller().server(), another.url());
    QTRY_VERIFY(!controller().busy());
}

void WindowTurnsTest::enterInTheAddressDoesWhatTheButtonWould() {
    holdAReload();
    QVERIFY(!item("connect")->isEnabled());
    item("server")->setProperty("text", u"nothing"_s);
    pressEnterIn("server");
    m_peer->release();
    QTRY_VERIFY(!controller().busy());
    QCOMPARE(controller().message(), u"Connected to PostgreSQL"_s);
    pressEnterIn("server");
    QCOMPARE(controller().message(), u"Use HTTPS or the trusted private development server"_s);
}

void WindowTurnsTest::enterInThePasswordFollowsAReload() {
    m_peer->answer("POST", loginPath, PeerReply::json({}, 401).delivered(PeerReply::Delivery::Hold));
    item("email")->setProperty("text", u"dana@example.com"_s);
    item("password")->setProperty("text", u"secret"_s);
    holdAReload();
    pressEnterIn("password");
    QCOMPARE(text("password"), u"secret"_s);
    m_peer->release();
    QTRY_COMPARE(m_peer->requests("POST", loginPath).size(), 1);
    const QJsonObject body = m_peer->requests("POST", loginPath).constFirst().json();
    QCOMPARE(body.value(u"password").toString(), u"secret"_s);
    QCOMPARE(text("password"), QString());
}

void WindowTurnsTest::enterInThePasswordIsForgottenWithItsServer() {
    ScriptedPeer another;
    sample::serve(another, sample::oneEntry());
    item("password")->setProperty("text", u"secret"_s);
    holdAReload();
    pressEnterIn("password");
    m_fixture->controller.fail(u"Ended"_s);
    m_fixture->controller.connectServer(another.url());
    QTRY_COMPARE(another.log(), sample::connectionLog());
    QTRY_VERIFY(!controller().busy());
    QCoreApplication::processEvents();
    QCOMPARE(another.log(), sample::connectionLog());
    QVERIFY(m_peer->requests("POST", loginPath).isEmpty());
}

QObject* WindowTurnsTest::editTheEntry() const {
    QObject* const dialog = m_fixture->object(u"editDialog"_s);
    QMetaObject::invokeMethod(
        dialog, "edit", Q_ARG(QString, u"e1"_s),
        Q_ARG(QString, listedEntry(controller(), u"id"_s, u"e1"_s).value(u"description"_s).toString()));
    item("editDescription")->setProperty("text", u"Better"_s);
    return dialog;
}

void WindowTurnsTest::nothingWaitsForTheEndOfASignOut() {
    QJsonObject signedIn = controller().durableState();
    signedIn.insert(u"auth", QJsonObject{{u"token"_s, u"a-token"_s}, {u"user_id"_s, u"user-1"_s}});
    controller().applyDurable(signedIn);
    m_peer->answer("POST", u"/v1/auth/logout"_s,
                   PeerReply::text({}, 204).delivered(PeerReply::Delivery::Hold));
    QObject* const dialog = editTheEntry();
    QTRY_VERIFY(dialog->property("opened").toBool());
    controller().logoutAccount();
    QTRY_COMPARE(m_peer->held(), 1);
    QMetaObject::invokeMethod(dialog, "submit");
    QVERIFY(!dialog->property("waiting").toBool());
    QVERIFY(dialog->property("opened").toBool());
    QCOMPARE(dialog->property("refusal").toString(), u"You are being signed out; this was not recorded."_s);
    QCOMPARE(controller().pending(), 0);
}

void WindowTurnsTest::theEndOfTheProgramRecordsAnEditThatWaits() {
    QObject* const dialog = editTheEntry();
    QTRY_VERIFY(dialog->property("opened").toBool());
    holdAReload();
    QMetaObject::invokeMethod(dialog, "submit");
    QVERIFY(dialog->property("waiting").toBool());
    endTheProgram();
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(mutationAt(controller(), 0).value(u"payload").toObject().value(u"description").toString(),
             u"Better"_s);
}

void WindowTurnsTest::theEndOfTheProgramRecordsWhatWasPressedInTheList() {
    holdAReload();
    QMetaObject::invokeMethod(item("entryList")->parentItem(), "act", Q_ARG(QString, u"delete"_s),
                              Q_ARG(QString, u"e1"_s));
    QCOMPARE(controller().pending(), 0);
    endTheProgram();
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(mutationAt(controller(), 0).value(u"operation").toString(), u"entry.delete"_s);
}

void WindowTurnsTest::theEndOfTheProgramConnectsNowhere() {
    ScriptedPeer another;
    sample::serve(another, sample::oneEntry());
    item("server")->setProperty("text", another.url());
    holdAReload();
    pressEnterIn("server");
    endTheProgram();
    QCOMPARE(controller().server(), m_peer->url());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowTurnsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "turns.moc"
