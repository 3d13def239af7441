// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

/// What the banner shows of a message, however long the server made it.
class WindowBannerTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QQuickItem* banner() const { return item("status")->parentItem(); }

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void shortMessageIsWhole();
    void messageThatOnlySaysWhatIsWrongIsFollowedByAdvice_data();
    void messageThatOnlySaysWhatIsWrongIsFollowedByAdvice();
    void adviceKnowsWhetherThereIsWorkToGoOnWith();
    void nobodyIsAdvisedToConnectWhileWorkKeepsThatFrom();
    void whatWaitsForAnotherAccountCanBeSetAside();
    void serverThatWantsASignInIsNotCalledAway_data();
    void serverThatWantsASignInIsNotCalledAway();
    void whateverFailsWithAnEndedSessionAsksToSignIn_data();
    void whateverFailsWithAnEndedSessionAsksToSignIn();
    void longMessageTakesAFewLines_data();
    void longMessageTakesAFewLines();
    void wholeMessageStaysWhileItIsRead();
    void wholeMessageIsScrolledByKeyboard();
    void wholeMessageIsLeftWithItsAccount();
};

void WindowBannerTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    QTRY_VERIFY(m_fixture->window->isActive());
}

void WindowBannerTest::cleanup() {
    m_fixture.reset();
}

void WindowBannerTest::shortMessageIsWhole() {
    m_fixture->controller.fail(u"Connected to PostgreSQL"_s);
    m_fixture->layOut();
    QVERIFY(!item("wholeMessage")->isVisible());
    QCOMPARE(banner()->height(), item("status")->implicitHeight() + 22);
    QVERIFY(!item("advice")->isVisible());
}

void WindowBannerTest::messageThatOnlySaysWhatIsWrongIsFollowedByAdvice_data() {
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("hebrew");
    QTest::addColumn<QString>("english");
    const QString disk = u"ודא שיש מקום בדיסק ושאפשר לכתוב בתיקיית הבית"_s;
    const QString diskInEnglish =
        u"See that the disk has free space and that your home folder can be written to"_s;
    const QString keyring = u"פתח את מאגר הסיסמאות (KWallet או Keyring)"_s;
    const QString keyringInEnglish =
        u"Unlock the keyring or wallet, or start one in this session, then press"_s;
    QTest::newRow("no server")
        << u"Session unavailable or revoked. Cached work retained; no "
           "developer fallback was attempted."_s
        << u"ודא שהשרת פועל ושכתובתו נכונה, ואז לחץ"_s
        << u"See that the server is running and that its address is right, then press"_s;
    QTest::newRow("no credential store")
        << u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
           "available; offline writes are disabled."_s
        << keyring << keyringInEnglish;
    QTest::newRow("refused key") << u"OS secure storage denied the key; no plaintext fallback was used."_s
                                 << keyring << keyringInEnglish;
    QTest::newRow("no key to record with")
        << u"Open KWallet / OS credential storage before recording time. Online reports and "
           "reads remain available; no unprotected write queue is used."_s
        << keyring << keyringInEnglish;
    QTest::newRow("no database") << u"Local encrypted database unavailable"_s << disk
                                 << diskInEnglish + u", then press"_s;
    QTest::newRow("no database any more")
        << u"Secure storage could not be opened; offline writes are disabled."_s
        << disk + u"; אם המפתח במאגר הסיסמאות השתנה, שחזר גם אותו, ואז לחץ"_s
        << diskInEnglish +
               u"; if the key in the keyring or wallet was changed, restore that as well, then press"_s;
    QTest::newRow("refused write") << u"The write was not accepted because secure local storage failed."_s
                                   << disk << diskInEnglish + u", then try again."_s;
    QTest::newRow("refused save") << u"Secure local save failed; the retained queue was not "
                                     "acknowledged locally."_s
                                  << disk << diskInEnglish + u", then try again."_s;
    QTest::newRow("refused acknowledgement")
        << u"Secure local acknowledgement save failed; original queue retained for replay"_s << disk
        << diskInEnglish + u", then try again."_s;
    QTest::newRow("refused reconnection") << u"Unable to store explicit developer reconnect"_s << disk
                                          << diskInEnglish + u", then try again."_s;
    QTest::newRow("no address")
        << u"Use HTTPS or the trusted private development server"_s
        << u"הכתובת צריכה להתחיל ב־\u2066https://\u2069, או ב־\u2066http://\u2069 כש"_s
        << u"The address must begin with https://"_s;
    QTest::newRow("no workspace")
        << u"This account has no workspace yet. Create one on its Web account page."_s
        << u"אחרי שתהיה שם סביבת עבודה, לחץ בהגדרות על"_s << u"When there is one, press"_s;
    QTest::newRow("no list of workspaces") << u"Unable to list workspaces for this account"_s
                                           << u"כדי לנסות שוב, לחץ בהגדרות על"_s << u"To try again, press"_s;
    QTest::newRow("open elsewhere")
        << u"Timer.Kelvaro is already open on this server; offline writes are disabled in this window."_s
        << u"תוכנית אחרת מחזיקה בקובץ של השרת הזה"_s << u"Another program has this server's file"_s;
    QTest::newRow("altered record")
        << u"Encrypted account/queue could not be authenticated; no identity fallback was attempted"_s
        << u"הקובץ השתנה או שייך למפתח אחר"_s << u"The file was altered or belongs to another key"_s;
    QTest::newRow("no random numbers")
        << u"Secure key generation failed"_s << u"המערכת לא סיפקה מספרים אקראיים"_s
        << u"The system gave no random numbers"_s;
    const QString signOut = u"התנתק מהחשבון בהגדרות"_s;
    const QString signOutInEnglish = u"Sign out in Settings"_s;
    QTest::newRow("another account") << u"Account changed; pending work was not reassigned"_s << signOut
                                     << signOutInEnglish;
    QTest::newRow("another account at a push")
        << u"Account changed; queued work was NOT reassigned."_s << signOut << signOutInEnglish;
    QTest::newRow("another account at a renewal")
        << u"This is another account; the waiting work stays with its own."_s << signOut << signOutInEnglish;
    QTest::newRow("no storage to sign in with")
        << u"Unlock protected OS storage before personal login"_s << u"לפני הכניסה, לחץ בהגדרות על"_s
        << u"Before you sign in, press \"Connect / explicit developer entry\" in Settings"_s;
    QTest::newRow("not UTF-8") << u"CSV must be UTF-8"_s << u"שמור את הקובץ שוב כ־UTF-8"_s
                               << u"Save the file again as UTF-8 without a byte-order mark"_s;
    QTest::newRow("no export") << u"Export failed"_s << u"הפק את הדוח מחדש ואז ייצא אותו"_s
                               << u"Generate the report again, then export it"_s;
    QTest::newRow("too large") << u"CSV unavailable or exceeds 900KB limit"_s << u"ודא שאפשר לקרוא את הקובץ"_s
                               << u"See that the file can be read"_s;
}

void WindowBannerTest::messageThatOnlySaysWhatIsWrongIsFollowedByAdvice() {
    QFETCH(QString, message);
    QFETCH(QString, hebrew);
    QFETCH(QString, english);
    m_fixture->window->resize(m_fixture->window->minimumSize());
    m_fixture->controller.fail(message);
    for (const bool inHebrew : {true, false}) {
        m_fixture->window->setProperty("hebrew", inHebrew);
        m_fixture->layOut();
        QCOMPARE(item("status")->property("text").toString(), message);
        QQuickItem* const advice = item("advice");
        QVERIFY(advice->isVisible());
        const QString text = advice->property("text").toString();
        QVERIFY2(text.startsWith(inHebrew ? hebrew : english), qPrintable(text));
        QVERIFY(text.endsWith(u'.'));
        QVERIFY(banner()->boundingRect().contains(advice->mapRectToItem(banner(), advice->boundingRect())));
        QVERIFY(!advice->mapRectToScene(advice->boundingRect())
                     .intersects(item("status")->mapRectToScene(item("status")->boundingRect())));
    }
}

void WindowBannerTest::adviceKnowsWhetherThereIsWorkToGoOnWith() {
    m_fixture->controller.fail(
        u"Session unavailable or revoked. Cached work retained; no developer fallback was attempted."_s);
    m_fixture->show(WindowFixture::document());
    QCOMPARE(item("advice")->property("text").toString(),
             u"אפשר להמשיך לעבוד; התוכנית ממשיכה לחפש את השרת."_s);
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(item("advice")->property("text").toString(),
             u"Go on working; the program keeps looking for the server."_s);
}

void WindowBannerTest::nobodyIsAdvisedToConnectWhileWorkKeepsThatFrom() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, u"Mine"_s)}));
    m_fixture->controller.fail(u"Unlock protected OS storage before personal login"_s);
    QVERIFY(!item("advice")->isVisible());
}

void WindowBannerTest::whatWaitsForAnotherAccountCanBeSetAside() {
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, u"Mine"_s)}));
    m_fixture->controller.fail(u"Account changed; queued work was NOT reassigned."_s);
    QCOMPARE(item("advice")->property("text").toString(),
             u"What waits is sent when the server knows you by the account that recorded it. To work under "
             "another one, first press \"Save a copy and remove all waiting changes\" in Settings."_s);
}

void WindowBannerTest::serverThatWantsASignInIsNotCalledAway_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<bool>("wantsSignIn");
    QTest::newRow("401") << PeerReply::json({}, 401) << true;
    QTest::newRow("403") << PeerReply::json({}, 403) << true;
    QTest::newRow("without JSON") << PeerReply::text("<html>", 401) << true;
    QTest::newRow("500") << PeerReply::json({}, 500) << false;
    QTest::newRow("no reply") << PeerReply::only(PeerReply::Delivery::Close) << false;
}

void WindowBannerTest::serverThatWantsASignInIsNotCalledAway() {
    QFETCH(const PeerReply, reply);
    QFETCH(const bool, wantsSignIn);
    m_fixture->window->setProperty("hebrew", false);
    ScriptedPeer peer;
    peer.answer("GET", u"/v1/me"_s, reply);
    m_fixture->unlock(peer.url());
    const QString message =
        u"Session unavailable or revoked. Cached work retained; no developer fallback was attempted."_s;
    const auto advice = [this] { return item("advice")->property("text").toString(); };
    QCOMPARE(item("status")->property("text").toString(), message);
    QCOMPARE(m_fixture->controller.signInWanted(), wantsSignIn);
    QCOMPARE(advice(), wantsSignIn
                           ? u"This server asks for a personal account: enter its e-mail and password in "
                             "Settings, and press \"Personal sign-in\"."_s
                           : u"See that the server is running and that its address is right, then press "
                             "\"Connect / explicit developer entry\" in Settings."_s);
    if (wantsSignIn) {
        m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)},
                                                {WindowFixture::edit(u"e1"_s, u"Mine"_s)}));
        QVERIFY2(advice().contains(u"first press \"Save a copy and remove all waiting changes\""_s),
                 qPrintable(advice()));
    }
}

void WindowBannerTest::whateverFailsWithAnEndedSessionAsksToSignIn_data() {
    QTest::addColumn<QString>("message");
    QTest::newRow("load") << u"Server unavailable. Encrypted cached data retained."_s;
    QTest::newRow("identity") << u"Identity check unavailable; encrypted queue retained."_s;
    QTest::newRow("push") << u"Server did not acknowledge this request; original encrypted queue retained"_s;
    QTest::newRow("workspaces") << u"Unable to list workspaces for this account"_s;
    QTest::newRow("report") << u"Report request failed"_s;
    QTest::newRow("export") << u"Export failed"_s;
    QTest::newRow("preview") << u"Import preview failed"_s;
    QTest::newRow("import") << u"Import failed"_s;
}

void WindowBannerTest::whateverFailsWithAnEndedSessionAsksToSignIn() {
    QFETCH(const QString, message);
    ScriptedPeer peer;
    peer.answer("GET", u"/v1/me"_s, PeerReply::json({}, 503));
    m_fixture->unlock(peer.url());
    QJsonObject document = WindowFixture::document();
    m_fixture->show(document);
    m_fixture->controller.fail(message);
    QCOMPARE(item("advice")->isVisible(), message == u"Export failed"); // which has another advice, too

    peer.answer("GET", u"/v1/me"_s, PeerReply::json({}, 401));
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}, {u"user_id"_s, u"u1"_s}});
    m_fixture->show(document);
    m_fixture->controller.fetchIdentity();
    QTRY_VERIFY(m_fixture->controller.sessionRefused());
    for (const bool hebrew : {true, false}) {
        m_fixture->window->setProperty("hebrew", hebrew);
        m_fixture->controller.fail(message);
        QCOMPARE(item("status")->property("text").toString(), message);
        QVERIFY(item("advice")->isVisible());
        QCOMPARE(item("advice")->property("text").toString(),
                 hebrew ? u"התחבר מחדש בהגדרות."_s : u"Sign in again in Settings."_s);
    }
}

void WindowBannerTest::longMessageTakesAFewLines_data() {
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("byKey");
    const QString words = u"The period is closed. "_s.repeated(400);
    const QString solid(10'000, u'x');
    QTest::newRow("words, key") << words << true;
    QTest::newRow("words, mouse") << words << false;
    QTest::newRow("without spaces, key") << solid << true;
    QTest::newRow("without spaces, mouse") << solid << false;
}

void WindowBannerTest::longMessageTakesAFewLines() {
    QFETCH(QString, message);
    QFETCH(bool, byKey);
    m_fixture->window->resize(m_fixture->window->minimumSize());
    m_fixture->controller.fail(message);
    m_fixture->layOut();
    QVERIFY2(banner()->height() < 100, qPrintable(QString::number(banner()->height())));
    QQuickItem* const more = item("wholeMessage");
    QTRY_VERIFY(more->isVisible());
    QVERIFY(banner()->boundingRect().contains(more->mapRectToItem(banner(), more->boundingRect())));
    QVERIFY(!more->mapRectToScene(more->boundingRect())
                 .intersects(item("status")->mapRectToScene(item("status")->boundingRect())));

    if (byKey) {
        more->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        m_fixture->click(more);
    }
    const QObject* const dialog = m_fixture->object(u"messageDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(item("message")->property("text").toString(), message);
    QVERIFY(dialog->property("height").toDouble() < m_fixture->window->height());
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!dialog->property("visible").toBool());
}

void WindowBannerTest::wholeMessageStaysWhileItIsRead() {
    const QString message = u"The period is closed. "_s.repeated(400);
    m_fixture->controller.fail(message);
    m_fixture->layOut();
    QTRY_VERIFY(item("wholeMessage")->isVisible());
    m_fixture->click(item("wholeMessage"));
    m_fixture->controller.fail(u"Connected to PostgreSQL"_s);
    QCOMPARE(item("message")->property("text").toString(), message);
    QTRY_VERIFY(!item("wholeMessage")->isVisible());
}

void WindowBannerTest::wholeMessageIsScrolledByKeyboard() {
    m_fixture->controller.fail(QString(10'000, u'x'));
    m_fixture->layOut();
    QTRY_VERIFY(item("wholeMessage")->isVisible());
    m_fixture->click(item("wholeMessage"));
    QTRY_VERIFY(m_fixture->object(u"messageDialog"_s)->property("opened").toBool());
    const auto* const view = item("message")->property("contentItem").value<QQuickItem*>();
    const double end = view->property("contentHeight").toDouble() - view->height();
    QVERIFY(end > 0);
    QTest::keyClick(m_fixture->window, Qt::Key_End, Qt::ControlModifier);
    QTRY_VERIFY(view->property("contentY").toDouble() > end - 20);
}

void WindowBannerTest::wholeMessageIsLeftWithItsAccount() {
    m_fixture->show(WindowFixture::document());
    m_fixture->controller.fail(u"Of one account. "_s.repeated(400));
    m_fixture->layOut();
    QTRY_VERIFY(item("wholeMessage")->isVisible());
    m_fixture->click(item("wholeMessage"));
    const QObject* const dialog = m_fixture->object(u"messageDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());

    QJsonObject next = WindowFixture::document();
    next.insert(u"me", QJsonObject{{u"id"_s, u"u2"_s}});
    m_fixture->show(next);
    QCOMPARE(item("message")->property("text").toString(), QString());
    QTRY_VERIFY(!dialog->property("visible").toBool());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowBannerTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "banner.moc"
