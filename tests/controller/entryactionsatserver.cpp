// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString morning = u"2024-03-01T08:00:00Z"_s;
const QString noon = u"2024-03-01T12:00:00Z"_s;

} // namespace

/// Entries continued, edited, duplicated, deleted and restored, as the real server takes it.
class EntryActionsAtServerTest : public QObject {
    Q_OBJECT

    [[nodiscard]] bool isSettled() const;
    /// One entry on the server and in the client; its id.
    [[nodiscard]] QString addShared();
    [[nodiscard]] QJsonObject onServer(const QString& id) const;
    [[nodiscard]] bool sendWhatWaits();

    DevServer m_server;
    std::unique_ptr<Controller> m_controller;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void tenChangesMadeOfflineAreTakenInTheirOrder();
    void aTimerIsEditedContinuedAndUndoneOffline();
    void eachActionArrivesAlone();
    void aDuplicateKeepsWhatTheFirstOneSays();
};

void EntryActionsAtServerTest::initTestCase() {
    startClean();
    QVERIFY(m_server.start());
}

void EntryActionsAtServerTest::init() {
    startClean();
    m_controller = std::make_unique<Controller>();
    QVERIFY(connectAndLoad(*m_controller, m_server.url()));
    QTRY_VERIFY(isSettled());
}

void EntryActionsAtServerTest::cleanup() {
    m_controller.reset();
}

bool EntryActionsAtServerTest::isSettled() const {
    return m_controller->pending() == 0 && !m_controller->busy() && m_controller->message() == connected;
}

QString EntryActionsAtServerTest::addShared() {
    static int count = 0;
    const QString description = u"Shared %1"_s.arg(++count);
    m_controller->addManual(description, QString(), morning, noon, true);
    if (!QTest::qWaitFor([this] { return isSettled(); })) {
        return {};
    }
    return listedEntry(*m_controller, u"description"_s, description).value(u"id"_s).toString();
}

QJsonObject EntryActionsAtServerTest::onServer(const QString& id) const {
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        if (entry[u"id"].toString() == id) {
            return entry.toObject();
        }
    }
    return {};
}

bool EntryActionsAtServerTest::sendWhatWaits() {
    if (!m_server.start() || !QTest::qWaitFor([this] { return !m_controller->busy(); }, patienceMs)) {
        return false;
    }
    m_controller->synchronize();
    return QTest::qWaitFor([this] { return isSettled(); }, patienceMs);
}

void EntryActionsAtServerTest::tenChangesMadeOfflineAreTakenInTheirOrder() {
    const QString id = addShared();
    QVERIFY(!id.isEmpty());
    QVERIFY(m_server.stop());

    const auto edit = [&](const QVariantMap& changes) { m_controller->editEntry(id, changes); };
    const std::initializer_list<std::function<void()>> changes{
        [&] {
            edit({{u"description"_s, u"One"_s}});
        },
        [&] {
            edit({{u"billable"_s, false}});
        },
        [&] {
            edit({{u"start_at"_s, u"2024-03-01T10:30:00+02:00"_s}});
        },
        [&] {
            edit({{u"stop_at"_s, u"2024-03-01T11:00:00Z"_s}});
        },
        [&] { m_controller->deleteEntry(id); },
        [&] { m_controller->undoDelete(); },
        [&] { m_controller->editDescription(id, u"Seven"_s); },
        [&] {
            edit({{u"description"_s, u"Eight"_s}, {u"billable"_s, true}});
        },
        [&] {
            edit({{u"start_at"_s, morning}, {u"stop_at"_s, u"2024-03-01T09:00:00Z"_s}});
        },
        [&] {
            edit({{u"description"_s, u"עשר"_s}});
        },
    };
    int made = 0;
    for (const auto& change : changes) {
        QTRY_VERIFY(!m_controller->busy());
        change();
        QCOMPARE(m_controller->pending(), ++made);
    }
    const QVariantMap shown = listedEntry(*m_controller, u"id"_s, id);

    QVERIFY(sendWhatWaits());
    QVERIFY(m_controller->retained().isEmpty());
    const QJsonObject entry = onServer(id);
    QCOMPARE(entry.value(u"version").toInt(), 1 + made);
    QCOMPARE(entry.value(u"description").toString(), u"עשר"_s);
    QVERIFY(entry.value(u"billable").toBool());
    QCOMPARE(entry.value(u"start_at").toString(), morning);
    QCOMPARE(entry.value(u"duration_seconds").toInt(), 3600);
    QVERIFY(entry.value(u"deleted_at").isNull());
    QCOMPARE(entry.value(u"version").toInt(), shown.value(u"version"_s).toInt());
    QCOMPARE(shown.value(u"duration_text"_s).toString(), u"01:00:00"_s);
}

void EntryActionsAtServerTest::aTimerIsEditedContinuedAndUndoneOffline() {
    const QString id = addShared();
    const qsizetype before = m_server.entries().size();
    QVERIFY(m_server.stop());
    m_controller->start(u"First"_s, QString(), false);
    const QString first = m_controller->timer().value(u"id"_s).toString();
    m_controller->editEntry(
        first, {{u"description"_s, u"First, corrected"_s}, {u"start_at"_s, u"2024-03-02T08:00:00Z"_s}});
    m_controller->continueEntry(id);
    const QString second = m_controller->timer().value(u"id"_s).toString();
    QVERIFY(second != first);
    m_controller->deleteEntry(first);
    m_controller->undoDelete();
    m_controller->stop();
    QCOMPARE(m_controller->pending(), 7);

    QVERIFY(sendWhatWaits());
    QCOMPARE(m_server.entries().size(), before + 2);
    QCOMPARE(onServer(first).value(u"description").toString(), u"First, corrected"_s);
    QCOMPARE(onServer(first).value(u"start_at").toString(), u"2024-03-02T08:00:00Z"_s);
    QVERIFY(onServer(first).value(u"stop_at").isString());
    QVERIFY(onServer(first).value(u"deleted_at").isNull());
    QCOMPARE(onServer(second).value(u"description"), onServer(id).value(u"description"));
    QVERIFY(onServer(second).value(u"billable").toBool());
    QVERIFY(onServer(second).value(u"stop_at").isString());
}

void EntryActionsAtServerTest::eachActionArrivesAlone() {
    const QString id = addShared();
    m_controller->continueEntry(id);
    QTRY_VERIFY(isSettled());
    const QString timer = m_controller->timer().value(u"id"_s).toString();
    QVERIFY(onServer(timer).value(u"stop_at").isNull());
    m_controller->editEntry(timer, {{u"description"_s, u"Renamed while it runs"_s}});
    QTRY_VERIFY(isSettled());
    QCOMPARE(m_controller->timer().value(u"description"_s).toString(), u"Renamed while it runs"_s);
    m_controller->continueEntry(id);
    QTRY_VERIFY(isSettled());
    QVERIFY(onServer(timer).value(u"stop_at").isString());
    m_controller->stop();
    QTRY_VERIFY(isSettled());

    m_controller->deleteEntry(id);
    QTRY_VERIFY(isSettled());
    QVERIFY(onServer(id).value(u"deleted_at").isString());
    QVERIFY(m_controller->canUndoDelete());
    m_controller->undoDelete();
    QTRY_VERIFY(isSettled());
    QVERIFY(onServer(id).value(u"deleted_at").isNull());
    QVERIFY(!listedEntry(*m_controller, u"id"_s, id).isEmpty());
}

void EntryActionsAtServerTest::aDuplicateKeepsWhatTheFirstOneSays() {
    const QString id = addShared();
    const QString description = onServer(id).value(u"description").toString();
    m_controller->duplicateEntry(id);
    QTRY_VERIFY(isSettled());
    const QJsonArray both = m_server.entriesNamed(description);
    QCOMPARE(both.size(), 2);
    for (const auto& key :
         {u"description", u"billable", u"start_at", u"stop_at", u"tag_ids", u"project_id"}) {
        QCOMPARE(both[0][key], both[1][key]);
    }
    QVERIFY(both[0][u"id"] != both[1][u"id"]);
}

QTEST_MAIN(EntryActionsAtServerTest)
#include "entryactionsatserver.moc"
