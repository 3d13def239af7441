// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/sqlitefile.h"
#include "tests/support/steps.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTest>
#include <QTimeZone>

#include <algorithm>

using Role = Element::Role;
using namespace Qt::StringLiterals;

namespace {

constexpr int rows = 500;
constexpr int chunk = 25;
const QString timed = u"Unpack the archive"_s;

/// "work 0" and so on, each in an hour of its own.
QByteArray history() {
    QByteArray text = "Description,Client,Project,Billable,Start date,Start time,End date,End time\r\n";
    QDateTime start(QDate(2025, 6, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < rows; ++i, start = start.addSecs(3600)) {
        text += "work " + QByteArray::number(i) + ",Harbour,Ferry,Yes," +
                start.toString(u"yyyy-MM-dd,HH:mm,"_s).toLatin1() +
                start.addSecs(1800).toString(u"yyyy-MM-dd,HH:mm\r\n"_s).toLatin1();
    }
    return text;
}

/// A queue that holds the start of one timer, as the file is to hold it.
QString exportText(const QJsonObject& mutation, const QString& workspace) {
    return uR"({
    "format": "timer-native-pending-v1",
    "queue": [
        {
            "mutation": {
                "base_version": 0,
                "device_id": "%1",
                "entity_id": "%2",
                "mutation_id": "%3",
                "operation": "timer.start",
                "payload": {
                    "billable": false,
                    "description": "%4",
                    "project_id": null,
                    "start_at": "%5",
                    "tag_ids": [
                    ]
                },
                "workspace_id": "%6"
            },
            "status": "pending"
        }
    ]
}
)"_s.arg(mutation[u"device_id"].toString(), mutation[u"entity_id"].toString(),
         mutation[u"mutation_id"].toString(), timed, mutation[u"payload"][u"start_at"].toString(), workspace);
}

} // namespace

/// Someone moves in with the history of another tracker, and leaves with a copy of
/// what the server does not have yet.
class MovingStory : public WindowStory {
    Q_OBJECT

    void openMigration();
    void previewTheHistory();
    void pauseInTheMiddle();
    void letTheRestFollow();
    void findEachRecordOnce();
    void startTimerWithoutServer();
    void exportTheQueue();
    void letTheServerReturn();

    /// The record of the import that the window shows.
    [[nodiscard]] QJsonObject shownRecord() const;
    /// Confirms and pauses while the first chunk is in flight.
    [[nodiscard]] bool confirmAndPause() const;
    [[nodiscard]] QSet<QString> descriptionsOnServer() const;

    const QString m_source = QDir::home().filePath(u"history.csv"_s);
    QString m_workspace;
    int m_imported = 0; // when it was paused
    QJsonObject m_mutation;

public:
    MovingStory() : WindowStory(DevServer::Data::Empty) {}

private Q_SLOTS:
    void historyIsImportedOnceAndPendingWorkIsExported();
};

void MovingStory::historyIsImportedOnceAndPendingWorkIsExported() {
    takeSteps(
        {
            &MovingStory::openMigration,
            &MovingStory::previewTheHistory,
            &MovingStory::pauseInTheMiddle,
            &MovingStory::letTheRestFollow,
            &MovingStory::findEachRecordOnce,
            &MovingStory::startTimerWithoutServer,
            &MovingStory::exportTheQueue,
            &MovingStory::letTheServerReturn,
        },
        this);
}

QJsonObject MovingStory::shownRecord() const {
    QString text = elements().find(Role::Text, u"Detailed CSV import"_s).text();
    text.replace(QChar::ParagraphSeparator, u'\n');
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

QSet<QString> MovingStory::descriptionsOnServer() const {
    QSet<QString> descriptions;
    const QJsonArray entries = m_server.entries();
    for (const auto& entry : entries) {
        descriptions.insert(entry[u"description"].toString());
    }
    return descriptions;
}

void MovingStory::openMigration() {
    QVERIFY(startDesk());
    m_workspace = m_server.workspace();
    QFile source(m_source);
    QVERIFY(source.open(QIODevice::WriteOnly));
    const QByteArray text = history();
    QCOMPARE(source.write(text), text.size());
    source.close();
    QVERIFY(openProgram());
    QVERIFY(openTab(u"Migration"_s, u"Choose file and preview"_s));
}

void MovingStory::previewTheHistory() {
    const QString mine = u"I confirm these entries belong to me"_s;
    QVERIFY(m_screen.clickUntil(m_program, Role::CheckBox, mine,
                                [&] { return elements().find(Role::CheckBox, mine).isChecked(); }));
    const auto act = [this] { return chooseFile(u"Choose file and preview"_s, m_source); };
    QVERIFY(retry(act, [this] { return status() == u"Preview only: no time entries have been written"; }));
    const QJsonObject record = shownRecord();
    QCOMPARE(record[u"total"], rows);
    QCOMPARE(record[u"valid"], rows);
    QCOMPARE(record[u"invalid"], 0);
    QVERIFY(m_server.entries().isEmpty());
}

// While another transaction holds the server's database, the chunk stays in flight.
bool MovingStory::confirmAndPause() const {
    constexpr int serverPatienceMs = 7000;
    const QPoint confirm = elements().find(Role::PushButton, u"Confirm import"_s).area().center();
    const QPoint pause = elements().find(Role::PushButton, u"Pause after chunk"_s).area().center();
    SqliteFile file(m_server.databaseFile());
    file.run(u"BEGIN IMMEDIATE"_s);
    const bool pausing =
        m_screen.click(confirm) && m_screen.click(pause) &&
        QTest::qWaitFor([this] { return status() == u"Pausing after the current committed chunk"; },
                        serverPatienceMs);
    file.run(u"ROLLBACK"_s);
    return pausing;
}

void MovingStory::pauseInTheMiddle() {
    QVERIFY(retry([this] { return confirmAndPause(); },
                  [this] { return shownRecord()[u"checkpoint"].toInt() > 0; }));
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"Connected to PostgreSQL"_s, Screen::patienceMs);
    const QJsonObject record = shownRecord();
    m_imported = record[u"checkpoint"].toInt();
    QVERIFY(m_imported % chunk == 0);
    QVERIFY(m_imported < rows);
    QCOMPARE(record[u"state"], u"importing"_s);
    QCOMPARE(record[u"total"], rows);
    QCOMPARE(m_server.entries().size(), m_imported);
    QCOMPARE(descriptionsOnServer().size(), m_imported);
}

void MovingStory::letTheRestFollow() {
    QVERIFY(press(u"Confirm import"_s, [this] { return shownRecord()[u"checkpoint"].toInt() > m_imported; }));
    QTRY_COMPARE_WITH_TIMEOUT(shownRecord()[u"checkpoint"], rows, Screen::patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"Connected to PostgreSQL"_s, Screen::patienceMs);
    QCOMPARE(shownRecord()[u"state"], u"completed"_s);
}

void MovingStory::findEachRecordOnce() {
    QCOMPARE(m_server.entries().size(), rows);
    QSet<QString> expected;
    for (int i = 0; i < rows; ++i) {
        expected.insert(u"work %1"_s.arg(i));
    }
    QCOMPARE(descriptionsOnServer(), expected);

    QVERIFY(openTab(u"Timer and entries"_s, u"Manual entry"_s));
    const QList<Element> shown = elements().everything();
    for (const int newest : {rows - 1, rows - 2, rows - 3}) {
        const QString start = u"work %1, "_s.arg(newest);
        QCOMPARE(std::count_if(shown.begin(), shown.end(),
                               [&](const Element& element) { return element.name().startsWith(start); }),
                 1);
    }
}

void MovingStory::startTimerWithoutServer() {
    m_server.kill();
    QVERIFY(fillIn(u"What are you working on?"_s, timed));
    QVERIFY(press(u"Start"_s, [this] { return m_program.shows(Role::PushButton, u"Stop"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(1), Screen::patienceMs);
}

void MovingStory::exportTheQueue() {
    const QString button = u"Export pending changes"_s;
    QVERIFY(openTab(u"Settings"_s, button));
    const QByteArray bytes = savedBy(button, u"Pending changes exported; the queue was not discarded"_s);
    m_mutation = QJsonDocument::fromJson(bytes)[u"queue"][0][u"mutation"].toObject();
    QCOMPARE(QString::fromUtf8(bytes), exportText(m_mutation, m_workspace));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(1), Screen::patienceMs);
}

void MovingStory::letTheServerReturn() {
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(0), Screen::patienceMs);
    const QJsonArray started = m_server.entriesNamed(timed);
    QCOMPARE(started.size(), 1);
    QCOMPARE(started[0][u"id"], m_mutation[u"entity_id"]);
    QCOMPARE(started[0][u"start_at"], m_mutation[u"payload"][u"start_at"]);
    QCOMPARE(started[0][u"version"], 1);
    QCOMPARE(m_server.entries().size(), rows + 1);
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
}

QTEST_MAIN(MovingStory)
#include "moving.moc"
