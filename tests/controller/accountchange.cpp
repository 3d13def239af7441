// SPDX-License-Identifier: MIT
#include "tests/controller/accountserver.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaProperty>
#include <QTemporaryFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// The properties that show something of Dana's, and the document if it holds it.
QStringList tracesOfDana(const Controller& controller) {
    QStringList traces;
    const QMetaObject* const type = controller.metaObject();
    for (int i = 0; i < type->propertyCount(); ++i) {
        const QVariant value = type->property(i).read(&controller);
        const QByteArray shown = value.toString().toUtf8() + QJsonDocument::fromVariant(value).toJson();
        if (shown.contains("Dana") || shown.contains("dana")) {
            traces.append(QString::fromLatin1(type->property(i).name()));
        }
    }
    const QByteArray document = QJsonDocument(controller.durableState()).toJson();
    if (document.contains("Dana") || document.contains("dana")) {
        traces.append(u"the document"_s);
    }
    return traces;
}

} // namespace

/// One account after another on the real server, seen through a peer that holds
/// back what should be late.
class AccountChangeTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<AccountServer> m_desk;

    [[nodiscard]] Controller& controller() const { return *m_desk->controller; }
    /// Leaves something of Dana's in everything that the client shows.
    void workAsDana();
    /// Sends the request that `action` makes, keeps its answer back and clears `busy`.
    template <typename Action>
    void leaveUnderWay(const char* method, const QString& path, Action action);

private Q_SLOTS:
    void init();
    void cleanup();
    void nothingOfTheFormerAccountIsShownToTheNext();
    void eachAccountFindsItsOwnWorkAgain();
    void repliesOfTheFormerAccountAreDropped();
    void tokenOfASessionThatCannotBeStoredIsDead();
};

void AccountChangeTest::init() {
    startClean();
    m_peer = std::make_unique<ScriptedPeer>();
    m_desk = std::make_unique<AccountServer>();
    QVERIFY(m_desk->serve());
    m_peer->forwardTo(m_desk->server.url());
    QVERIFY(m_desk->connectClient(m_peer->url()));
}

void AccountChangeTest::cleanup() {
    m_desk.reset();
    m_peer.reset();
}

void AccountChangeTest::workAsDana() {
    QVERIFY(m_desk->signIn(AccountServer::dana()));
    QVERIFY(m_desk->record(u"Dana's work"_s));
    controller().start(u"Dana's timer"_s, {}, false);
    QTRY_COMPARE(controller().pending(), 0);
    QVERIFY(waitForSilence(controller()));
    const QString workspace = u"/v1/workspaces/"_s + controller().workspace();
    m_peer->answer(
        "POST", workspace + u"/reports/summary/query"_s,
        PeerReply::json({{u"rows"_s, QJsonArray{QJsonObject{{u"labels"_s, QJsonArray{u"Dana's row"_s}}}}},
                         {u"totals"_s, QJsonObject{{u"name"_s, u"Dana's total"_s}}},
                         {u"snapshot_id"_s, u"dana-1"_s}}));
    m_peer->answer("POST", workspace + u"/imports/csv/preview"_s,
                   PeerReply::json({{u"id"_s, u"import-1"_s}, {u"checksum"_s, u"Dana's file"_s}}, 201));
    controller().queryReport(u"summary"_s, {}, {}, {}, {});
    QTRY_VERIFY(!controller().reportRows().isEmpty());
    QTemporaryFile csv;
    QVERIFY(csv.open());
    FileDialogs dialogs;
    dialogs.choose(csv.fileName());
    controller().previewCsv(u"source"_s, u"UTC"_s, true);
    QTRY_VERIFY(!controller().importPreview().isEmpty());
    QVERIFY(waitForSilence(controller()));
    const QStringList traces = tracesOfDana(controller());
    for (const char* shown : {"accountName", "entries", "importPreview", "projects", "reportRows",
                              "reportTotals", "timer", "workspaces"}) {
        QVERIFY2(traces.contains(QString::fromLatin1(shown)), shown);
    }
}

template <typename Action>
void AccountChangeTest::leaveUnderWay(const char* method, const QString& path, Action action) {
    const qsizetype held = m_peer->held();
    m_peer->answerOnce(method, path, PeerReply::forward(PeerReply::Delivery::Hold));
    action();
    QTRY_COMPARE(m_peer->held(), held + 1);
    controller().previewCsv({}, {}, false); // fails, and as any failure clears `busy`
    QVERIFY(!controller().busy());
}

void AccountChangeTest::nothingOfTheFormerAccountIsShownToTheNext() {
    workAsDana();
    QVERIFY(m_desk->signOut());
    QCOMPARE(tracesOfDana(controller()), QStringList());

    // Not at any moment that the window could paint.
    QStringList seen;
    const auto watch = [this, &seen] { seen += tracesOfDana(controller()); };
    connect(&controller(), &Controller::changed, this, watch);
    connect(&controller(), &Controller::tick, this, watch);
    QVERIFY(m_desk->signIn(AccountServer::eli()));
    QCOMPARE(controller().accountName(), AccountServer::eli());
    QCOMPARE(controller().projects().size(), 1);
    QVERIFY(controller().entries().isEmpty());
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().elapsed(), u"00:00:00"_s);
    QVERIFY(m_desk->record(u"Eli's work"_s));
    QCOMPARE(m_desk->ownerOf(u"Eli's work"_s), AccountServer::eli());
    QCOMPARE(seen, QStringList());

    m_desk->restartClient();
    QVERIFY(connectAndLoad(controller(), m_desk->url()));
    QCOMPARE(tracesOfDana(controller()), QStringList());
}

void AccountChangeTest::eachAccountFindsItsOwnWorkAgain() {
    workAsDana();
    QVERIFY(m_desk->signOut());
    QVERIFY(m_desk->signIn(AccountServer::eli()));
    QVERIFY(m_desk->record(u"Eli's work"_s));
    QVERIFY(m_desk->signOut());
    QVERIFY(m_desk->signIn(AccountServer::dana()));
    QCOMPARE(controller().entries().size(), 1);
    QCOMPARE(controller().timer().value(u"description"_s), u"Dana's timer"_s);
    QVERIFY(controller().reportRows().isEmpty() && controller().importPreview().isEmpty());
    QCOMPARE(m_desk->sessions(), 3);
    QCOMPARE(m_desk->openSessions(), 1);
}

void AccountChangeTest::repliesOfTheFormerAccountAreDropped() {
    workAsDana();
    const QString workspace = u"/v1/workspaces/"_s + controller().workspace();
    leaveUnderWay("GET", u"/v1/sync/snapshot"_s, [this] { controller().refresh(); });
    leaveUnderWay("GET", u"/v1/me/timer"_s, [this] { controller().refresh(); });
    leaveUnderWay("GET", u"/v1/workspaces"_s, [this] { controller().fetchIdentity(); });
    leaveUnderWay("GET", u"/v1/me"_s, [this] { controller().fetchIdentity(); });
    QVERIFY(m_desk->signOut());
    QVERIFY(m_desk->signIn(AccountServer::eli()));
    const QJsonObject document = controller().durableState();
    const QString message = controller().message();
    const QByteArray stored = sealedRecord(m_desk->url());
    m_peer->forgetRequests();

    QCOMPARE(m_peer->held(), 4);
    m_peer->release();
    QVERIFY(waitForSilence(controller()));
    QCOMPARE(tracesOfDana(controller()), QStringList());
    QCOMPARE(controller().durableState(), document);
    QCOMPARE(controller().message(), message);
    QCOMPARE(sealedRecord(m_desk->url()), stored);
    QCOMPARE(m_peer->log(), QStringList());
}

void AccountChangeTest::tokenOfASessionThatCannotBeStoredIsDead() {
    m_peer->forgetRequests();
    const SaveBlocker blocker(m_desk->url());
    controller().loginAccount(AccountServer::dana(), AccountServer::password());
    QTRY_COMPARE(controller().message(),
                 u"The new session could not be saved securely; previous account retained"_s);
    QVERIFY(waitForSilence(controller()));
    QCOMPARE(m_peer->log(), (QStringList{u"POST /v1/auth/login"_s, u"POST /v1/auth/logout"_s}));
    const QByteArray bearer = m_peer->requests().last().headers.value("authorization");
    const QString token = QString::fromLatin1(bearer).section(u' ', 1);
    QCOMPARE(token.size(), 43);
    QCOMPARE(m_desk->server.request("GET", u"/me"_s, {}, {}, token).status, 401);
    QCOMPARE(m_desk->openSessions(), 0);
}

QTEST_MAIN(AccountChangeTest)
#include "accountchange.moc"
