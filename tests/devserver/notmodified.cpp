// SPDX-License-Identifier: MIT
#include "tests/devserver/importfixture.h"
#include "tests/devserver/webvisitor.h"

#include <QJsonArray>
#include <QTest>

/// A snapshot that a client has already is not sent again, and never withheld when it changed.
class TestDevserverNotModified : public ImportFixture {
    Q_OBJECT

    Reply snapshot(const std::string& tag = {});
    /// The tag before, if it does not hold any more.
    [[nodiscard]] bool isOutdated(const std::string& tag);
    [[nodiscard]] Reply push(const QString& operation, const QString& entity, int version,
                             const QJsonObject& payload = {});

private Q_SLOTS:
    void whatHoldsStillIsNotSentAgain();
    void everyChangeOfAnEntryOutdatesTheTag();
    void aRefusedChangeLeavesTheTagAsItIs();
    void theStepsOfAPeriodOutdateTheTag();
    void anImportOutdatesTheTag();
    void anotherWorkspacesChangesLeaveTheTagAsItIs();
    void whoIsNoMemberLearnsNothing();
    void aServerThatIsStartedAnewKnowsNoOldTag();
};

Reply TestDevserverNotModified::snapshot(const std::string& tag) {
    httplib::Headers headers;
    if (!tag.empty()) {
        headers.emplace("If-None-Match", tag);
    }
    return m_client->get("/v1/sync/snapshot?workspace_id=" + m_world.workspace.toStdString(), headers);
}

bool TestDevserverNotModified::isOutdated(const std::string& tag) {
    const Reply reply = snapshot(tag);
    return reply.status == 200 && !reply.tag.empty() && reply.tag != tag;
}

Reply TestDevserverNotModified::push(const QString& operation, const QString& entity, int version,
                                     const QJsonObject& payload) {
    return m_client->push(mutation(m_world.workspace, operation, entity, version, payload));
}

void TestDevserverNotModified::whatHoldsStillIsNotSentAgain() {
    const Reply first = snapshot();
    QCOMPARE(first.status, 200);
    QVERIFY(!first.tag.empty());
    const Reply again = snapshot(first.tag);
    QCOMPARE(again.status, 304);
    QCOMPARE(again.text, std::string());
    QCOMPARE(again.tag, first.tag);
    QCOMPARE(snapshot("\"something else\"").status, 200);
}

void TestDevserverNotModified::everyChangeOfAnEntryOutdatesTheTag() {
    const QString entry = World::newId();
    std::string tag = snapshot().tag;
    const auto outdates = [&](const Reply& pushed) {
        const bool accepted = pushed.result().value(u"status") == u"accepted"_s;
        const bool outdated = isOutdated(tag);
        tag = snapshot().tag;
        return accepted && outdated;
    };
    QVERIFY(outdates(push(u"timer.start"_s, entry, 0, started(u"2026-03-02T10:00:00Z"_s))));
    QVERIFY(outdates(push(u"timer.stop"_s, entry, 1, {{u"stop_at"_s, u"2026-03-02T11:00:00Z"_s}})));
    QVERIFY(outdates(push(u"entry.update"_s, entry, 2, {{u"description"_s, u"other"_s}})));
    QVERIFY(outdates(push(u"entry.delete"_s, entry, 3)));
    QVERIFY(outdates(push(u"entry.restore"_s, entry, 4)));
    QVERIFY(outdates(push(u"entry.create"_s, World::newId(), 0,
                          closed(u"2026-03-03T10:00:00Z"_s, u"2026-03-03T11:00:00Z"_s))));
}

void TestDevserverNotModified::aRefusedChangeLeavesTheTagAsItIs() {
    const std::string tag = snapshot().tag;
    const Reply reply = push(u"entry.delete"_s, World::newId(), 1);
    QCOMPARE(reply.result().value(u"status").toString(), u"rejected"_s);
    QCOMPARE(snapshot(tag).status, 304);
}

void TestDevserverNotModified::theStepsOfAPeriodOutdateTheTag() {
    WebVisitor page(m_server);
    QCOMPARE(page.load().status, 200);
    std::string tag = snapshot().tag;
    const Reply added =
        page.post("/web/periods", {{u"workspace_id"_s, m_world.workspace}, {u"date"_s, u"2027-02-03"_s}});
    QVERIFY2(added.status < 300, added.text.c_str());
    QVERIFY(isOutdated(tag));
    tag = snapshot().tag;
    const QString period =
        m_database.value(u"SELECT id FROM timesheet_periods WHERE from_date > '2027'"_s).toString();
    const Reply submitted =
        page.post("/web/periods/" + period.toStdString() + "/submit", {{u"version"_s, 1}});
    QCOMPARE(submitted.status, 200);
    QVERIFY(isOutdated(tag));
}

void TestDevserverNotModified::anImportOutdatesTheTag() {
    const std::string tag = snapshot().tag;
    const Reply previewed = preview(records(3));
    QCOMPARE(snapshot(tag).status, 304); // nothing is written yet
    QCOMPARE(progressOf(applyAll(previewed)), u"completed 3/3"_s);
    QVERIFY(isOutdated(tag));
}

void TestDevserverNotModified::anotherWorkspacesChangesLeaveTheTagAsItIs() {
    const std::string tag = snapshot().tag;
    const Reply reply =
        m_client->push(mutation(m_world.secondWorkspace, u"entry.create"_s, World::newId(), 0,
                                closed(u"2026-03-03T10:00:00Z"_s, u"2026-03-03T11:00:00Z"_s)));
    QCOMPARE(reply.result().value(u"status").toString(), u"accepted"_s);
    QCOMPARE(snapshot(tag).status, 304);
}

void TestDevserverNotModified::whoIsNoMemberLearnsNothing() {
    const std::string path = "/v1/sync/snapshot?workspace_id=" + m_world.foreignWorkspace.toStdString();
    const Reply theirs = m_other->get(path);
    QCOMPARE(theirs.status, 200);
    QCOMPARE(m_client->get(path, {{"If-None-Match", theirs.tag}}).status, 404);
}

void TestDevserverNotModified::aServerThatIsStartedAnewKnowsNoOldTag() {
    const std::string tag = snapshot().tag;
    QVERIFY(m_server.terminate());
    QVERIFY(m_server.start(m_database));
    m_client = std::make_unique<TestClient>(m_server.port());
    QVERIFY(isOutdated(tag));
}

QTEST_GUILESS_MAIN(TestDevserverNotModified)
#include "notmodified.moc"
