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
    void enterSignsInOnlyWhenTheButtonWould();
    void theSentPasswordCannotBeBroughtBack();
    void whatOneAccountTypedIsGoneForTheNext();
    void namelessAccountsLeaveNothingEither();
    void theFirstIdentityTakesNothingAway();
    void aSignInLeavesWhatWasTyped();
    void aRenamedAccountLeavesWhatWasTyped();
    void theSameIdOfAnotherServerIsAnotherAccount();
    void aPasswordIsForgottenWithItsServer();
    void anUnreadableRecordIsNotCalledAQueue();
    void theTimeOfAnotherAccountIsNotShown();
    void nothingOfOneAccountIsOnTheScreenOfTheNext();
    void anImportShowsHowFarItIs();
    void reportDurationsStandInColumns();
};

void WindowAccountTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_peer->answer("POST", QStringLiteral("/v1/auth/login"),
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
    for (const char letter : QByteArray("secret"))
        QTest::keyClick(m_fixture->window, letter);
    QCOMPARE(text("password"), QStringLiteral("secret"));
}

void WindowAccountTest::enterInThePasswordFieldSignsIn() {
    typePassword();
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QCOMPARE(text("password"), QString());
    QVERIFY(m_fixture->controller.busy());
    QTRY_COMPARE(m_peer->held(), 1);
    const QJsonObject body = m_peer->requests("POST", QStringLiteral("/v1/auth/login")).constFirst().json();
    QCOMPARE(body.value(u"password").toString(), QStringLiteral("secret"));
}

void WindowAccountTest::enterSignsInOnlyWhenTheButtonWould() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(QStringLiteral("e1"))},
        {WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("waits for the server"))}));
    typePassword();
    QVERIFY(!item("signIn")->isEnabled());
    const QString message = m_fixture->controller.message();
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QCOMPARE(text("password"), QStringLiteral("secret"));
    QCOMPARE(m_fixture->controller.message(), message);
    QVERIFY(!m_fixture->controller.busy());
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
    for (const char* const field : fields)
        set(field, "mine alone");
    QObject* const dialog = m_fixture->object(QStringLiteral("manualDialog"));
    QMetaObject::invokeMethod(dialog, "open");
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(item("entriesAreMine")->setProperty("checked", true));
    QVERIFY(item("billable")->setProperty("checked", true));

    QJsonObject next = WindowFixture::document();
    next.insert(u"me", QJsonObject{{QStringLiteral("id"), QStringLiteral("u2")},
                                   {QStringLiteral("email"), QStringLiteral("omer@example.com")}});
    m_fixture->show(next);
    for (const char* const field : fields)
        QVERIFY2(text(field) != QStringLiteral("mine alone"), field);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QVERIFY(!item("entriesAreMine")->property("checked").toBool());
    QVERIFY(!item("billable")->property("checked").toBool());
}

void WindowAccountTest::theFirstIdentityTakesNothingAway() {
    QVERIFY(m_fixture->controller.accountName().isEmpty());
    set("description", "typed before the server answered");
    m_fixture->show(WindowFixture::document());
    QVERIFY(!m_fixture->controller.accountName().isEmpty());
    QCOMPARE(text("description"), QStringLiteral("typed before the server answered"));
}

void WindowAccountTest::namelessAccountsLeaveNothingEither() {
    QJsonObject nameless = WindowFixture::document();
    nameless.insert(u"me", QJsonObject{{QStringLiteral("id"), QStringLiteral("u1")}});
    nameless.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")}});
    m_fixture->show(nameless);
    set("description", "mine alone");
    m_fixture->show({{QStringLiteral("signed_out"), true}});
    QCOMPARE(text("description"), QString());
}

void WindowAccountTest::aSignInLeavesWhatWasTyped() {
    m_fixture->show(WindowFixture::document());
    set("description", "half a thought");
    QJsonObject signedIn = WindowFixture::document();
    signedIn.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")}});
    signedIn.insert(u"me", QJsonObject{{QStringLiteral("id"), QStringLiteral("u1")}});
    m_fixture->show(signedIn);
    QCOMPARE(text("description"), QStringLiteral("half a thought"));

    m_fixture->show({{QStringLiteral("signed_out"), true}});
    QCOMPARE(text("description"), QString());
    set("description", "begun while signed out");
    m_fixture->show(signedIn);
    QCOMPARE(text("description"), QStringLiteral("begun while signed out"));
}

void WindowAccountTest::aRenamedAccountLeavesWhatWasTyped() {
    m_fixture->show(WindowFixture::document());
    set("description", "half a thought");
    QJsonObject renamed = WindowFixture::document();
    renamed.insert(u"me", QJsonObject{{QStringLiteral("id"), QStringLiteral("u1")},
                                      {QStringLiteral("email"), QStringLiteral("dana@example.org")}});
    m_fixture->show(renamed);
    QCOMPARE(m_fixture->controller.accountName(), QStringLiteral("dana@example.org"));
    QCOMPARE(text("description"), QStringLiteral("half a thought"));
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
    QCOMPARE(text("password"), QStringLiteral("secret"));
    m_fixture->unlock(deadServer());
    QCOMPARE(text("password"), QString());
}

void WindowAccountTest::anUnreadableRecordIsNotCalledAQueue() {
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text("storage"),
             QStringLiteral("Local queue encrypted; key stored in KWallet / OS credential storage."));
    m_fixture.reset();
    SqliteFile(vaultFile(m_peer->url()))
        .run(QStringLiteral("ALTER TABLE vault RENAME COLUMN payload TO another"));
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text("storage"), QStringLiteral("The local record could not be read; nothing is saved over it. "
                                             "Reads and reports are available."));
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(text("storage"), QStringLiteral("לא ניתן לקרוא את הרשומה המקומית; דבר לא יישמר במקומה. קריאה "
                                             "ודוחות זמינים."));
}

void WindowAccountTest::theTimeOfAnotherAccountIsNotShown() {
    QJsonObject document = WindowFixture::document();
    document.insert(u"timer",
                    QJsonObject{{QStringLiteral("id"), QStringLiteral("t1")},
                                {QStringLiteral("user_id"), QStringLiteral("u1")},
                                {QStringLiteral("workspace_id"), QStringLiteral("w1")},
                                {QStringLiteral("start_at"), QStringLiteral("2021-03-01T09:00:00Z")}});
    m_fixture->show(document);
    QVERIFY(text("elapsed") != QStringLiteral("00:00:00"));
    m_fixture->show({{QStringLiteral("signed_out"), true}});
    QCOMPARE(text("elapsed"), QStringLiteral("00:00:00"));
}

void WindowAccountTest::nothingOfOneAccountIsOnTheScreenOfTheNext() {
    QJsonObject entry = WindowFixture::entry(QStringLiteral("secret"));
    QJsonObject document = WindowFixture::document({entry});
    document.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")}});
    m_fixture->show(document);
    preview();
    m_peer->answerOnce(
        "POST", QStringLiteral("/v1/workspaces/w1/reports/summary/query"),
        PeerReply::json(
            {{QStringLiteral("snapshot_id"), QStringLiteral("r1")},
             {QStringLiteral("totals"), QJsonObject{{QStringLiteral("entry_count"), 77}}},
             {QStringLiteral("rows"),
              QJsonArray{QJsonObject{{QStringLiteral("labels"), QJsonArray{QStringLiteral("secret")}}}}}}));
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    QTRY_COMPARE(item("reportList")->property("count").toInt(), 1);
    QVERIFY(text("importPreview").contains(QStringLiteral("i1")));
    QVERIFY(text("reportTotals").contains(QStringLiteral("77")));

    QStringList seen;
    // Connected after the window's bindings, so it looks at what they have made of each change.
    connect(&m_fixture->controller, &Controller::changed, this, [&] {
        if (m_fixture->controller.accountSignedIn())
            return;
        for (const char* const list : {"reportList", "entryList"})
            seen.append(QString::number(item(list)->property("count").toInt()));
        seen.append(text("importPreview"));
        QVERIFY(!text("reportTotals").contains(QStringLiteral("77")));
    });
    m_peer->answer("POST", QStringLiteral("/v1/auth/logout"), PeerReply::json({}));
    m_fixture->controller.logoutAccount();
    QTRY_COMPARE(m_fixture->controller.message(),
                 QStringLiteral("Signed out. No private developer fallback was opened automatically."));
    QVERIFY(!seen.isEmpty());
    seen.removeDuplicates();
    QCOMPARE(seen, (QStringList{QStringLiteral("0"), QStringLiteral("{}")}));
}

void WindowAccountTest::preview() {
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("entries.csv")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("a,b\n") == 4 && file.flush());
    m_peer->answerOnce("POST", QStringLiteral("/v1/workspaces/w1/imports/csv/preview"),
                       PeerReply::json({{QStringLiteral("id"), QStringLiteral("i1")},
                                        {QStringLiteral("checkpoint"), 0},
                                        {QStringLiteral("total"), 40},
                                        {QStringLiteral("has_more"), true}},
                                       201));
    m_dialogs->choose(file.fileName());
    m_fixture->controller.previewCsv(QStringLiteral("source"), QStringLiteral("UTC"), true);
    m_dialogs->cancel();
    QTRY_COMPARE(m_fixture->controller.message(),
                 QStringLiteral("Preview only: no time entries have been written"));
}

void WindowAccountTest::apply(int checkpoint, bool more) {
    m_peer->answerOnce("POST", QStringLiteral("/v1/imports/i1/apply"),
                       PeerReply::json({{QStringLiteral("id"), QStringLiteral("i1")},
                                        {QStringLiteral("state"), QStringLiteral("importing")},
                                        {QStringLiteral("checkpoint"), checkpoint},
                                        {QStringLiteral("total"), 40},
                                        {QStringLiteral("has_more"), more}})
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
    QCOMPARE(text("status"), QStringLiteral("Import: importing · 10 / 40"));
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_VERIFY(!progress->isVisible());
}

void WindowAccountTest::reportDurationsStandInColumns() {
    m_fixture->show(WindowFixture::document());
    const auto row = [](const char* name, int seconds) {
        return QJsonObject{
            {QStringLiteral("labels"), QJsonArray{QString::fromLatin1(name)}},
            {QStringLiteral("totals"), QJsonObject{{QStringLiteral("raw_duration_seconds"), seconds},
                                                   {QStringLiteral("rounded_duration_seconds"), seconds}}},
        };
    };
    m_peer->answerOnce(
        "POST", QStringLiteral("/v1/workspaces/w1/reports/summary/query"),
        PeerReply::json({{QStringLiteral("snapshot_id"), QStringLiteral("r1")},
                         {QStringLiteral("rows"), QJsonArray{row("Long", 360'000), row("Short", 60)}}}));
    m_fixture->openTab(1);
    QMetaObject::invokeMethod(item("generateReport"), "clicked");
    const auto rightEdges = [this] {
        QList<qreal> edges;
        for (const QQuickItem* const label : WindowFixture::textItems(item("reportList"))) {
            const QString shown = label->property("text").toString();
            if (shown == u"100:00:00" || shown == u"00:01:00")
                edges.append(label->mapToScene({label->width(), 0}).x());
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
