// SPDX-License-Identifier: MIT
#include "state/sharing.h"
#include "tests/controller/largesnapshot.h"
#include "tests/support/client.h"
#include "tests/support/desk.h"

#include <QJsonDocument>
#include <QTest>

#include <algorithm>

namespace {

const QString snapshotPath = u"/v1/sync/snapshot"_s;
const QString unavailable = u"Server unavailable. Encrypted cached data retained."_s;

PeerReply tagged(const QJsonObject& snapshot, const QByteArray& tag) {
    return PeerReply::json(snapshot).with("ETag", tag);
}

} // namespace

/// What the server still has as it was is not fetched again.
class NotModifiedTest : public QObject {
    Q_OBJECT

    /// The tags that the snapshot requests named since forgetRequests(); empty for none.
    [[nodiscard]] QList<QByteArray> named() const;
    [[nodiscard]] bool reload();
    [[nodiscard]] bool lists(const QString& description) const;

    std::unique_ptr<Desk> m_desk;

private Q_SLOTS:
    void init();
    void cleanup() { m_desk.reset(); }

    void aSnapshotThatStillHoldsIsNamedAndKept();
    void aSnapshotThatChangedTakesItsPlace();
    void aSnapshotThatChangedALittleIsNotHeldTwice();
    void anotherWorkspaceNamesNoTagOfThisOne();
    void anotherConnectionNamesNoTag();
    void anUnaskedNotModifiedIsNoReply();
    void theTagOfAnErrorIsNotKept();
    void withoutATagTheWholeIsAskedFor();
};

void NotModifiedTest::init() {
    startClean();
    m_desk = std::make_unique<Desk>(largeSnapshot(u"work"_s));
    m_desk->peer.answer("GET", snapshotPath, tagged(largeSnapshot(u"work"_s), "\"a\""));
    QVERIFY(m_desk->load());
    QVERIFY(waitForSilence(*m_desk->controller));
    m_desk->peer.forgetRequests();
}

QList<QByteArray> NotModifiedTest::named() const {
    QList<QByteArray> tags;
    for (const PeerRequest& request : m_desk->peer.requests("GET", snapshotPath)) {
        tags.append(request.headers.value("if-none-match"));
    }
    return tags;
}

bool NotModifiedTest::reload() {
    m_desk->controller->refresh();
    return waitForSilence(*m_desk->controller) && !m_desk->controller->busy();
}

bool NotModifiedTest::lists(const QString& description) const {
    return !listedEntry(*m_desk->controller, u"description"_s, description).isEmpty();
}

void NotModifiedTest::aSnapshotThatStillHoldsIsNamedAndKept() {
    m_desk->peer.answer("GET", snapshotPath, PeerReply::text({}, 304));
    for (int i = 0; i < 2; ++i) {
        QVERIFY(reload());
        QCOMPARE(m_desk->controller->message(), u"Connected to PostgreSQL"_s);
        QVERIFY(lists(u"work 399"_s));
    }
    QCOMPARE(named(), QList<QByteArray>({"\"a\"", "\"a\""}));
}

void NotModifiedTest::aSnapshotThatChangedTakesItsPlace() {
    m_desk->peer.answer("GET", snapshotPath, tagged(largeSnapshot(u"rest"_s), "\"b\""));
    QVERIFY(reload());
    QVERIFY(lists(u"rest 0"_s));
    QVERIFY(!lists(u"work 0"_s));
    QVERIFY(reload());
    QCOMPARE(named(), QList<QByteArray>({"\"a\"", "\"b\""}));
}

void NotModifiedTest::aSnapshotThatChangedALittleIsNotHeldTwice() {
    const ProjectedEntries before = m_desk->controller->entryRows();
    QJsonObject snapshot = largeSnapshot(u"work"_s);
    QJsonArray entries = snapshot.value(u"time_entries").toArray();
    QJsonObject changed = entries.at(7).toObject();
    changed.insert(u"description", u"rest"_s);
    entries.replace(7, changed);
    entries.prepend(sample::entry(u"new"_s, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s));
    snapshot.insert(u"time_entries", entries);
    m_desk->peer.answer("GET", snapshotPath, tagged(snapshot, "\"b\""));
    QVERIFY(reload());

    const ProjectedEntries after = m_desk->controller->entryRows();
    QCOMPARE(after.size(), before.size() + 1);
    const auto isShared = [&](const ProjectedEntry& row) {
        return std::any_of(before.begin(), before.end(),
                           [&](const ProjectedEntry& known) { return sharesData(known.entry, row.entry); });
    };
    QCOMPARE(std::count_if(after.begin(), after.end(), isShared), before.size() - 1);
    // What is sealed is the reply, of the same data.
    const QJsonObject held = m_desk->controller->durableState().value(u"snapshot").toObject();
    QCOMPARE(QJsonDocument(held).toJson(), QJsonDocument(snapshot).toJson());
    QVERIFY(isShared({held.value(u"time_entries")[1].toObject()}));
}

void NotModifiedTest::anotherWorkspaceNamesNoTagOfThisOne() {
    m_desk->controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(waitForSilence(*m_desk->controller));
    QCOMPARE(named(), QList<QByteArray>({QByteArray()}));
}

void NotModifiedTest::anotherConnectionNamesNoTag() {
    QVERIFY(connectAndLoad(*m_desk->controller, m_desk->peer.url()));
    QCOMPARE(named(), QList<QByteArray>({QByteArray()}));
}

void NotModifiedTest::anUnaskedNotModifiedIsNoReply() {
    m_desk->controller->selectWorkspace(u"ws-2"_s);
    QVERIFY(waitForSilence(*m_desk->controller));
    m_desk->peer.answer("GET", snapshotPath, PeerReply::text({}, 304));
    m_desk->controller->connectServer(m_desk->peer.url());
    QTRY_COMPARE(m_desk->controller->message(), unavailable);
    QVERIFY(reload());
    QCOMPARE(m_desk->controller->message(), unavailable);
}

void NotModifiedTest::theTagOfAnErrorIsNotKept() {
    m_desk->peer.answer("GET", snapshotPath,
                        PeerReply::json(largeSnapshot(u"wrong"_s), 500).with("ETag", "\"a\""));
    QVERIFY(reload());
    m_desk->peer.answer("GET", snapshotPath, PeerReply::text({}, 304));
    QVERIFY(reload());
    QCOMPARE(m_desk->controller->message(), u"Connected to PostgreSQL"_s);
    QVERIFY(lists(u"work 0"_s));
    QVERIFY(!lists(u"wrong 0"_s));
}

void NotModifiedTest::withoutATagTheWholeIsAskedFor() {
    m_desk->peer.answer("GET", snapshotPath, PeerReply::json(largeSnapshot(u"rest"_s)));
    QVERIFY(reload());
    QVERIFY(reload());
    QCOMPARE(named(), QList<QByteArray>({"\"a\"", QByteArray()}));
    QVERIFY(lists(u"rest 0"_s));
}

QTEST_GUILESS_MAIN(NotModifiedTest)
#include "notmodified.moc"
