// SPDX-License-Identifier: MIT
#include "tests/controller/reader.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr auto mePath = "/v1/me";

/// What of an account is there to see, by the names of the properties.
QStringList visible(const Controller& controller) {
    QStringList found;
    for (const char* const name : {"entries", "reportRows", "projects", "workspaces", "periods"}) {
        if (!controller.property(name).toList().isEmpty()) {
            found.append(QString::fromLatin1(name));
        }
    }
    for (const char* const name : {"timer", "reportTotals", "importPreview"}) {
        if (!controller.property(name).toMap().isEmpty()) {
            found.append(QString::fromLatin1(name));
        }
    }
    return found;
}

QJsonObject workOfOneAccount() {
    QJsonObject snapshot = sample::oneEntry();
    snapshot.insert(u"catalog"_s, QJsonObject{{u"projects"_s, QJsonArray{QJsonObject{{u"id"_s, u"p1"_s}}}}});
    return snapshot;
}

} // namespace

/// When the server or the person behind it changes without a sign-in, nothing
/// of the former one may be seen under the new one's name.
class IdentityChangeTest : public QObject {
    Q_OBJECT

    void loadEverything(Reader& reader);

private Q_SLOTS:
    void init() { startClean(); }

    void anotherIdentityShowsNothingOfTheFormer();
    void theSameIdentityKeepsItsReport();
    void anotherServerShowsNothingOfTheFormer();
    void anExportWhoseDialogOutlastsTheAccountIsNotSent();
};

void IdentityChangeTest::loadEverything(Reader& reader) {
    QVERIFY(reader.connectAndSettle());
    reader.peer.answer("GET", u"/v1/sync/snapshot"_s, PeerReply::json(workOfOneAccount()));
    reader.peer.answer(
        "GET", u"/v1/me/timer"_s,
        PeerReply::json({{u"timer"_s, sample::entry(u"t1"_s, u"2026-03-01T09:00:00Z"_s, QJsonValue())}}));
    reader.controller.refresh();
    QVERIFY(waitForSilence(reader.controller));
    QVERIFY(reader.loadReport());
    QVERIFY(!reader.controller.property("entries").toList().isEmpty());
    QVERIFY(!reader.controller.property("timer").toMap().isEmpty());
    QVERIFY(!reader.controller.property("reportRows").toList().isEmpty());
}

void IdentityChangeTest::anotherIdentityShowsNothingOfTheFormer() {
    Reader reader;
    loadEverything(reader);
    reader.peer.answer("GET", QString::fromLatin1(mePath),
                       PeerReply::json({{u"id"_s, u"user-2"_s}, {u"email"_s, u"omer@example.com"_s}}));
    reader.peer.answer("GET", u"/v1/workspaces"_s,
                       PeerReply::json({}, 500).delivered(PeerReply::Delivery::Hold));
    QStringList seen;
    connect(&reader.controller, &Controller::changed, this, [&] {
        if (reader.controller.accountName() == u"omer@example.com") {
            seen += visible(reader.controller);
        }
    });
    QString told;
    connect(&reader.controller, &Controller::changed, this, [&] { told = reader.controller.accountName(); });
    const QSignalSpy left(&reader.controller, &Controller::accountLeft);
    reader.controller.fetchIdentity();
    QTRY_COMPARE(reader.peer.held(), 1);
    QCOMPARE(reader.controller.accountName(), u"omer@example.com"_s);
    QCOMPARE(visible(reader.controller), QStringList());
    QCOMPARE(told, u"omer@example.com"_s); // and not only when the workspaces are known
    QCOMPARE(left.size(), 1);
    reader.peer.release();
    QTRY_COMPARE(reader.controller.message(), u"Unable to list workspaces for this account"_s);
    QCOMPARE(seen, QStringList());
}

void IdentityChangeTest::theSameIdentityKeepsItsReport() {
    Reader reader;
    loadEverything(reader);
    const QStringList before = visible(reader.controller);
    reader.controller.fetchIdentity();
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(visible(reader.controller), before);
}

void IdentityChangeTest::anotherServerShowsNothingOfTheFormer() {
    Reader reader;
    loadEverything(reader);
    ScriptedPeer other;
    other.answer("GET", QString::fromLatin1(mePath),
                 PeerReply::json({}, 500).delivered(PeerReply::Delivery::Hold));
    QStringList seen;
    connect(&reader.controller, &Controller::changed, this, [&] {
        if (reader.controller.server() == other.url()) {
            seen += visible(reader.controller);
        }
    });
    reader.controller.connectServer(other.url());
    QTRY_COMPARE(other.held(), 1);
    QCOMPARE(reader.controller.accountName(), QString());
    QCOMPARE(seen, QStringList());
    QCOMPARE(visible(reader.controller), QStringList());
}

void IdentityChangeTest::anExportWhoseDialogOutlastsTheAccountIsNotSent() {
    Reader reader;
    loadEverything(reader);
    reader.dialogs.afterChoosing([&] { reader.controller.connectServer(reader.peer.url()); });
    reader.controller.downloadReport(u"csv"_s);
    QCOMPARE(reader.controller.message(), u"Export failed"_s);
    QVERIFY(waitForSilence(reader.controller));
    QCOMPARE(reader.peer.requests("GET", Reader::exportPath()).size(), 0);
    QCOMPARE(reader.files(), QStringList());
}

QTEST_MAIN(IdentityChangeTest)

#include "identitychange.moc"
