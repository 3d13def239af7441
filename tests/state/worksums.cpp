// SPDX-License-Identifier: MIT
#include "state/worksums.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const WorkSums::Owner owner{u"w1"_s, u"u1"_s};

QJsonObject entry(const QString& start, const QJsonValue& stop) {
    return {
        {u"workspace_id"_s, u"w1"_s}, {u"user_id"_s, u"u1"_s}, {u"start_at"_s, start}, {u"stop_at"_s, stop}};
}

QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value) {
    object.insert(key, value);
    return object;
}

} // namespace

/// How long somebody has worked within a period, and which week it is.
class WorkSumsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void secondsInsideASpanCount_data();
    void secondsInsideASpanCount();
    void eachSpanHasItsOwnSum();
    void aPeriodWithoutReadableTimesIsEmpty();
    void daysBeginAndEndAtMidnightOfTheZone();
    void aWeekHoldsItsSevenDays();
};

void WorkSumsTest::secondsInsideASpanCount_data() {
    QTest::addColumn<QJsonObject>("entry");
    QTest::addColumn<qint64>("seconds");
    const QString eight = u"2024-03-04T08:00:00Z"_s;
    const QString nine = u"2024-03-04T09:00:00Z"_s;
    const auto row = [](const char* name, const QJsonObject& of, qint64 seconds) {
        QTest::newRow(name) << of << seconds;
    };
    row("within", entry(eight, nine), 3600);
    row("in other offsets", entry(u"2024-03-04T10:00:00+02:00"_s, u"2024-03-04T04:00:00-05:00"_s), 3600);
    row("over its begin", entry(u"2024-03-03T23:00:00Z"_s, u"2024-03-04T00:10:00Z"_s), 600);
    row("over its end", entry(u"2024-03-10T23:50:00Z"_s, u"2024-03-11T03:00:00Z"_s), 600);
    row("around it", entry(u"2024-03-01T00:00:00Z"_s, u"2024-04-01T00:00:00Z"_s), 7 * 86400);
    row("up to its begin", entry(u"2024-03-03T23:00:00Z"_s, u"2024-03-04T00:00:00Z"_s), 0);
    row("from its end on", entry(u"2024-03-11T00:00:00Z"_s, u"2024-03-11T01:00:00Z"_s), 0);
    row("running", entry(eight, QJsonValue()), 0);
    row("with an unreadable end", entry(eight, u"soon"_s), 0);
    row("with an unreadable start", entry(u"soon"_s, nine), 0);
    row("ends before it starts", entry(nine, eight), 0);
    row("deleted", with(entry(eight, nine), u"deleted_at"_s, nine), 0);
    row("not deleted", with(entry(eight, nine), u"deleted_at"_s, QJsonValue()), 3600);
    row("another workspace's", with(entry(eight, nine), u"workspace_id"_s, u"w2"_s), 0);
    row("another person's", with(entry(eight, nine), u"user_id"_s, u"u2"_s), 0);
}

void WorkSumsTest::secondsInsideASpanCount() {
    QFETCH(const QJsonObject, entry);
    QFETCH(const qint64, seconds);
    const auto week = WorkSums::time(
        {{u"start_at"_s, u"2024-03-04T00:00:00Z"_s}, {u"end_at"_s, u"2024-03-11T00:00:00Z"_s}});
    const QJsonArray entries{entry, entry};
    QCOMPARE(WorkSums::inside({week}, entries, owner), QList<qint64>{2 * seconds});
}

void WorkSumsTest::eachSpanHasItsOwnSum() {
    const auto span = [](const QString& from, const QString& until) {
        return WorkSums::time({{u"start_at"_s, from}, {u"end_at"_s, until}});
    };
    const QString midnight = u"2024-03-05T00:00:00Z"_s;
    const QList<WorkSums::Span> spans{span(u"2024-03-04T00:00:00Z"_s, midnight),
                                      span(midnight, u"2024-03-06T00:00:00Z"_s),
                                      span(u"2024-03-04T00:00:00Z"_s, u"2024-03-06T00:00:00Z"_s)};
    const QJsonArray entries{entry(u"2024-03-04T23:30:00Z"_s, u"2024-03-05T00:15:00Z"_s)};
    QCOMPARE(WorkSums::inside(spans, entries, owner), QList<qint64>({1800, 900, 2700}));
    QCOMPARE(WorkSums::inside({}, entries, owner), QList<qint64>());
}

void WorkSumsTest::aPeriodWithoutReadableTimesIsEmpty() {
    const QString time = u"2024-03-04T00:00:00Z"_s;
    const QList<QJsonObject> periods{
        {{u"start_at"_s, time}}, {{u"end_at"_s, time}}, {{u"start_at"_s, u"soon"_s}, {u"end_at"_s, time}}};
    for (const QJsonObject& unreadable : periods) {
        const QJsonArray entries{entry(u"1970-01-01T00:00:00Z"_s, u"2100-01-01T00:00:00Z"_s)};
        QCOMPARE(WorkSums::inside({WorkSums::time(unreadable)}, entries, owner), QList<qint64>{0});
    }
}

void WorkSumsTest::daysBeginAndEndAtMidnightOfTheZone() {
    // On 29 March 2024 Israel put its clocks forward.
    const QTimeZone zone("Asia/Jerusalem"_ba);
    const WorkSums::Span span = WorkSums::days({QDate(2024, 3, 24), QDate(2024, 3, 30)}, zone);
    const auto text = [](qint64 ms) {
        return QDateTime::fromMSecsSinceEpoch(ms).toUTC().toString(Qt::ISODate);
    };
    QCOMPARE(text(span.from), u"2024-03-23T22:00:00Z"_s);
    QCOMPARE(text(span.until), u"2024-03-30T21:00:00Z"_s);
}

void WorkSumsTest::aWeekHoldsItsSevenDays() {
    const QDate sunday(2024, 3, 3);
    for (int day = 0; day < 7; ++day) {
        const auto week = WorkSums::weekOf(sunday.addDays(day), Qt::Sunday);
        QCOMPARE(week.first, sunday);
        QCOMPARE(week.last, sunday.addDays(6));
    }
}

QTEST_GUILESS_MAIN(WorkSumsTest)
#include "worksums.moc"
