// SPDX-License-Identifier: MIT
#include "tests/devserver/importfixture.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace {

const QString lockedText = u"This time lies in a timesheet period that was submitted or approved."_s;

} // namespace

/// What a preview takes, tells and leaves alone.
class TestDevserverImportPreview : public ImportFixture {
    Q_OBJECT

private Q_SLOTS:
    void nothingButTheStagingIsWritten();
    void theReplyTellsWhatWouldBeWritten();
    void everyRowIsJudged();
    void theFirstSentenceIsAboutTheWholeFile_data();
    void theFirstSentenceIsAboutTheWholeFile();
    void theOnlyRowCanBeThereAlready();
    void fiftyProblemsAreTold();
    void aHundredNewNamesAreTold();
    void rowsAreNumberedAsInASpreadsheet();
    void rowsTwiceInTheFileAreDuplicates();
    void rowsInClosedPeriodsAreRefused_data();
    void rowsInClosedPeriodsAreRefused();
    void projectsThatAreArchivedAreRefused();
    void anOpenProjectOfTheSameNameIsTaken();
    void aFileWithoutRecordsIsComplete();
    void unusableRequestsAreRefused_data();
    void unusableRequestsAreRefused();
    void aMissingSourceIsToldAsTheFieldThatWasLeftEmpty();
    void aByteOrderMarkPassesThroughJson();
    void onlyMembersMayPreview();
    void aRequestWithoutAWorkspaceIsRefusedInASentence();
    void bodiesUpToSixMebibytesAreRead();
    void staleImportsAreForgotten();
    void twentyThousandRowsArePreviewed();
};

void TestDevserverImportPreview::nothingButTheStagingIsWritten() {
    const QStringList tables{u"time_entries"_s, u"projects"_s,  u"clients"_s,         u"tags"_s,
                             u"tasks"_s,        u"mutations"_s, u"imported_records"_s};
    QList<int> before;
    for (const QString& table : tables) {
        before += count(table);
    }
    const Reply reply = preview(
        u"Start date,Start time,Duration,Client,Project,Task,Tags\n2025-06-01,09:00,1:00:00,New,New,New,new"_s);
    QCOMPARE(numbersOf(reply), u"1 1 0 0"_s);
    for (qsizetype i = 0; i < tables.size(); ++i) {
        QCOMPARE(count(tables[i]), before[i]);
    }
    QCOMPARE(count(u"imports"_s), 1);
    QCOMPARE(count(u"import_records"_s), 1);
}

void TestDevserverImportPreview::theReplyTellsWhatWouldBeWritten() {
    const Reply reply = preview(
        u"User,Email,Client,Project,Task,Description,Billable,Start date,Start time,End date,End time,"
        "Duration,Tags,Amount (EUR)\n"
        "Noa,noa@example.org,Client,Open,,Known,No,2025-06-01,09:00,2025-06-01,10:00,1:00:00,,\n"
        "Noa,noa@example.org,גינון,Trees,Cut,פגישה,כן,2025-06-01,10:00:00,2025-06-01,11:30:00,1:30:00,\"b, "
        "a,b\",12\n"
        "Dan,,גינון,Lawn,,,Yes,2025-06-02,10:00:00,2025-06-02,10:00:00,0:00:00,,\n"_s);
    QCOMPARE(reply.status, 201);
    QJsonObject body = reply.body;
    const QJsonArray sample = body.take(u"sample").toArray();
    QVERIFY(QRegularExpression(u"^[0-9a-f]{64}$"_s).match(body.take(u"checksum").toString()).hasMatch());
    QCOMPARE(body.take(u"id").toString().size(), 36);
    const QJsonObject expected{{u"about"_s, u"All 3 rows can be imported."_s},
                               {u"state"_s, u"previewed"_s},
                               {u"checkpoint"_s, 0},
                               {u"total"_s, 3},
                               {u"valid"_s, 3},
                               {u"invalid"_s, 0},
                               {u"duplicates"_s, 0},
                               {u"written"_s, 0},
                               {u"skipped"_s, 0},
                               {u"has_more"_s, true},
                               {u"problems"_s, QJsonArray()},
                               {u"duplicate_rows"_s, QJsonArray()},
                               {u"new_projects"_s, QJsonArray{u"Trees"_s, u"Lawn"_s}},
                               {u"new_project_count"_s, 2},
                               {u"new_clients"_s, QJsonArray{u"גינון"_s}},
                               {u"new_client_count"_s, 1},
                               {u"source_users"_s, QJsonArray{u"noa@example.org"_s, u"Dan"_s}}};
    QCOMPARE(body, expected);
    QCOMPARE(sample.size(), 3);
    QCOMPARE(sample[1].toObject(), (QJsonObject{{u"row"_s, 3},
                                                {u"description"_s, u"פגישה"_s},
                                                {u"client"_s, u"גינון"_s},
                                                {u"project"_s, u"Trees"_s},
                                                {u"task"_s, u"Cut"_s},
                                                {u"tags"_s, QJsonArray{u"a"_s, u"b"_s}},
                                                {u"billable"_s, true},
                                                {u"start_at"_s, u"2025-06-01T10:00:00Z"_s},
                                                {u"stop_at"_s, u"2025-06-01T11:30:00Z"_s},
                                                {u"duration_seconds"_s, 5400}}));
}

void TestDevserverImportPreview::everyRowIsJudged() {
    const Reply reply = preview(
        simple({u"good,2025-06-01,09:00,2025-06-01,10:00"_s, u"bad,2025-06-31,09:00,2025-06-01,25:00"_s,
                u"good,2025-06-01,09:00,2025-06-01,10:00"_s, u"also good,2025-06-01,09:00,2025-06-01,10:00"_s,
                u"bad,2025-06-01,09:00,2025-06-01,08:00"_s}));
    QCOMPARE(numbersOf(reply), u"5 2 2 1"_s);
    QCOMPARE(problemsOf(reply),
             (QStringList{u"3 Start date: This is not a date in the form YYYY-MM-DD."_s,
                          u"3 End time: This is not a time of day such as 09:30 or 09:30:15."_s,
                          u"6 End time: The entry would end before it starts."_s}));
    QStringList codes;
    for (const auto& problem : reply.body[u"problems"].toArray()) {
        codes.append(problem[u"code"].toString());
    }
    QCOMPARE(codes, (QStringList{u"date"_s, u"time"_s, u"end_before_start"_s}));
    const QJsonArray duplicates = reply.body[u"duplicate_rows"].toArray();
    QCOMPARE(duplicates.size(), 1);
    QCOMPARE(duplicates[0][u"row"].toInt(), 4);
    QCOMPARE(duplicates[0][u"description"].toString(), u"good"_s);
    QVERIFY2(count(u"import_records"_s) == 0, "what can never be applied is kept");
}

void TestDevserverImportPreview::theFirstSentenceIsAboutTheWholeFile_data() {
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QString>("sentence");
    const QString good = u"good,2025-06-01,09:00,2025-06-01,10:00"_s;
    const QString other = u"other,2025-06-01,09:00,2025-06-01,10:00"_s;
    const QString bad = u"bad,2025-06-01,9h,2025-06-01,10:00"_s;
    const QString noTime = u"Start time: This is not a time of day such as 09:30 or 09:30:15."_s;
    QTest::newRow("good") << QStringList{good, other} << u"All 2 rows can be imported."_s;
    QTest::newRow("one good") << QStringList{good} << u"The only row can be imported."_s;
    QTest::newRow("known")
        << QStringList{good, good, good}
        << u"All 3 rows can be imported; 2 of them are there already and will be skipped."_s;
    QTest::newRow("one known")
        << QStringList{good, good}
        << u"All 2 rows can be imported; 1 of them is there already and will be skipped."_s;
    QTest::newRow("some")
        << QStringList{good, bad, bad}
        << u"2 of 3 rows cannot be imported; correct them in the file and preview it again."_s;
    QTest::newRow("one of some")
        << QStringList{good, bad, good}
        << u"1 of 3 rows cannot be imported; correct it in the file and preview it again."_s;
    QTest::newRow("all") << QStringList{bad, bad, u"bad,2025-06-01,09:00,x,10:00"_s}
                         << u"None of the 3 rows can be imported; 2 times the reason is "_s + noTime;
    QTest::newRow("all, each for another reason")
        << QStringList{u"bad,2025-06-01,09:00,2025-06-01,"_s, u"bad,2025-06-01,9h,2025-06-01,10:00"_s}
        << u"None of the 2 rows can be imported; once the reason is "_s +
               u"End time: This is not a time of day such as 09:30 or 09:30:15."_s;
    QTest::newRow("the only one") << QStringList{bad}
                                  << u"The only row cannot be imported; the reason is "_s + noTime;
    QTest::newRow("empty") << QStringList() << u"The file has no rows."_s;
}

void TestDevserverImportPreview::theFirstSentenceIsAboutTheWholeFile() {
    QFETCH(const QStringList, rows);
    const Reply reply = preview(simple(rows));
    QTEST(reply.body.value(u"about").toString(), "sentence");
    QCOMPARE(reply.body.keys().constFirst(), u"about"_s);
}

void TestDevserverImportPreview::theOnlyRowCanBeThereAlready() {
    QCOMPARE(progressOf(applyAll(preview(records(1)))), u"completed 1/1"_s);
    QCOMPARE(preview(records(1)).body.value(u"about").toString(),
             u"The only row is there already and will be skipped."_s);
}

void TestDevserverImportPreview::fiftyProblemsAreTold() {
    QString content = simple({});
    for (int i = 0; i < 60; ++i) {
        content += u"x,,09:00,2025-06-01,10:00\n"_s;
    }
    const Reply reply = preview(content);
    QCOMPARE(numbersOf(reply), u"60 0 60 0"_s);
    const QStringList problems = problemsOf(reply);
    QCOMPARE(problems.size(), 50);
    QVERIFY(problems.last().startsWith(u"51 Start date: "));
}

void TestDevserverImportPreview::aHundredNewNamesAreTold() {
    QString content = u"Client,Project,Start date,Start time,Duration\n"_s;
    for (int i = 0; i < 120; ++i) {
        content += u"c%1,p%1,2025-06-01,09:00,1:00\n"_s.arg(i);
    }
    const Reply reply = preview(content);
    QCOMPARE(reply.body.value(u"new_projects").toArray().size(), 100);
    QCOMPARE(reply.body.value(u"new_project_count"), 120);
    QCOMPARE(reply.body.value(u"new_clients").toArray().last(), u"c99"_s);
    QCOMPARE(reply.body.value(u"new_client_count"), 120);
}

void TestDevserverImportPreview::rowsAreNumberedAsInASpreadsheet() {
    const Reply reply =
        preview(simple({u"\"three\r\nlines\rlong\",2025-06-01,09:00,2025-06-01,10:00"_s, QString(),
                        u"bad,,09:00,2025-06-01,10:00"_s, u",,,,"_s, u"bad,2025-06-01,,2025-06-01,10:00"_s}));
    QCOMPARE(numbersOf(reply), u"3 1 2 0"_s);
    const QStringList problems = problemsOf(reply);
    QCOMPARE(problems.size(), 2);
    QVERIFY2(problems[0].startsWith(u"4 Start date"), qPrintable(problems[0]));
    QVERIFY2(problems[1].startsWith(u"6 Start time"), qPrintable(problems[1]));
}

void TestDevserverImportPreview::rowsTwiceInTheFileAreDuplicates() {
    // The same time in another form, and tags in another order, are the same record.
    const Reply reply = preview(u"Description,Billable,Start date,Start time,Duration,Tags\n"
                                "x,yes,2025-06-01,09:00,1:00,\"a,b\"\n"
                                "x,כן,2025-06-01,9:00:00 AM,1:00:00,\"b, a\"\n"
                                "x,no,2025-06-01,09:00,1:00,\"a,b\"\n"
                                "X,yes,2025-06-01,09:00,1:00,\"a,b\"\n"_s);
    QCOMPARE(numbersOf(reply), u"4 3 0 1"_s);
    QCOMPARE(reply.body.value(u"sample").toArray().size(), 3);
}

void TestDevserverImportPreview::rowsInClosedPeriodsAreRefused_data() {
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("end");
    QTest::addColumn<bool>("refused");
    // The world's periods last from the first of a month to the eighth.
    QTest::newRow("approved") << u"2024-01-03,09:00"_s << u"2024-01-03,10:00"_s << true;
    QTest::newRow("submitted") << u"2024-02-03,09:00"_s << u"2024-02-03,10:00"_s << true;
    QTest::newRow("around it") << u"2023-12-31,09:00"_s << u"2024-01-09,10:00"_s << true;
    QTest::newRow("a second inside") << u"2024-01-07,23:59:59"_s << u"2024-01-08,10:00"_s << true;
    QTest::newRow("begins at its end") << u"2024-01-08,00:00"_s << u"2024-01-08,10:00"_s << false;
    QTest::newRow("ends at its start") << u"2023-12-31,09:00"_s << u"2024-01-01,00:00"_s << false;
    QTest::newRow("open") << u"2024-03-03,09:00"_s << u"2024-03-03,10:00"_s << false;
    QTest::newRow("another user's") << u"2024-04-03,09:00"_s << u"2024-04-03,10:00"_s << false;
}

void TestDevserverImportPreview::rowsInClosedPeriodsAreRefused() {
    QFETCH(const QString, start);
    QFETCH(const QString, end);
    QFETCH(const bool, refused);
    const Reply reply = preview(simple({u"x,%1,%2"_s.arg(start, end)}));
    QCOMPARE(numbersOf(reply), refused ? u"1 0 1 0"_s : u"1 1 0 0"_s);
    QCOMPARE(problemsOf(reply), refused ? QStringList{u"2 Start date: "_s + lockedText} : QStringList());
}

void TestDevserverImportPreview::projectsThatAreArchivedAreRefused() {
    const Reply reply = preview(u"Client,Project,Start date,Start time,Duration\n"
                                "Client,Archived,2025-06-01,09:00,1:00\n"
                                "Other,Archived,2025-06-01,09:00,1:00\n"
                                ",Archived,2025-06-01,09:00,1:00\n"_s);
    QCOMPARE(numbersOf(reply), u"3 2 1 0"_s);
    QCOMPARE(problemsOf(reply), QStringList{u"2 Project: The project of this name is archived."_s});
}

void TestDevserverImportPreview::anOpenProjectOfTheSameNameIsTaken() {
    m_database.run(u"INSERT INTO projects (id, workspace_id, client_id, name, color, archived)"
                   " SELECT ?, workspace_id, client_id, name, '#000000', 0 FROM projects WHERE id = ?"_s,
                   {World::newId(), m_world.archivedProject});
    const Reply reply =
        preview(u"Client,Project,Start date,Start time,Duration\nClient,Archived,2025-06-01,09:00,1:00"_s);
    QCOMPARE(numbersOf(reply), u"1 1 0 0"_s);
    QCOMPARE(reply.body.value(u"new_projects"), QJsonArray());
}

void TestDevserverImportPreview::aFileWithoutRecordsIsComplete() {
    const Reply reply = preview(u"Start date,Start time,Duration\r\n\r\n"_s);
    QCOMPARE(numbersOf(reply), u"0 0 0 0"_s);
    QCOMPARE(reply.body.value(u"state"), u"previewed"_s);
    QCOMPARE(reply.body.value(u"has_more"), false);
    const Reply applied = apply(reply);
    QCOMPARE(applied.status, 200);
    QCOMPARE(progressOf(applied), u"completed 0/0"_s);
    QCOMPARE(applied.body.value(u"has_more"), false);
}

void TestDevserverImportPreview::unusableRequestsAreRefused_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    const QJsonValue absent(QJsonValue::Undefined);
    for (const QString& key : {u"content"_s, u"timezone"_s, u"source_namespace"_s, u"assign_to_me"_s}) {
        QTest::addRow("no %s", qPrintable(key)) << key << absent;
        QTest::addRow("%s a number", qPrintable(key)) << key << QJsonValue(1);
        QTest::addRow("%s null", qPrintable(key)) << key << QJsonValue();
    }
    QTest::newRow("not confirmed") << u"assign_to_me"_s << QJsonValue(false);
    QTest::newRow("confirmed in words") << u"assign_to_me"_s << QJsonValue(u"true"_s);
    QTest::newRow("unknown zone") << u"timezone"_s << QJsonValue(u"Mars/Olympus"_s);
    QTest::newRow("empty zone") << u"timezone"_s << QJsonValue(u""_s);
    QTest::newRow("a path as zone") << u"timezone"_s << QJsonValue(u"../../../etc/passwd"_s);
    QTest::newRow("empty namespace") << u"source_namespace"_s << QJsonValue(u"  "_s);
    QTest::newRow("long namespace") << u"source_namespace"_s << QJsonValue(QString(256, u'n'));
    QTest::newRow("null character in the namespace")
        << u"source_namespace"_s << QJsonValue(u"a"_s + QChar(0));
    QTest::newRow("null character") << u"content"_s << QJsonValue(simple({}) + QChar(0));
    QTest::newRow("half a character") << u"content"_s << QJsonValue(simple({}) + QChar(0xd83d));
}

void TestDevserverImportPreview::unusableRequestsAreRefused() {
    QFETCH(const QString, key);
    QFETCH(const QJsonValue, value);
    QJsonObject body = bodyOf(records(1));
    body.insert(key, value);
    const Reply reply = m_client->postTo(previewOf(m_world.workspace), body);
    QCOMPARE(reply.status, 422);
    QCOMPARE(reply.errorCode(), u"invalid_import"_s);
    QCOMPARE(count(u"imports"_s), 0);
}

void TestDevserverImportPreview::aMissingSourceIsToldAsTheFieldThatWasLeftEmpty() {
    QJsonObject body = bodyOf(records(1));
    for (const QJsonValue& empty :
         {QJsonValue(QJsonValue::Undefined), QJsonValue(u""_s), QJsonValue(u" "_s)}) {
        body.insert(u"source_namespace"_s, empty);
        const Reply reply = m_client->postTo(previewOf(m_world.workspace), body);
        QCOMPARE(reply.body[u"error"][u"message"].toString(),
                 u"The source identifier is empty; name where the records come from, the same each time."_s);
    }
    body.insert(u"source_namespace"_s, QString(256, u'n'));
    const Reply tooLong = m_client->postTo(previewOf(m_world.workspace), body);
    QCOMPARE(tooLong.body[u"error"][u"message"].toString(),
             u"The source identifier must be a text of at most 255 characters."_s);
}

void TestDevserverImportPreview::aByteOrderMarkPassesThroughJson() {
    const Reply reply =
        preview(QChar(0xfeff) + u"\"Start date\",Start time,Duration\n2025-06-01,9:00,1:00"_s);
    QCOMPARE(numbersOf(reply), u"1 1 0 0"_s);
}

void TestDevserverImportPreview::onlyMembersMayPreview() {
    const QJsonObject body = bodyOf(records(1));
    QCOMPARE(m_other->postTo(previewOf(m_world.workspace), body).status, 201);
    for (const QString& workspace : {m_world.foreignWorkspace, World::newId(), u"no-id"_s}) {
        const Reply reply = m_client->postTo(previewOf(workspace), body);
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.errorCode(), u"not_found"_s);
    }
    TestClient revoked(m_server.port(), m_world.revokedToken);
    QCOMPARE(revoked.postTo(previewOf(m_world.workspace), body).status, 401);
    QCOMPARE(count(u"imports"_s), 1);
}

void TestDevserverImportPreview::aRequestWithoutAWorkspaceIsRefusedInASentence() {
    const Reply reply = m_client->postTo(previewOf({}), bodyOf(records(1)));
    QCOMPARE(reply.status, 404);
    QCOMPARE(reply.errorCode(), u"not_found"_s);
    QVERIFY(reply.text.find("workspace") != std::string::npos);
}

void TestDevserverImportPreview::bodiesUpToSixMebibytesAreRead() {
    QJsonObject body = bodyOf(records(1));
    body.insert(u"padding"_s, QString(5'242'880, u'x'));
    QCOMPARE(m_client->postTo(previewOf(m_world.workspace), body).status, 201);
    body.insert(u"padding"_s, QString(6'291'456, u'x'));
    const Reply reply = m_client->postTo(previewOf(m_world.workspace), body);
    QCOMPARE(reply.status, 413);
    QCOMPARE(reply.errorCode(), u"too_large"_s);
}

void TestDevserverImportPreview::staleImportsAreForgotten() {
    const Reply fresh = preview(records(3, u"fresh"_s));
    const Reply complete = preview(records(3, u"complete"_s));
    QCOMPARE(progressOf(applyAll(complete)), u"completed 3/3"_s);
    const Reply begun = preview(records(3, u"begun"_s));
    QCOMPARE(apply(begun, 1).status, 200);
    const Reply others = m_other->postTo(previewOf(m_world.workspace), bodyOf(records(3)));
    const Reply empty = preview(records(0));
    QCOMPARE(empty.body.value(u"total"), 0);
    for (const Reply& old : {complete, begun, others, empty}) {
        m_database.run(u"UPDATE imports SET created_at = created_at - 90000 WHERE id = ?"_s,
                       {old.body.value(u"id").toString()});
    }
    QCOMPARE(preview(records(1)).status, 201);
    QCOMPARE(count(u"import_replies"_s), 0);
    QCOMPARE(apply(fresh, 1).status, 200);
    QCOMPARE(progressOf(apply(complete, 1)), u"completed 3/3"_s);
    QCOMPARE(apply(empty, 1).status, 404);
    QCOMPARE(applyAs(*m_other, others, 1, World::newId()).status, 200);
    const Reply forgotten = apply(begun, 1);
    QCOMPARE(forgotten.status, 404);
    QCOMPARE(forgotten.errorCode(), u"not_found"_s);
    // What it had written is still known.
    QCOMPARE(numbersOf(preview(records(3, u"begun"_s))), u"3 2 0 1"_s);
}

void TestDevserverImportPreview::twentyThousandRowsArePreviewed() {
    const QString content = records(20'000);
    const Reply reply = preview(content);
    QCOMPARE(numbersOf(reply), u"20000 20000 0 0"_s);
    QCOMPARE(count(u"import_records"_s), 20'000);
    QCOMPARE(progressOf(apply(reply, 500)), u"importing 500/20000"_s);
    QCOMPARE(numbersOf(preview(content)), u"20000 19500 0 500"_s);
}

QTEST_GUILESS_MAIN(TestDevserverImportPreview)
#include "importpreview.moc"
