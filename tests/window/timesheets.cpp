// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

QJsonObject period(const QString& id, const QString& status, const QString& user = u"u1"_s) {
    return {{u"id"_s, id},
            {u"workspace_id"_s, u"w1"_s},
            {u"user_id"_s, user},
            {u"status"_s, status},
            {u"start_at"_s, u"2021-02-27T22:00:00Z"_s},
            {u"end_at"_s, u"2021-03-06T22:00:00Z"_s},
            {u"from_date"_s, u"2021-02-28"_s},
            {u"to_date"_s, u"2021-03-06"_s},
            {u"timezone"_s, u"Asia/Jerusalem"_s},
            {u"version"_s, 2}};
}

QJsonObject documentWith(const QJsonArray& periods) {
    QJsonObject document =
        WindowFixture::document({WindowFixture::entry(u"e1"_s), WindowFixture::entry(u"e2"_s, 5)});
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"timesheet_periods", periods);
    document.insert(u"snapshot", snapshot);
    return document;
}

} // namespace

/// What the periods hold and how far the week is.
class WindowTimesheetsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* row(int index) const;
    [[nodiscard]] QString text(int row, const QString& part) const;

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup() { m_fixture.reset(); }

    void eachPeriodShowsItsStateAndItsSum_data();
    void eachPeriodShowsItsStateAndItsSum();
    void whatTheServerSaysOfAPeriodStays();
    void aPeriodOfSomebodyElseHasNoSum();
    void sumsFollowTheEntries();
    void theWeekIsToldInBothLanguages();
    void theWeekGoesOnWithTheTimer();
    void aTimerInAClosedPeriodIsWarnedOf();
    void aLockedTimerIsNotOpenedForChanges();
};

void WindowTimesheetsTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->window->setProperty("hebrew", false);
}

QQuickItem* WindowTimesheetsTest::row(int index) const {
    const auto* const list = m_fixture->item(u"periodList"_s);
    const auto children = list->property("contentItem").value<QQuickItem*>()->childItems();
    for (QQuickItem* const child : children) {
        if (child->isVisible() && child->property("row").isValid() &&
            child->property("index").toInt() == index) {
            return child;
        }
    }
    return nullptr;
}

QString WindowTimesheetsTest::text(int index, const QString& part) const {
    const QQuickItem* const found = row(index);
    return found ? found->findChild<QQuickItem*>(part)->property("text").toString() : u"no row"_s;
}

void WindowTimesheetsTest::eachPeriodShowsItsStateAndItsSum_data() {
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QTest::newRow("open") << u"open"_s << u"Open"_s << u"פתוחה"_s;
    QTest::newRow("submitted") << u"submitted"_s << u"Submitted"_s << u"הוגשה"_s;
    QTest::newRow("approved") << u"approved"_s << u"Approved"_s << u"אושרה"_s;
    QTest::newRow("unknown") << u"on-hold"_s << QString() << QString();
}

void WindowTimesheetsTest::eachPeriodShowsItsStateAndItsSum() {
    QFETCH(const QString, status);
    QFETCH(const QString, english);
    QFETCH(const QString, hebrew);
    m_fixture->show(documentWith({period(u"s1"_s, status)}));
    m_fixture->openTab(4);
    QTRY_VERIFY(row(0));
    QCOMPARE(text(0, u"periodState"_s), english);
    QCOMPARE(text(0, u"periodSum"_s), u"00:02:00"_s);
    QVERIFY(WindowFixture::texts(row(0)).contains(status + u" · Asia/Jerusalem · v2"_s));
    m_fixture->window->setProperty("hebrew", true);
    m_fixture->layOut();
    QTRY_COMPARE(text(0, u"periodState"_s), hebrew);
    QCOMPARE(text(0, u"periodSum"_s), u"00:02:00"_s);
}

void WindowTimesheetsTest::whatTheServerSaysOfAPeriodStays() {
    m_fixture->window->setProperty("hebrew", true);
    m_fixture->show(documentWith({period(u"s1"_s, u"approved"_s)}));
    m_fixture->openTab(4);
    QTRY_VERIFY(row(0));
    const QStringList texts = WindowFixture::texts(row(0));
    QVERIFY(texts.contains(u"2021-02-28 → 2021-03-06"_s));
    QVERIFY(texts.contains(u"approved · Asia/Jerusalem · v2"_s));
}

void WindowTimesheetsTest::aPeriodOfSomebodyElseHasNoSum() {
    m_fixture->show(documentWith({period(u"s1"_s, u"open"_s, u"u2"_s), period(u"s2"_s, u"open"_s)}));
    m_fixture->openTab(4);
    QTRY_VERIFY(row(1));
    QCOMPARE(text(0, u"periodSum"_s), QString());
    QCOMPARE(text(0, u"periodState"_s), u"Open"_s);
    QCOMPARE(text(1, u"periodSum"_s), u"00:02:00"_s);
}

void WindowTimesheetsTest::sumsFollowTheEntries() {
    m_fixture->show(documentWith({period(u"s1"_s, u"open"_s)}));
    m_fixture->openTab(4);
    QTRY_VERIFY(row(0));
    QCOMPARE(text(0, u"periodSum"_s), u"00:02:00"_s);
    QJsonObject document = documentWith({period(u"s1"_s, u"open"_s)});
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"time_entries", QJsonArray{WindowFixture::entry(u"e1"_s)});
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);
    QCOMPARE(text(0, u"periodSum"_s), u"00:01:00"_s);
}

void WindowTimesheetsTest::theWeekIsToldInBothLanguages() {
    m_fixture->show(documentWith({}));
    m_fixture->openTab(4);
    const auto line = [this] { return m_fixture->item(u"openWeek"_s)->property("text").toString(); };
    const auto plain = [&line] { return line().remove(QChar(0x2066)).remove(QChar(0x2069)); };
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(QTimeZone("Asia/Jerusalem"_ba)).date();
    const int left = 6 - today.dayOfWeek() % 7;
    const QString english = left == 0   ? u"today is its last day"_s
                            : left == 1 ? u"1 day left"_s
                                        : u"%1 days left"_s.arg(left);
    QCOMPARE(plain(), u"This week so far: 00:00:00 · "_s + english);
    m_fixture->window->setProperty("hebrew", true);
    QVERIFY(plain().startsWith(u"השבוע עד כה: 00:00:00 · "_s));
}

void WindowTimesheetsTest::theWeekGoesOnWithTheTimer() {
    m_fixture->show(documentWith({}));
    m_fixture->openTab(4);
    const auto line = [this] { return m_fixture->item(u"openWeek"_s)->property("text").toString(); };
    QVERIFY(line().contains(u"00:00:00"_s));
    QJsonObject document = documentWith({});
    QJsonObject running = WindowFixture::entry(u"e9"_s);
    running.insert(u"start_at", QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
    running.insert(u"stop_at", QJsonValue::Null);
    document.insert(u"timer", running);
    // Nothing but the clock tells of it.
    m_fixture->controller.applyDurable(document);
    QTRY_VERIFY(!line().contains(u"00:00:00"_s));
}

void WindowTimesheetsTest::aTimerInAClosedPeriodIsWarnedOf() {
    QJsonObject now = period(u"s1"_s, u"submitted"_s);
    now.insert(u"end_at", QDateTime::currentDateTimeUtc().addDays(1).toString(Qt::ISODate));
    m_fixture->show(documentWith({period(u"s1"_s, u"submitted"_s)}));
    QVERIFY(!m_fixture->item(u"timerNotice"_s)->isVisible());
    m_fixture->show(documentWith({now}));
    const QQuickItem* const notice = m_fixture->item(u"timerNotice"_s);
    QVERIFY(notice->isVisible());
    QCOMPARE(notice->property("text").toString(),
             u"Time measured now lies in a submitted period; the server will refuse it."_s);
}

void WindowTimesheetsTest::aLockedTimerIsNotOpenedForChanges() {
    QJsonObject running = WindowFixture::entry(u"e9"_s);
    running.insert(u"stop_at", QJsonValue::Null);
    QJsonObject document = documentWith({period(u"s1"_s, u"submitted"_s)});
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"time_entries", QJsonArray{running});
    document.insert(u"snapshot", snapshot);
    document.insert(u"timer", running);
    m_fixture->show(document);
    m_fixture->click(m_fixture->item(u"editTimer"_s));
    QCOMPARE(m_fixture->controller.message(),
             u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s);
    QVERIFY(!m_fixture->object(u"entryDialog"_s)->property("visible").toBool());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowTimesheetsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "timesheets.moc"
