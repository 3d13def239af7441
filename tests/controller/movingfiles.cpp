// SPDX-License-Identifier: MIT
#include "tests/controller/messages.h"
#include "tests/controller/migrant.h"
#include "tests/controller/mover.h"
#include "tests/support/client.h"
#include "tests/support/sqlitefile.h"

#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>
#include <QVariant>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString connected = u"Connected to PostgreSQL"_s;
const QString unavailable = u"CSV unavailable or exceeds 900KB limit"_s;

using FileAction = std::function<void(const QString& path)>;

} // namespace

/// Which files the client and the real development server take.
class MovingFilesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void filesThatNobodyCanReadSaySo_data();
    void filesThatNobodyCanReadSaySo();
    void aFileThatChangesAfterTheChoiceSaysSo_data();
    void aFileThatChangesAfterTheChoiceSaysSo();
    void onlyAHeaderIsCompleteAtOnce();
    void hebrewAndQuotedLineBreaksArriveAsTheyWere();
    void fiveThousandRowsArrive();
};

void MovingFilesTest::filesThatNobodyCanReadSaySo_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty") << QByteArray() << u"The file is empty."_s;
    QTest::newRow("another table") << QByteArray("a,b\n1,2\n")
                                   << u"The first line does not name these columns: Start date; Start time; "
                                      "End date with End time, or Duration."_s;
    QTest::newRow("no table") << Mover::header() + "\"never closed\n\n"
                              << u"A quote that is opened in the record of line 2 is never closed."_s;
    QTest::newRow("days or months") << Mover::header() + "x,,,,03/04/2025,09:00,1:00:00,\r\n"
                                    << u"Every date of the file could be DD/MM/YYYY as well as MM/DD/YYYY; "
                                       "write the dates as YYYY-MM-DD."_s;
}

void MovingFilesTest::filesThatNobodyCanReadSaySo() {
    QFETCH(const QByteArray, bytes);
    QFETCH(const QString, message);
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::history(3)));
    const QJsonObject before = mover.shown();
    QVERIFY(mover.writeSource(bytes));
    QVERIFY(mover.preview());
    QCOMPARE(mover.controller.message(), message);
    QVERIFY(!mover.controller.busy());
    QCOMPARE(mover.shown(), before);
}

void MovingFilesTest::aFileThatChangesAfterTheChoiceSaysSo_data() {
    QTest::addColumn<FileAction>("afterChoosing");
    QTest::addColumn<QString>("message");
    QTest::newRow("gone") << FileAction([](const QString& path) { QVERIFY(QFile::remove(path)); })
                          << unavailable;
    QTest::newRow("no text by now") << FileAction([](const QString& path) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("\xff\xfe") == 2);
    }) << u"CSV must be UTF-8"_s;
}

void MovingFilesTest::aFileThatChangesAfterTheChoiceSaysSo() {
    QFETCH(const FileAction, afterChoosing);
    QFETCH(const QString, message);
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.writeSource(Mover::history(3)));
    mover.dialogs.afterChoosing([&] { afterChoosing(mover.source); });
    mover.peer.forgetRequests();
    const Messages messages(mover.controller);
    QVERIFY(mover.preview());
    QCOMPARE(messages.startingWith({}), QStringList{message});
    QVERIFY(!mover.controller.busy());
    QCOMPARE(mover.peer.log(), QStringList());
    QVERIFY(mover.shown().isEmpty());
    QCOMPARE(SqliteFile(mover.server.databaseFile()).run(u"SELECT COUNT(*) FROM imports"_s).toInt(), 0);
}

void MovingFilesTest::onlyAHeaderIsCompleteAtOnce() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    QVERIFY(mover.stage(Mover::header()));
    QCOMPARE(mover.shown().value(u"total"), 0);
    const Messages messages(mover.controller);
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(messages.startingWith(u"Import"_s), QStringList{u"Import: completed · 0 / 0"_s});
    QVERIFY(mover.server.entries().isEmpty());
}

void MovingFilesTest::hebrewAndQuotedLineBreaksArriveAsTheyWere() {
    Mover mover;
    QVERIFY(mover.connectAndSettle());
    const QString description = u"פגישה, \"סטטוס\"\nשורה שנייה\r\nשלישית"_s;
    QString cell = description;
    cell = u'"' + cell.replace(u'"', u"\"\""_s) + u'"';
    QVERIFY(mover.stage(Mover::header() + cell.toUtf8() +
                        u",לקוח,פרויקט,כן,2025-06-01,09:00,1:00:00,\r\n"_s.toUtf8()));
    mover.controller.applyImport();
    QTRY_COMPARE(mover.controller.message(), connected);
    QCOMPARE(mover.listed(), QStringList{description});
    QCOMPARE(mover.controller.projects().first().toMap().value(u"name"_s), u"פרויקט"_s);
    QVERIFY(listedEntry(mover.controller, u"description"_s, description).value(u"billable"_s).toBool());
}

void MovingFilesTest::fiveThousandRowsArrive() {
    Mover mover;
    QVERIFY(mover.connectAndSettle(false));
    QByteArray content = "Description,Start date,Start time,Duration\n";
    QDateTime start(QDate(2020, 1, 1), QTime(0, 0), QTimeZone::utc());
    for (int i = 0; i < 5'000; ++i, start = start.addSecs(3600)) {
        content +=
            "w" + QByteArray::number(i) + start.toString(u",yyyy-MM-dd,HH:mm"_s).toLatin1() + ",0:30:00\n";
    }
    QVERIFY(content.size() <= 900'000);
    QVERIFY(mover.stage(content));
    QCOMPARE(mover.shown().value(u"total"), 5'000);
    QSignalSpy loaded(&mover.controller, &Controller::ready);
    mover.controller.applyImport();
    QVERIFY(loaded.wait(240'000));
    QStringList listed = mover.listed();
    QCOMPARE(listed.size(), 5'000);
    QCOMPARE(listed.removeDuplicates(), 0);
    QCOMPARE(mover.server.entries().size(), 5'000);
}

QTEST_MAIN(MovingFilesTest)
#include "movingfiles.moc"
