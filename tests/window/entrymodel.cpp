// SPDX-License-Identifier: MIT
#include "qt/qml/TimerKelvaro/entrymodel.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// An entry that tells its project and how long it took.
QJsonObject entry(const QString& id, const QString& start, const QString& stop,
                  const QString& project = u"project-1"_s) {
    QJsonObject made = sample::entry(id, start, stop);
    made.insert(u"project_id", project);
    made.insert(u"duration_seconds",
                QDateTime::fromString(start, Qt::ISODate).secsTo(QDateTime::fromString(stop, Qt::ISODate)));
    return made;
}

QJsonObject renamed(QJsonObject entry, const QString& description) {
    entry.insert(u"description", description);
    return entry;
}

/// Two days of Jerusalem's summer, the zone until the server names one; one entry is over midnight.
QJsonArray summer() {
    return {
        renamed(entry(u"a"_s, u"2024-07-01T07:10:00Z"_s, u"2024-07-01T08:25:00Z"_s), u"Plan the garden"_s),
        renamed(entry(u"b"_s, u"2024-07-01T20:30:00Z"_s, u"2024-07-01T23:30:00Z"_s), u"Paint"_s),
        renamed(entry(u"c"_s, u"2024-07-01T22:00:00Z"_s, u"2024-07-01T22:00:30Z"_s, QString()),
                u"Café שיחה"_s),
    };
}

} // namespace

/// What the list shows of the controller's entries.
class EntryModelTest : public QObject {
    Q_OBJECT

    void show(const QJsonArray& entries, const QJsonObject& timer = {}, const QJsonArray& periods = {});
    [[nodiscard]] QStringList column(EntryModel::Role role) const;
    [[nodiscard]] QStringList ids() const { return column(EntryModel::IdRole); }
    void find(const QString& text);

    std::unique_ptr<Controller> m_controller;
    std::unique_ptr<EntryModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

private Q_SLOTS:
    void init();
    void cleanup();

    void everyDayHasAHeadingWithItsSum();
    void headingsFollowWhatChanges();
    void timesAreThoseOfTheAccountsZone_data();
    void timesAreThoseOfTheAccountsZone();
    void aFieldsTimeNamesItsOffset();
    void projectsAreToldAsTheCatalogHasThem();
    void whatIsNoColorIsToldAsNone();
    void findsDescriptionProjectAndClient_data();
    void findsDescriptionProjectAndClient();
    void whatIsFoundIsCountedAndSummed();
    void findingFollowsChanges();
    void aFoundEntryKeepsItsRow();
    void aLetterTypedMeanwhileBeginsAnew();
    void todayAndWeekCountTheRunningTimer();
    void sumsCountWhatLiesInThem();
    void aTimerOfAnotherWorkspaceDoesNotCount();
    void weeksBeginAsTheTimesheetsDo();
};

void EntryModelTest::init() {
    startClean();
    m_controller = std::make_unique<Controller>();
    m_model = std::make_unique<EntryModel>();
    m_tester = std::make_unique<QAbstractItemModelTester>(m_model.get());
    m_model->setController(m_controller.get());
}

void EntryModelTest::cleanup() {
    m_tester.reset();
    m_model.reset();
    m_controller.reset();
}

void EntryModelTest::show(const QJsonArray& entries, const QJsonObject& timer, const QJsonArray& periods) {
    QJsonObject snapshot = sample::snapshot(entries, periods);
    const QJsonObject project{{u"id"_s, u"project-1"_s},
                              {u"name"_s, u"Garden"_s},
                              {u"color"_s, u"#17bebb"_s},
                              {u"client_name"_s, u"מרפאת הדר"_s}};
    const QJsonObject plain{{u"id"_s, u"project-2"_s}, {u"color"_s, u"a shade of green"_s}};
    snapshot.insert(u"catalog", QJsonObject{{u"projects"_s, QJsonArray{project, plain}}});
    QJsonObject state = sample::durable(snapshot);
    state.insert(u"timer", timer);
    m_controller->applyDurable(state);
    Q_EMIT m_controller->changed();
}

QStringList EntryModelTest::column(EntryModel::Role role) const {
    QStringList values;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        values.append(m_model->data(m_model->index(row), role).toString());
    }
    return values;
}

void EntryModelTest::find(const QString& text) {
    m_model->setWanted(text);
    while (m_model->search()) {
    }
}

void EntryModelTest::everyDayHasAHeadingWithItsSum() {
    show(summer());
    QCOMPARE(ids(), QStringList({u"c"_s, u"b"_s, u"a"_s}));
    QCOMPARE(column(EntryModel::DayRole), QStringList({u"2024-07-02"_s, u"2024-07-01"_s, QString()}));
    QCOMPARE(column(EntryModel::DaySumRole), QStringList({u"00:00:30"_s, u"04:15:00"_s, QString()}));
}

void EntryModelTest::headingsFollowWhatChanges() {
    show(summer());
    QSignalSpy removed(m_model.get(), &EntryModel::rowsRemoved);
    QSignalSpy reset(m_model.get(), &EntryModel::modelReset);
    QJsonArray entries = summer();
    entries.append(entry(u"d"_s, u"2024-07-01T20:00:00Z"_s, u"2024-07-01T20:00:10Z"_s));
    show(entries);
    QCOMPARE(ids(), QStringList({u"c"_s, u"b"_s, u"d"_s, u"a"_s}));
    QCOMPARE(column(EntryModel::DayRole),
             QStringList({u"2024-07-02"_s, u"2024-07-01"_s, QString(), QString()}));
    QCOMPARE(column(EntryModel::DaySumRole)[1], u"04:15:10"_s);
    QCOMPARE(removed.size(), 0);

    entries.removeAt(3);
    entries.removeAt(1);
    show(entries);
    QCOMPARE(column(EntryModel::DaySumRole), QStringList({u"00:00:30"_s, u"01:15:00"_s}));
    QCOMPARE(reset.size(), 0);
    show({});
    QCOMPARE(m_model->rowCount(), 0);
}

void EntryModelTest::timesAreThoseOfTheAccountsZone_data() {
    QTest::addColumn<QString>("start");
    QTest::addColumn<QJsonValue>("stop");
    QTest::addColumn<QString>("times");
    const auto row = [](const char* name, const char* start, const char* stop, const QString& times) {
        QTest::newRow(name) << QString::fromLatin1(start) << QJsonValue(QString::fromLatin1(stop)) << times;
    };
    row("summer", "2024-07-01T07:10:00Z", "2024-07-01T08:25:00Z", u"10:10–11:25"_s);
    row("winter", "2024-01-01T07:10:00Z", "2024-01-01T08:25:59Z", u"09:10–10:25"_s);
    row("over midnight", "2024-07-01T20:30:00Z", "2024-07-01T23:30:00Z", u"23:30–02:30 +1"_s);
    row("up to midnight", "2024-07-01T20:30:00Z", "2024-07-01T21:00:00Z", u"23:30–00:00 +1"_s);
    row("over the day of 23 hours", "2024-03-28T21:30:00Z", "2024-03-29T21:30:00Z",
        u"23:30 (+02:00)–00:30 (+03:00) +2"_s);
    row("over the repeated hour", "2024-10-26T22:45:00Z", "2024-10-26T23:15:00Z",
        u"01:45 (+03:00)–01:15 (+02:00)"_s);
    row("within the repetition", "2024-10-26T23:15:00Z", "2024-10-26T23:45:00Z", u"01:15–01:45"_s);
    row("with an offset", "2024-07-01T07:10:00-05:00", "2024-07-01T08:10:00-05:00", u"15:10–16:10"_s);
    row("no time", "soon", "2024-07-01T08:25:00Z", QString());
}

void EntryModelTest::timesAreThoseOfTheAccountsZone() {
    QFETCH(const QString, start);
    QFETCH(const QJsonValue, stop);
    QFETCH(const QString, times);
    show({sample::entry(u"a"_s, start, stop)});
    QCOMPARE(column(EntryModel::TimesRole), QStringList{times});
}

void EntryModelTest::aFieldsTimeNamesItsOffset() {
    show({});
    QCOMPARE(m_model->inZone(u"2024-07-01T07:10:00Z"_s), u"2024-07-01T10:10:00+03:00"_s);
    QCOMPARE(m_model->inZone(u"2024-10-26T23:30:00Z"_s), u"2024-10-27T01:30:00+02:00"_s);
    QCOMPARE(m_model->inZone(u"soon"_s), u"soon"_s);
}

void EntryModelTest::projectsAreToldAsTheCatalogHasThem() {
    show(summer());
    const QVariantMap project = m_model->data(m_model->index(1), EntryModel::ProjectRole).toMap();
    QCOMPARE(project.value(u"name"_s).toString(), u"Garden"_s);
    QCOMPARE(project.value(u"color"_s).toString(), u"#17bebb"_s);
    QVERIFY(m_model->data(m_model->index(0), EntryModel::ProjectRole).toMap().isEmpty());
}

void EntryModelTest::whatIsNoColorIsToldAsNone() {
    QJsonObject entry = sample::entry(u"a"_s, u"2024-07-01T07:00:00Z"_s, u"2024-07-01T08:00:00Z"_s);
    entry.insert(u"project_id", u"project-2"_s);
    show({entry});
    const QVariantMap project = m_model->data(m_model->index(0), EntryModel::ProjectRole).toMap();
    QCOMPARE(project.value(u"id"_s), u"project-2"_s);
    QCOMPARE(project.value(u"color"_s), QString());
}

void EntryModelTest::findsDescriptionProjectAndClient_data() {
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QStringList>("found");
    const QStringList all{u"c"_s, u"b"_s, u"a"_s};
    QTest::newRow("nothing") << QString() << all;
    QTest::newRow("blanks") << u"  "_s << all;
    QTest::newRow("description") << u"PAINT"_s << QStringList{u"b"_s};
    QTest::newRow("description and project") << u"garden"_s << QStringList({u"b"_s, u"a"_s});
    QTest::newRow("client") << u"הדר"_s << QStringList({u"b"_s, u"a"_s});
    QTest::newRow("Hebrew") << u"שיחה"_s << QStringList{u"c"_s};
    QTest::newRow("a mark of its own") << u"CAFE\u0301"_s << QStringList{u"c"_s};
    QTest::newRow("not across fields") << u"paint garden"_s << QStringList();
    QTest::newRow("no such") << u"zzz"_s << QStringList();
}

void EntryModelTest::findsDescriptionProjectAndClient() {
    QFETCH(const QString, wanted);
    QFETCH(const QStringList, found);
    show(summer());
    m_model->setWanted(wanted);
    QTRY_COMPARE(m_model->finding(), !wanted.trimmed().isEmpty());
    QCOMPARE(ids(), found);
    m_model->setWanted(QString());
    QVERIFY(!m_model->finding());
    QCOMPARE(ids(), QStringList({u"c"_s, u"b"_s, u"a"_s}));
    QCOMPARE(column(EntryModel::DaySumRole), QStringList({u"00:00:30"_s, u"04:15:00"_s, QString()}));
}

void EntryModelTest::whatIsFoundIsCountedAndSummed() {
    show(summer());
    find(u"paint"_s);
    QCOMPARE(m_model->count(), 1);
    QCOMPARE(m_model->sum(), u"03:00:00"_s);
    QCOMPARE(column(EntryModel::DaySumRole), QStringList{u"03:00:00"_s});
    find(u"nothing like it"_s);
    QCOMPARE(m_model->count(), 0);
    QCOMPARE(m_model->sum(), u"00:00:00"_s);
    find(u"a"_s);
    QCOMPARE(m_model->count(), 3);
    QCOMPARE(m_model->sum(), u"04:15:30"_s);
}

void EntryModelTest::findingFollowsChanges() {
    show(summer());
    find(u"paint"_s);
    QJsonArray entries = summer();
    entries[0] = renamed(entries[0].toObject(), u"Paint the garden"_s);
    entries.removeAt(2);
    show(entries);
    QTRY_COMPARE(ids(), QStringList({u"b"_s, u"a"_s}));
    show({});
    QTRY_COMPARE(m_model->count(), 0);
    QVERIFY(m_model->finding());
}

void EntryModelTest::aFoundEntryKeepsItsRow() {
    show(summer());
    find(u"paint"_s);
    const QPersistentModelIndex paint(m_model->index(0));
    QCOMPARE(paint.data(EntryModel::IdRole), u"b"_s);

    QJsonArray entries = summer();
    entries[2] = renamed(entries[2].toObject(), u"Paint the door"_s);
    show(entries);
    QTRY_COMPARE(ids(), QStringList({u"c"_s, u"b"_s}));
    QCOMPARE(paint.data(EntryModel::IdRole), u"b"_s);
    QCOMPARE(column(EntryModel::DaySumRole), QStringList({u"00:00:30"_s, u"03:00:00"_s}));

    entries[0] = renamed(entries[0].toObject(), u"Paint the garden"_s);
    entries.removeAt(2);
    show(entries);
    QTRY_COMPARE(ids(), QStringList({u"b"_s, u"a"_s}));
    QCOMPARE(paint.data(EntryModel::IdRole), u"b"_s);
    QCOMPARE(column(EntryModel::DaySumRole), QStringList({u"04:15:00"_s, QString()}));
}

void EntryModelTest::aLetterTypedMeanwhileBeginsAnew() {
    QJsonArray entries;
    for (int i = 0; i < 20000; ++i) {
        const QString start =
            QDateTime::fromSecsSinceEpoch(1700000000 + 60 * i).toUTC().toString(Qt::ISODate);
        entries.append(renamed(sample::entry(u"e%1"_s.arg(i, 5, 10, QLatin1Char('0')), start, start),
                               u"Call %1"_s.arg(i)));
    }
    show(entries);
    m_model->setWanted(u"call 1"_s);
    QVERIFY(m_model->search()); // some are left
    m_model->setWanted(u"call 19999"_s);
    QTRY_COMPARE(ids(), QStringList{u"e19999"_s});
}

void EntryModelTest::todayAndWeekCountTheRunningTimer() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime noon(now.toTimeZone(QTimeZone("Asia/Jerusalem")).date(), QTime(12, 0),
                         QTimeZone("Asia/Jerusalem"));
    const auto text = [](const QDateTime& time) { return time.toUTC().toString(Qt::ISODate); };
    const QJsonArray entries{
        entry(u"today"_s, text(noon), text(noon.addSecs(600))),
        entry(u"long ago"_s, text(noon.addDays(-8)), text(noon.addDays(-8).addSecs(50)))};
    show(entries);
    QCOMPARE(m_model->today(), u"00:10:00"_s);
    QCOMPARE(m_model->week(), u"00:10:00"_s);

    QSignalSpy told(m_model.get(), &EntryModel::totalsChanged);
    const QDateTime started = std::max(noon.addSecs(-12 * 3600 + 1), now.addSecs(-2));
    show(entries, sample::entry(u"t1"_s, text(started), QJsonValue()));
    QTRY_VERIFY(m_model->today() > u"00:10:00"_s);
    QCOMPARE(m_model->week(), m_model->today());
    const QString before = m_model->today();
    QTRY_VERIFY_WITH_TIMEOUT(m_model->today() > before, 10000);
    QVERIFY(told.size() >= 2);
}

void EntryModelTest::sumsCountWhatLiesInThem() {
    const QTimeZone zone("Asia/Jerusalem");
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone).date();
    const QDate sunday = today.addDays(-(today.dayOfWeek() % 7));
    const auto around = [&zone](const QString& id, QDate day, int before, int after) {
        const QDateTime midnight = day.startOfDay(zone).toUTC();
        return entry(id, midnight.addSecs(-before).toString(Qt::ISODate),
                     midnight.addSecs(after).toString(Qt::ISODate));
    };
    show({around(u"into the week"_s, sunday, 3600, 60)});
    QCOMPARE(m_model->week(), u"00:01:00"_s);
    QCOMPARE(column(EntryModel::DaySumRole), QStringList{u"01:01:00"_s});
    // As the week is told beside the timesheets.
    QCOMPARE(m_controller->openWeek().value(u"seconds"_s).toInt(), 60);
    show({around(u"into today"_s, today, 3600, 120)});
    QCOMPARE(m_model->today(), u"00:02:00"_s);
}

void EntryModelTest::aTimerOfAnotherWorkspaceDoesNotCount() {
    QJsonObject timer = sample::entry(
        u"t1"_s, QDateTime::currentDateTimeUtc().addSecs(-60).toString(Qt::ISODate), QJsonValue());
    timer.insert(u"workspace_id", u"ws-2"_s);
    show({}, timer);
    QVERIFY(!m_controller->timer().isEmpty());
    QCOMPARE(m_model->today(), u"00:00:00"_s);
    QCOMPARE(m_model->week(), u"00:00:00"_s);
}

void EntryModelTest::weeksBeginAsTheTimesheetsDo() {
    const QTimeZone zone("Asia/Jerusalem");
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone).date();
    const auto at = [&](int daysAgo) {
        return QDateTime(today.addDays(-daysAgo), QTime(12, 0), zone).toUTC().toString(Qt::ISODate);
    };
    QJsonObject yesterday = sample::entry(u"yesterday"_s, at(1), at(1));
    yesterday.insert(u"duration_seconds", 3600);

    // A timesheet whose week begins on the weekday of that many days ago.
    const auto sheet = [&](int daysAgo) {
        QJsonObject period = sample::period(u"open"_s, at(daysAgo), at(0));
        period.insert(u"from_date", today.addDays(-daysAgo).toString(Qt::ISODate));
        period.insert(u"to_date", today.addDays(6 - daysAgo).toString(Qt::ISODate));
        return period;
    };

    show({yesterday}, {}, {sheet(7)});
    QCOMPARE(m_model->week(), u"00:00:00"_s);
    show({yesterday}, {}, {sheet(1)});
    QCOMPARE(m_model->week(), u"01:00:00"_s);
}

QTEST_MAIN(EntryModelTest)
#include "entrymodel.moc"
