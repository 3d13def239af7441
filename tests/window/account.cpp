// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/sqlitefile.h"
#include "tests/support/vaultfile.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// What a person types into the settings and the forms, and what becomes of it
/// when the next person takes the chair; and how an import shows its progress.
class WindowAccountTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    void set(const char* name, const char* value) const {
        QVERIFY(item(name)->setProperty("text", QString::fromLatin1(value)));
    }
    void typePassword();
    void preview();
    void apply(int checkpoint, bool more);

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<FileDialogs> m_dialogs;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void enterInThePasswordFieldSignsIn();
    void enterThatIsRefusedSaysWhyAndKeepsThePassword();
    void theSentPasswordCannotBeBroughtBack();
    void whatOneAccountTypedIsGoneForTheNext();
    void namelessAccountsLeaveNothingEither();
    void theFirstIdentityTakesNothingAway();
    void aSignInLeavesWhatWasTyped();
    void aRenamedAccountLeavesWhatWasTyped();
    void theSameIdOfAnotherServerIsAnotherAccount();
    void aPasswordIsForgottenWithItsServer();
    void aServerThatDoesNotConfirmASignOutCanBeLeft();
    void anUnreadableRecordIsNotCalledAQueue();
    void anUnreadableRecordMakesWayForANewOne();
    void theTimeOfAnotherAccountIsNotShown();
    void nothingOfOneAccountIsOnTheScreenOfTheNext();
    void anImportShowsHowFarItIs();
    void reportDurationsStandInColumns();
};

void WindowAccountTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_peer->answer("POST", u"/v1/auth/login"_s,
                   PeerReply::json({}, 401).delivered(PeerReply::Delivery::Hold));
    m_dialogs = std::make_unique<FileDialogs>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
}

void WindowAccountTest::cleanup() {
    m_fixture.reset();
    m_dialogs.reset();
    m_peer.reset();
}

void WindowAccountTest::typePassword() {
    m_fixture->openTab(3);
    set("email", "dana@example.com");
    QQuickItem* const password = item("password");
    QTRY_VERIFY(password->isVisible());
    QTRY_VERIFY(m_fixture->window->isActive());
    password->forceActiveFocus();
    for (const char letter : QByteArray("secret")) {
        QTest::keyClick(m_fixture->window, letter);
    }
    QCOMPARE(text("password"), u"secret"_s);
}

void WindowAccountTest::enterInThePasswordFieldSignsIn() {
    typePassword();
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QCOMPARE(text("password"), QString());
    QVERIFY(m_fixture->controller.busy());
    QTRY_COMPARE(m_peer->held(), 1);
    const QJsonObject body = m_peer->requests("POST", u"/v1/auth/login"_s).constFirst().json();
    QCOMPARE(body.value(u"password").toString(), u"secret"_s);
}

void WindowAccountTest::enterThatIsRefusedSaysWhyAndKeepsThePassword() {
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)},
                                            {WindowFixture::edit(u"e1"_s, u"waits for the server"_s)}));
    typePassword();
    QVERIFY(!item("signIn")->isEnabled());
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QCOMPARE(text("password"), u"secret"_s);
    QCOMPARE(m_fixture->controller.message(), u"Resolve pending work before personal login"_s);
    QVERIFY(!m_fixture->controller.busy());
    QVERIFY(m_peer->requests("POST", u"/v1/auth/login"_s).isEmpty());
}

void WindowAccountTest::theSentPasswordCannotBeBroughtBack() {
    typePassword();
    QTest::keyClick(m_fixture->window, Qt::Key_Enter);
    QVERIFY(!item("password")->property("canUndo").toBool());
    QTest::keyClick(m_fixture->window, Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(text("password"), QString());
}

void WindowAccountTest::whatOneAccountTypedIsGoneForTheNext() {
    m_fixture->show(WindowFixture::document());
    const QList<const char*> fields{"description", "email",    "password",          "editDescription",
                                    "manualFrom",  "manualTo", "manualDescription", "importSource"};
    for (const char* const field : fields) {
        set(field, "mine alone");
    }
    QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    QMetaObject::invokeMethod(dialog, "open");
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(item("entriesAreMine")->setProperty("checked", true));
    QVERIFY(item("billable")->setProperty("checked", true));

    QJsonObject next = WindowFixture::document();
    next.insert(u"me", QJsonObject{{u"id"_s, u"u2"_s}, {u"email"_s, u"omer@example.com"_s}});
    m_fixture->show(next);
    for (const char* const field : fields) {
        QVERIFY2(text(field) != u"mine alone"_s, field);
    }
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QVERIFY(!item("entriesAreMine")->property("checked").toBool());
    QVERIFY(!item("billable")->property("checked").toBool());
}

void WindowAccountTest::theFirstIdentityTakesNothingAway() {
    QVERIFY(m_fixture->controller.accountName().isEmpty());
    set("description", "typed before the server answered");
    m_fixture->show(WindowFixture::document());
    QVERIFY(!m_fixture->controller.accountName().isEmpty());
    QCOMPARE(text("description"), u"typed before the server answered"_s);
}

void WindowAccountTest::namelessAccountsLeaveNothingEither() {
    QJsonObject nameless = WindowFixture::document();
    nameless.insert(u"me", QJsonObject{{u"id"_s, u"u1"_s}});
    nameless.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    m_fixture->show(nameless);
    set("description", "mine alone");
    m_fixture->show({{u"signed_out"_s, true}});
    QCOMPARE(text("description"), QString());
}

void WindowAccountTest::aSignInLeavesWhatWasTyped() {
    m_fixture->show(WindowFixture::document());
    set("description", "half a thought");
    QJsonObject signedIn = WindowFixture::document();
    signedIn.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    signedIn.insert(u"me", QJsonObject{{u"id"_s, u"u1"_s}});
    m_fixture->show(signedIn);
    QCOMPARE(text("description"), u"half a thought"_s);

    m_fixture->show({{u"signed_out"_s, true}});
    QCOMPARE(text("description"), QString());
    set("description", "begun while signed out");
    m_fixture->show(signedIn);
    QCOMPARE(text("description"), u"begun while signed out"_s);
}

void WindowAccountTest::aRenamedAccountLeavesWhatWasTyped() {
    m_fixture->show(WindowFixture::document());
    set("description", "half a thought");
    QJsonObject renamed = WindowFixture::document();
    renamed.insert(u"me", QJsonObject{{u"id"_s, u"u1"_s}, {u"email"_s, u"dana@example.org"_s}});
    m_fixture->show(renamed);
    QCOMPARE(m_fixture->controller.accountName(), u"dana@example.org"_s);
    QCOMPARE(text("description"), u"half a thought"_s);
}

void WindowAccountTest::theSameIdOfAnotherServerIsAnotherAccount() {
    m_fixture->show(WindowFixture::document());
    set("description", "mine alone");
    m_fixture->unlock(deadServer());
    m_fixture->show(WindowFixture::document());
    QCOMPARE(text("description"), QString());
}

void WindowAccountTest::aPasswordIsForgottenWithItsServer() {
    set("password", "secret");
    Q_EMIT m_fixture->controller.changed();
    QCOMPARE(text("password"), u"secret"_s);
    m_fixture->unlock(deadServer());
    QCOMPARE(text("password"), QString());
}

void WindowAccountTest::aServerThatDoesNotConfirmASignOutCanBeLeft() {
    QJsonObject signedIn = WindowFixture::document();
    signedIn.insert(u"auth", QJsonObject{{u"token"_s, u"a-token"_s}, {u"user_id"_s, u"u1"_s}});
    m_fixture->show(signedIn);
    m_fixture->openTab(3);
    QQuickItem* const leave = item("leaveServer");
    QVERIFY(!leave->isVisible() && !item("signOutUnconfirmed")->isVisible());
    m_fixture->click(item("signOut"));
    QTRY_VERIFY(leave->isVisible());
    QVERIFY(item("signOutUnconfirmed")->isVisible());
    QVERIFY(!leave->isEnabled()); // for the address of the very server
    ScriptedPeer other;
    set("server", other.url().toLatin1().constData());
    QTRY_VERIFY(leave->isEnabled());
    m_fixture->click(leave);
    QCOMPARE(m_fixture->controller.server(), other.url());
    QVERIFY(!m_fixture->controller.accountSignedIn());
    QVERIFY(!leave->isVisible());
}

void WindowAccountTest::anUnreadableRecordIsNotCalledAQueue() {
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text("storage"), u"Local queue encrypted; key stored in KWallet / OS credential storage."_s);
    m_fixture.reset();
    SqliteFile(vaultFile(m_peer->url())).run(u"ALTER TABLE vault RENAME COLUMN payload TO another"_s);
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text("storage"), u"The local record could not be read; nothing is saved over it. "
                              "Reads and reports are available."_s);
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(text("storage"), u"לא ניתן לקרוא את הרשומה המקומית; דבר לא יישמר במקומה. קריאה "
                              "ודוחות זמינים."_s);
}

void WindowAccountTest::anUnreadableRecordMakesWayForANewOne() {
    m_fixture->openTab(3);
    QVERIFY(!item("setAside")->isVisible());
    m_fixture.reset();
    SqliteFile(vaultFile(m_peer->url())).run(u"ALTER TABLE vault RENAME COLUMN payload TO another"_s);
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->controller.fail(
        u"Encrypted account/queue could not be authenticated; no identity fallback was attempted"_s);
    m_fixture->window->setProperty("hebrew", false);
    QTRY_VERIFY(text("advice").endsWith(
        u" If that does not help, press \"Rename the file and begin anew\" in Settings."_s));
    m_fixture->openTab(3);
    QTRY_VERIFY(item("setAside")->isVisible());
    m_fixture->click(item("setAside"));
    QObject* const dialog = m_fixture->object(u"setAsideDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(text("setAsideQuestion").contains(u"nothing is deleted"_s));
    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    QTRY_VERIFY(!m_fixture->controller.recordStuck());
    QTRY_VERIFY(
        m_fixture->controller.message().startsWith(u"The encrypted record for this server is missing"_s));
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QTRY_VERIFY(!item("setAside")->isVisible());
    m_fixture->controller.connectServer(m_peer->url());
    QTRY_VERIFY(m_fixture->controller.queueReady());
}

void WindowAccountTest::theTimeOfAnotherAccountIsNotShown() {
    QJsonObject document = WindowFixture::document();
    document.insert(u"timer", QJsonObject{{u"id"_s, u"t1"_s},
                                          {u"user_id"_s, u"u1"_s},
                                          {u"workspace_id"_s, u"w1"_s},
                                          {u"start_at"_s, u"2021-03-01T09:00:00Z"_s}});
    m_fixture->show(document);
    QVERIFY(text("elapsed") != u"00:00:00"_s);
    m_fixture->show({{u"signed_out"_s, true}});
    QCOMPARE(text("elapsed"), u"00:00:00"_s);
}

void WindowAccountTest::nothingOfOneAccountIsOnTheScreenOfTheNext() {
    QJsonObject entry = WindowFixture::entry(u"secret"_s);
    QJsonObject document = WindowFixture::document({entry});
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    m_fixture->show(document);
    preview();
    m_peer->answerOnce(
        "POST", u"/v1/workspaces/w1/reports/summary/query"_s,
        PeerReply::json({{u"snapshot_id"_s, u"r1"_s},
                         {u"totals"_s, QJsonObject{{u"entry_count"_s, 77}}},
                         {u"rows"_s, QJsonArray{QJsonObject{{u"labels"_s, QJsonArray{u"secret"_s}}}}}}));
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    QTRY_COMPARE(item("reportList")->property("count").toInt(), 1);
    QVERIFY(text("importPreview").contains(u"i1"_s));
    QVERIFY(text("reportTotals").contains(u"77"_s));

    QStringList seen;
    // Connected after the window's bindings, so it looks at what they have made of each change.
    connect(&m_fixture->controller, &Controller::changed, this, [&] {
        if (m_fixture->controller.accountSignedIn()) {
            return;
        }
        for (const char* const list : {"reportList", "entryList"}) {
            seen.append(QString::number(item(list)->property("count").toInt()));
        }
        seen.append(text("importPreview"));
        QVERIFY(!text("reportTotals").contains(u"77"_s));
    });
    m_peer->answer("POST", u"/v1/auth/logout"_s, PeerReply::json({}));
    m_fixture->controller.logoutAccount();
    QTRY_COMPARE(m_fixture->controller.message(),
                 u"Signed out. No private developer fallback was opened automatically."_s);
    QVERIFY(!seen.isEmpty());
    seen.removeDuplicates();
    QCOMPARE(seen, (QStringList{u"0"_s, u"{}"_s}));
}

void WindowAccountTest::preview() {
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"entries.csv"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("a,b\n") == 4 && file.flush());
    m_peer->answerOnce(
        "POST", u"/v1/workspaces/w1/imports/csv/preview"_s,
        PeerReply::json({{u"id"_s, u"i1"_s}, {u"checkpoint"_s, 0}, {u"total"_s, 40}, {u"has_more"_s, true}},
                        201));
    m_dialogs->choose(file.fileName());
    m_fixture->controller.previewCsv(u"source"_s, u"UTC"_s, true);
    m_dialogs->cancel();
    QTRY_COMPARE(m_fixture->controller.message(), u"Preview only: no time entries have been written"_s);
}

void WindowAccountTest::apply(int checkpoint, bool more) {
    m_peer->answerOnce("POST", u"/v1/imports/i1/apply"_s,
                       PeerReply::json({{u"id"_s, u"i1"_s},
                                        {u"state"_s, u"importing"_s},
                                        {u"checkpoint"_s, checkpoint},
                                        {u"total"_s, 40},
                                        {u"has_more"_s, more}})
                           .delivered(PeerReply::Delivery::Hold));
}

void WindowAccountTest::anImportShowsHowFarItIs() {
    m_fixture->show(WindowFixture::document());
    preview();
    QQuickItem* const progress = item("importProgress");
    QVERIFY(!progress->isVisible());
    apply(10, true);
    apply(40, false);
    m_fixture->controller.applyImport();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(!progress->isVisible());
    m_peer->release();
    QTRY_VERIFY(progress->isVisible());
    QCOMPARE(progress->property("position").toDouble(), 0.25);
    QCOMPARE(text("status"), u"Import: importing · 10 / 40"_s);
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_VERIFY(!progress->isVisible());
}

void WindowAccountTest::reportDurationsStandInColumns() {
    m_fixture->show(WindowFixture::document());
    const auto row = [](const char* name, int seconds) {
        return QJsonObject{
            {u"labels"_s, QJsonArray{QString::fromLatin1(name)}},
            {u"totals"_s,
             QJsonObject{{u"raw_duration_seconds"_s, seconds}, {u"rounded_duration_seconds"_s, seconds}}},
        };
    };
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/reports/summary/query"_s,
                       PeerReply::json({{u"snapshot_id"_s, u"r1"_s},
                                        {u"rows"_s, QJsonArray{row("Long", 360'000), row("Short", 60)}}}));
    m_fixture->openTab(1);
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    const auto rightEdges = [this] {
        QList<qreal> edges;
        for (const QQuickItem* const label : WindowFixture::textItems(item("reportList"))) {
            const QString shown = label->property("text").toString();
            if (shown == u"100:00:00" || shown == u"00:01:00") {
                edges.append(label->mapToScene({label->width(), 0}).x());
            }
        }
        return edges;
    };
    QTRY_COMPARE(rightEdges().size(), 4);
    m_fixture->layOut();
    const QList<qreal> edges = rightEdges();
    QCOMPARE(edges[0], edges[2]);
    QCOMPARE(edges[1], edges[3]);
    QVERIFY(edges[0] != edges[1]);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowAccountTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "account.moc"
