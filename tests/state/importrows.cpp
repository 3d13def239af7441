// SPDX-License-Identifier: MIT
#include "state/importrows.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject record(int row, const QString& description, const QString& client, const QString& project) {
    return {{u"row"_s, row},
            {u"description"_s, description},
            {u"client"_s, client},
            {u"project"_s, project},
            {u"task"_s, QString()},
            {u"start_at"_s, u"2026-03-05T07:00:00Z"_s},
            {u"stop_at"_s, u"2026-03-05T08:30:00Z"_s},
            {u"duration_seconds"_s, 5400}};
}

QJsonObject problem(int row, const QString& column, const QString& code) {
    return {{u"row"_s, row}, {u"column"_s, column}, {u"message"_s, u"Sentence."_s}, {u"code"_s, code}};
}

QJsonObject preview() {
    return {
        {u"total"_s, 60},
        {u"invalid"_s, 7},
        {u"duplicates"_s, 2},
        {u"problems"_s, QJsonArray{problem(3, u"Start date"_s, u"date"_s),
                                   problem(3, u"End time"_s, u"time"_s), problem(14, {}, u"cell_count"_s)}},
        {u"duplicate_rows"_s, QJsonArray{record(9, u"Again"_s, {}, {})}},
        {u"sample"_s, QJsonArray{record(2, u"Timetable"_s, u"Harbour"_s, u"Ferry"_s),
                                 record(10, u"Talk"_s, {}, u"Old"_s)}},
        {u"new_projects"_s, QJsonArray{u"Ferry"_s}},
        {u"new_project_count"_s, 1},
        {u"new_clients"_s, QJsonArray{u"Harbour"_s}},
        {u"new_client_count"_s, 1},
    };
}

QStringList listed(const QJsonArray& rows) {
    QStringList lines;
    for (const auto& row : rows) {
        lines.append(u"%1 %2 %3%4"_s.arg(row[u"row"].toInt())
                         .arg(row[u"what"].toString(), row[u"title"].toString(), row[u"code"].toString()));
    }
    return lines;
}

} // namespace

class ImportRowsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rowsAreInTheOrderOfTheFileAndNamesBehindThem();
    void aRecordTellsWhatWouldBeWritten();
    void aProblemIsToldInTheServersWords();
    void theServersCountsAreShown();
    void whatIsMissingIsCountedByWhatIsListed();
    void progressHasNoRows();
};

void ImportRowsTest::rowsAreInTheOrderOfTheFileAndNamesBehindThem() {
    QCOMPARE(listed(ImportRows::of(preview(), u"UTC"_s)),
             (QStringList{u"2 entry Timetable"_s, u"3 problem date"_s, u"3 problem time"_s,
                          u"9 duplicate Again"_s, u"10 entry Talk"_s, u"14 problem cell_count"_s,
                          u"0 name Harbour"_s, u"0 name Ferry"_s}));
}

void ImportRowsTest::aRecordTellsWhatWouldBeWritten() {
    const QJsonArray rows = ImportRows::of(preview(), u"Asia/Jerusalem"_s);
    QCOMPARE(rows[0][u"place"].toString(), u"Harbour / Ferry"_s);
    QCOMPARE(rows[0][u"when"].toString(), u"2026-03-05 09:00–10:30"_s);
    QCOMPARE(ImportRows::of(preview(), u"America/Los_Angeles"_s)[0][u"when"].toString(),
             u"2026-03-04 23:00–2026-03-05 00:30"_s);
    QCOMPARE(rows[0][u"news"].toString(), u"client project"_s);
    QCOMPARE(rows[4][u"news"].toString(), QString());
    QCOMPARE(rows[6][u"news"].toString(), u"client"_s);
    QCOMPARE(rows[7][u"news"].toString(), u"project"_s);
}

void ImportRowsTest::aProblemIsToldInTheServersWords() {
    const QJsonArray rows = ImportRows::of(preview(), u"UTC"_s);
    QCOMPARE(rows[1][u"column"].toString(), u"Start date"_s);
    QCOMPARE(rows[1][u"message"].toString(), u"Sentence."_s);
}

void ImportRowsTest::theServersCountsAreShown() {
    const QJsonObject counts = ImportRows::counts(preview(), ImportRows::of(preview(), u"UTC"_s));
    QCOMPARE(counts,
             (QJsonObject{
                 {u"entry"_s, 60},
                 {u"problem"_s, 7},
                 {u"duplicate"_s, 2},
                 {u"name"_s, 2},
                 {u"listed"_s,
                  QJsonObject{{u"entry"_s, 5}, {u"problem"_s, 2}, {u"duplicate"_s, 1}, {u"name"_s, 2}}}}));
}

void ImportRowsTest::whatIsMissingIsCountedByWhatIsListed() {
    const QJsonObject bare{{u"problems"_s, QJsonArray{problem(3, {}, {})}}};
    const QJsonObject counts = ImportRows::counts(bare, ImportRows::of(bare, u"UTC"_s));
    QCOMPARE(counts[u"entry"].toInt(), 1);
    QCOMPARE(counts[u"problem"].toInt(), 1);
    QCOMPARE(counts[u"duplicate"].toInt(), 0);
}

void ImportRowsTest::progressHasNoRows() {
    const QJsonObject progress{{u"state"_s, u"importing"_s}, {u"checkpoint"_s, 25}, {u"total"_s, 60}};
    QVERIFY(ImportRows::of(progress, u"UTC"_s).isEmpty());
}

QTEST_GUILESS_MAIN(ImportRowsTest)
#include "importrows.moc"
