// SPDX-License-Identifier: MIT
#include "app/notices.h"

#include "tests/support/scriptedpeer.h"
#include "tests/support/scriptedservice.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString show = u"Show"_s;

QJsonObject refusedDocument() {
    QJsonObject item = WindowFixture::edit(u"e1"_s, u"A secret plan"_s);
    item.insert(u"status", u"rejected"_s);
    item.insert(u"result", QJsonObject{{u"status"_s, u"rejected"_s}});
    return WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {item});
}

QJsonObject runningDocument() {
    QJsonObject document = WindowFixture::document({WindowFixture::entry(u"e1"_s)});
    const QString start = QDateTime::currentDateTimeUtc().addSecs(-7200).toString(Qt::ISODate);
    document.insert(u"timer", QJsonObject{{u"id"_s, u"t1"_s},
                                          {u"workspace_id"_s, u"w1"_s},
                                          {u"user_id"_s, u"u1"_s},
                                          {u"description"_s, u"A secret plan"_s},
                                          {u"start_at"_s, start}});
    return document;
}

} // namespace

/// What the desktop is asked to tell while the window is hidden, and where a click leads.
class NoticesTest : public QObject {
    Q_OBJECT

    void hide() const { m_fixture->window->hide(); }
    /// The text of each notification, oldest first.
    [[nodiscard]] QStringList told() const;
    void clickOn(uint id);
    /// While the window is hidden, and until it is told.
    void endSession(ScriptedPeer& peer);
    [[nodiscard]] int tab() const { return m_fixture->object(u"tabs"_s)->property("currentIndex").toInt(); }

    std::unique_ptr<ScriptedService> m_desktop;
    std::unique_ptr<WindowFixture> m_fixture;
    std::unique_ptr<Notices> m_notices;
    uint m_ids = 0;

private Q_SLOTS:
    void init();
    void cleanup();

    void aRefusedChangeIsToldOnceAndLeadsToIt();
    void anEndedSessionIsToldAndLeadsToTheAccount();
    void anOpenDialogKeepsTheKeyboard_data();
    void anOpenDialogKeepsTheKeyboard();
    void aFailedSaveIsToldOnce_data();
    void aFailedSaveIsToldOnce();
    void anAbsenceIsToldAndAskedWhenTheWindowIsShown();
    void anAbsenceIsToldWhileAnotherWindowIsInFront();
    void whileTheWindowIsSeenNothingIsTold();
    void aMinimisedWindowIsHidden();
    void theWindowsReturnTakesTheNoticeAway();
    void theyAreInTheLanguageOnTheScreenAndHoldNothingPrivate();
    void notificationsOfOthersLeadNowhere();
    void withoutSuchAServiceNothingHappens();
};

void NoticesTest::init() {
    m_desktop = std::make_unique<ScriptedService>(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"),
                                                  u"org.freedesktop.Notifications"_s,
                                                  u"/org/freedesktop/Notifications"_s);
    m_ids = 10;
    m_desktop->answer(u"Notify"_s,
                      [this](const QVariantList& /*arguments*/) { return QVariantList{++m_ids}; });
    QVERIFY(m_desktop->appear());
    m_fixture = std::make_unique<WindowFixture>(true);
    m_fixture->window->setProperty("hebrew", false);
    m_notices = std::make_unique<Notices>(m_fixture->controller, m_fixture->window);
}

void NoticesTest::cleanup() {
    m_notices.reset();
    m_fixture.reset();
    m_desktop.reset();
}

QStringList NoticesTest::told() const {
    QStringList texts;
    for (const ScriptedService::Call& call : m_desktop->calls()) {
        if (call.member == u"Notify") {
            texts.append(call.arguments.value(4).toString());
        }
    }
    return texts;
}

// The program may have its number later than the desktop shows it.
void NoticesTest::clickOn(uint id) {
    const auto leads = [&] {
        m_desktop->emitSignal(u"ActionInvoked"_s, {id, u"default"_s});
        return QTest::qWaitFor([&] { return m_fixture->window->isVisible(); }, 100);
    };
    QTRY_VERIFY(leads());
}

void NoticesTest::aRefusedChangeIsToldOnceAndLeadsToIt() {
    hide();
    m_fixture->show(refusedDocument());
    QTRY_COMPARE(told(), QStringList{u"The server did not accept a change. It is kept as you made it."_s});
    m_fixture->show(refusedDocument());
    m_fixture->show(WindowFixture::document());
    m_fixture->show(refusedDocument());
    QCoreApplication::processEvents();
    clickOn(11);
    QCOMPARE(told().size(), 1);
    QCOMPARE(tab(), 3);
    QTRY_VERIFY(m_fixture->item(u"retainedPanel"_s)->hasActiveFocus());
}

void NoticesTest::endSession(ScriptedPeer& peer) {
    peer.answer("GET", u"/v1/me"_s, PeerReply::json({}, 401));
    m_fixture->unlock(peer.url());
    QJsonObject document = WindowFixture::document();
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}, {u"user_id"_s, u"u1"_s}});
    m_fixture->show(document);
    hide();
    m_fixture->controller.fetchIdentity();
    QTRY_COMPARE(told(), QStringList{u"The session has ended. Waiting changes are kept."_s});
}

void NoticesTest::anEndedSessionIsToldAndLeadsToTheAccount() {
    ScriptedPeer peer;
    endSession(peer);
    clickOn(11);
    QCOMPARE(tab(), 3);
    QTRY_VERIFY(m_fixture->item(u"email"_s)->hasActiveFocus());
}

void NoticesTest::anOpenDialogKeepsTheKeyboard_data() {
    QTest::addColumn<bool>("refused");
    QTest::newRow("refused change") << true;
    QTest::newRow("ended session") << false;
}

void NoticesTest::anOpenDialogKeepsTheKeyboard() {
    QFETCH(const bool, refused);
    ScriptedPeer peer;
    QTRY_VERIFY(m_fixture->window->isActive());
    const QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    m_fixture->click(m_fixture->item(u"manualEntry"_s));
    QTRY_VERIFY(dialog->property("opened").toBool());
    if (refused) {
        hide();
        m_fixture->show(refusedDocument());
        QTRY_COMPARE(told().size(), 1);
    } else {
        endSession(peer);
    }
    clickOn(11);
    QCOMPARE(tab(), 3);
    QTRY_VERIFY(m_fixture->window->isActive());
    QTRY_VERIFY(m_fixture->item(u"manualDescription"_s)->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!dialog->property("visible").toBool());

    // The next one leads there again.
    QMetaObject::invokeMethod(m_fixture->window, refused ? "retainedWanted" : "accountWanted");
    QTRY_VERIFY(m_fixture->item(refused ? u"retainedPanel"_s : u"email"_s)->hasActiveFocus());
}

void NoticesTest::aFailedSaveIsToldOnce_data() {
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("told");
    const QString kept = u"Saving on this device failed. What you recorded is kept and waits."_s;
    QTest::newRow("of a write") << u"The write was not accepted because secure local storage failed."_s
                                << u"Saving on this device failed; the last change was not recorded."_s;
    QTest::newRow("of what is known")
        << u"Secure local save failed; the retained queue was not acknowledged locally."_s << kept;
    QTest::newRow("of an acknowledgement")
        << u"Secure local acknowledgement save failed; original queue retained for replay"_s << kept;
}

void NoticesTest::aFailedSaveIsToldOnce() {
    QFETCH(const QString, message);
    QFETCH(const QString, told);
    hide();
    for (int i = 0; i < 3; ++i) {
        m_fixture->controller.fail(u"Identity check unavailable; encrypted queue retained."_s);
        m_fixture->controller.fail(message);
    }
    QTRY_COMPARE(this->told(), QStringList{told});
    clickOn(11);
    QCOMPARE(this->told().size(), 1);
    // Another time is told again.
    hide();
    m_fixture->controller.fail(u"Something else."_s);
    m_fixture->controller.fail(message);
    QTRY_COMPARE(this->told().size(), 2);
}

void NoticesTest::anAbsenceIsToldAndAskedWhenTheWindowIsShown() {
    m_fixture->show(runningDocument());
    hide();
    m_fixture->controller.noteAbsence(Absences::Kind::Rest, 1'200'000);
    QTRY_COMPARE(told(), QStringList{u"The timer went on. Was that work?"_s});
    QObject* const dialog = m_fixture->object(u"absenceDialog"_s);
    QVERIFY(!dialog->property("visible").toBool());
    clickOn(11);
    QTRY_VERIFY(dialog->property("opened").toBool());
}

void NoticesTest::anAbsenceIsToldWhileAnotherWindowIsInFront() {
    m_fixture->show(runningDocument());
    QTRY_VERIFY(m_fixture->window->isActive());
    QWindow other;
    other.show();
    other.requestActivate();
    QTRY_VERIFY(!m_fixture->window->isActive());
    m_fixture->show(refusedDocument()); // which it shows itself
    m_fixture->show(runningDocument());
    m_fixture->controller.noteAbsence(Absences::Kind::Rest, 1'200'000);
    QTRY_COMPARE(told(), QStringList{u"The timer went on. Was that work?"_s});
}

void NoticesTest::whileTheWindowIsSeenNothingIsTold() {
    m_fixture->show(refusedDocument());
    m_fixture->controller.fail(u"The write was not accepted because secure local storage failed."_s);
    hide();
    // Known before it was hidden.
    m_fixture->show(refusedDocument());
    m_fixture->show(runningDocument());
    m_fixture->controller.noteAbsence(Absences::Kind::Rest, 1'200'000);
    QTRY_COMPARE(told(), QStringList{u"The timer went on. Was that work?"_s});
}

void NoticesTest::aMinimisedWindowIsHidden() {
    m_fixture->window->setVisibility(QWindow::Minimized);
    m_fixture->show(refusedDocument());
    QTRY_COMPARE(told().size(), 1);
}

void NoticesTest::theWindowsReturnTakesTheNoticeAway() {
    hide();
    m_fixture->show(refusedDocument());
    QTRY_COMPARE(told().size(), 1);
    const auto isClosed = [&] {
        m_fixture->window->hide();
        m_fixture->window->show();
        return QTest::qWaitFor([&] { return m_desktop->count(u"CloseNotification"_s) > 0; }, 100);
    };
    QTRY_VERIFY(isClosed());
    QCOMPARE(m_desktop->calls().last().arguments, QVariantList{11U});
}

void NoticesTest::theyAreInTheLanguageOnTheScreenAndHoldNothingPrivate() {
    m_fixture->window->setProperty("hebrew", true);
    hide();
    m_fixture->show(refusedDocument());
    m_fixture->show(runningDocument());
    m_fixture->controller.noteAbsence(Absences::Kind::Sleep, 1'200'000);
    QTRY_COMPARE(told(), QStringList({u"השרת לא קיבל שינוי. הוא נשמר כפי שנרשם."_s,
                                      u"הטיימר המשיך לרוץ. האם זה היה זמן עבודה?"_s}));
    for (const ScriptedService::Call& call : m_desktop->calls()) {
        QCOMPARE(call.arguments.size(), 8);
        QCOMPARE(call.arguments.value(5).toStringList().value(0), u"default"_s);
        for (const QVariant& argument : call.arguments) {
            QVERIFY(!argument.toString().contains(u"secret"_s));
        }
    }
}

void NoticesTest::notificationsOfOthersLeadNowhere() {
    hide();
    m_fixture->show(refusedDocument());
    QTRY_COMPARE(told().size(), 1);
    m_desktop->emitSignal(u"ActionInvoked"_s, {99U, u"default"_s});
    m_desktop->emitSignal(u"ActionInvoked"_s, {11U, u"another"_s});
    m_desktop->emitSignal(u"NotificationClosed"_s, {99U, 2U});
    // It has arrived with what is told next.
    m_fixture->show(runningDocument());
    m_fixture->controller.noteAbsence(Absences::Kind::Sleep, 1'200'000);
    QTRY_COMPARE(told().size(), 2);
    QVERIFY(!m_fixture->window->isVisible());
    clickOn(11);
}

void NoticesTest::withoutSuchAServiceNothingHappens() {
    QVERIFY(m_desktop->disappear());
    hide();
    m_fixture->show(refusedDocument());
    QCoreApplication::processEvents();
    m_fixture->window->show();
    QCOMPARE(m_desktop->calls().size(), 0);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    NoticesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "notices.moc"
