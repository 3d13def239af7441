// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString exported = u"Pending changes exported; the queue was not discarded"_s;

/// Someone whose server is down.
struct Stranded {
    DevServer server;
    Controller controller;
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"changes.json"_s);

    [[nodiscard]] bool strand() {
        dialogs.choose(target);
        return server.start() && connectAndLoad(controller, server.url()) && waitForSilence(controller) &&
               server.stop();
    }

    [[nodiscard]] QByteArray written() const {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }
};

/// The text of one queued entry, as the file is to hold it.
QString itemText(const QJsonObject& mutation, const QString& description, const QString& billable,
                 const QString& hour) {
    return uR"(        {
            "mutation": {
                "base_version": 0,
                "device_id": "%1",
                "entity_id": "%2",
                "mutation_id": "%3",
                "operation": "entry.create",
                "payload": {
                    "billable": %4,
                    "description": "%5",
                    "project_id": null,
                    "start_at": "2026-03-02T%6:00:00Z",
                    "stop_at": "2026-03-02T%6:30:00Z",
                    "tag_ids": [
                    ]
                },
                "workspace_id": "%7"
            },
            "status": "pending"
        })"_s.arg(mutation[u"device_id"].toString(), mutation[u"entity_id"].toString(),
                  mutation[u"mutation_id"].toString(), billable, description, hour,
                  mutation[u"workspace_id"].toString());
}

} // namespace

/// The queue is saved to a file while the real development server is down.
class OfflineExportTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void theFileHoldsTheQueueByteForByte();
    void theQueueIsStillPushedAfterwards();
};

void OfflineExportTest::theFileHoldsTheQueueByteForByte() {
    Stranded person;
    QVERIFY(person.strand());
    person.controller.addManual(u"פגישה"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T10:30:00Z"_s, true);
    person.controller.addManual(u"Second"_s, {}, u"2026-03-02T14:00:00+02:00"_s, u"2026-03-02T12:30:00Z"_s,
                                false);
    QCOMPARE(person.controller.pending(), 2);
    person.controller.exportPending();
    QCOMPARE(person.controller.message(), exported);
    const QString expected =
        u"{\n    \"format\": \"timer-native-pending-v1\",\n    \"queue\": [\n"_s +
        itemText(mutationAt(person.controller, 0), u"פגישה"_s, u"true"_s, u"10"_s) + u",\n"_s +
        itemText(mutationAt(person.controller, 1), u"Second"_s, u"false"_s, u"12"_s) + u"\n    ]\n}\n"_s;
    QCOMPARE(QString::fromUtf8(person.written()), expected);
    QVERIFY(!person.written().contains(person.server.url().toUtf8()));
}

void OfflineExportTest::theQueueIsStillPushedAfterwards() {
    Stranded person;
    QVERIFY(person.strand());
    person.controller.addManual(u"First"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T10:30:00Z"_s, true);
    person.controller.addManual(u"Second"_s, {}, u"2026-03-02T12:00:00Z"_s, u"2026-03-02T12:30:00Z"_s, false);
    const QJsonObject before = person.controller.durableState();
    person.controller.exportPending();
    QCOMPARE(person.controller.message(), exported);
    QCOMPARE(person.controller.durableState(), before);

    QVERIFY(person.server.start());
    person.controller.synchronize();
    QTRY_COMPARE(person.controller.pending(), 0);
    const QJsonArray entries = person.server.entries();
    QCOMPARE(entries.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(entries[i][u"id"], before[u"queue"][i][u"mutation"][u"entity_id"]);
        QCOMPARE(entries[i][u"version"], 1);
    }
}

QTEST_MAIN(OfflineExportTest)
#include "offlineexport.moc"
