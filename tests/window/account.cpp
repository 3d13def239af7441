// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"
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
    void theFirstIdentityTakesNothingAway();
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
    const QList<const char*> fields{"description", "email",    "password",
                                    "manualFrom",  "manualTo", "manualDescription"};
    for (const char* const field : fields)
        set(field, "mine alone");
    QVERIFY(item("entriesAreMine")->setProperty("checked", true));
    QVERIFY(item("billable")->setProperty("checked", true));

    QJsonObject next = WindowFixture::document();
    next.insert(u"me", QJsonObject{{QStringLiteral("id"), QStringLiteral("u2")},
                                   {QStringLiteral("email"), QStringLiteral("omer@example.com")}});
    m_fixture->show(next);
    for (const char* const field : fields)
        QVERIFY2(text(field).isEmpty(), field);
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
