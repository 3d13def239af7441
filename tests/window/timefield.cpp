// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QTest>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

/// A time is typed in short or chosen, by mouse and by keyboard; the field holds it as ISO text with the
/// offset of the account's time zone.
class WindowTimeFieldTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] QQuickItem* opener(const char* field) const {
        return item(field)->findChild<QQuickItem*>(u"pickTime"_s);
    }
    [[nodiscard]] QObject* picker(const char* field) const {
        return item(field)->findChild<QObject*>(u"timePicker"_s);
    }
    [[nodiscard]] bool isPicking(const char* field) const {
        const QObject* const found = picker(field);
        return found != nullptr && found->property("opened").toBool();
    }
    /// What the popup of a field holds.
    [[nodiscard]] QQuickItem* part(const char* field, const QString& name) const;
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const {
        QTest::keyClick(m_fixture->window, key, modifiers);
    }
    void type(const char* field, const QString& text) const;
    void openByKey(const char* field, const QString& text) const;

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void shortFormIsReadWhenTheFieldIsLeft_data();
    void shortFormIsReadWhenTheFieldIsLeft();
    void shortFormIsNotReadWhileAnotherWindowIsLookedAt();
    void shortFormIsReadWhenTheFormIsSubmitted_data();
    void shortFormIsReadWhenTheFormIsSubmitted();
    void timeAloneIsOfTheOtherFieldsDay();
    void timeAloneStaysOnTheDayThatTheFieldHeld();
    void timeOfTheRepeatedHourIsOfTheSecondOneThere_data();
    void timeOfTheRepeatedHourIsOfTheSecondOneThere();
    void midnightIsOfTheAccountsZone();
    void timeTypedOverMidnightIsOfTheDayThatEndedThen_data();
    void timeTypedOverMidnightIsOfTheDayThatEndedThen();
    void dayTypedAfterTheTimeBringsItsOffset();
    void arrowOnHalfATimeIsNoTimeOfTheProgram();
    void aShortFormThatIsNoTimeIsRefused_data();
    void aShortFormThatIsNoTimeIsRefused();
    void whatCannotBeReadStays_data();
    void whatCannotBeReadStays();
    void shiftAndArrowsMoveByAQuarterOfAnHour();
    void timeIsChosenByMouse();
    void timeIsChosenByKeyboard_data();
    void timeIsChosenByKeyboard();
    void escapeLeavesTheTimeAsItWas();
    void aFormThatClosesTakesItsCalendarWithIt();
    void monthIsTurned();
    void weeksBeginAsTheTimesheetsHaveIt();
    void skippedQuartersAreShownAndNotOffered();
    void skippedQuarterIsNotChosenByAssistiveTechnology();
    void repeatedQuartersTellTheirOffset();
    void everythingIsNamed_data();
    void everythingIsNamed();
};

namespace {

QString inJerusalem(int days, QTime time) {
    const QTimeZone zone("Asia/Jerusalem");
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone).date();
    return QDateTime(today.addDays(days), time, zone).toString(Qt::ISODate);
}

QString accessibleName(QQuickItem* item) {
    return QAccessible::queryAccessibleInterface(item)->text(QAccessible::Name);
}

} // namespace

void WindowTimeFieldTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document());
    QTRY_VERIFY(m_fixture->window->isActive());
    const QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    m_fixture->click(item("manualEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
}

void WindowTimeFieldTest::cleanup() {
    m_fixture.reset();
}

QQuickItem* WindowTimeFieldTest::part(const char* field, const QString& name) const {
    QQuickItem* found = nullptr;
    auto* const content = picker(field)->property("contentItem").value<QQuickItem*>();
    const bool there = QTest::qWaitFor([&] {
        m_fixture->layOut();
        return (found = findDrawn(content, name)) != nullptr;
    });
    if (!there) {
        qFatal("no %s in the popup", qPrintable(name));
    }
    return found;
}

void WindowTimeFieldTest::type(const char* field, const QString& text) const {
    item(field)->forceActiveFocus();
    item(field)->setProperty("text", QString());
    for (const QChar letter : text) {
        QTest::sendKeyEvent(QTest::Click, m_fixture->window, Qt::Key_unknown, letter, Qt::NoModifier);
    }
    QCOMPARE(item(field)->property("text").toString(), text);
}

void WindowTimeFieldTest::openByKey(const char* field, const QString& text) const {
    item(field)->forceActiveFocus();
    item(field)->setProperty("text", text);
    press(Qt::Key_Down, Qt::AltModifier);
    QTRY_VERIFY(isPicking(field));
}

void WindowTimeFieldTest::shortFormIsReadWhenTheFieldIsLeft_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("days");
    QTest::addColumn<QTime>("time");
    QTest::newRow("time") << u"9:15"_s << 0 << QTime(9, 15);
    QTest::newRow("English") << u"yesterday 17:00"_s << -1 << QTime(17, 0);
    QTest::newRow("Hebrew") << u"אתמול 17:00"_s << -1 << QTime(17, 0);
}

void WindowTimeFieldTest::shortFormIsReadWhenTheFieldIsLeft() {
    QFETCH(const QString, typed);
    QFETCH(const int, days);
    QFETCH(const QTime, time);
    type("manualFrom", typed);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), inJerusalem(days, time));
}

void WindowTimeFieldTest::shortFormIsNotReadWhileAnotherWindowIsLookedAt() {
    type("manualFrom", u"9"_s);
    QWindow other;
    other.resize(100, 100);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    other.requestActivate();
    QTRY_VERIFY(other.isActive() && !item("manualFrom")->hasActiveFocus());
    QCOMPARE(text("manualFrom"), u"9"_s);
    m_fixture->window->requestActivate();
    QTRY_VERIFY(item("manualFrom")->hasActiveFocus());
    for (const QChar letter : u":15"_s) {
        QTest::sendKeyEvent(QTest::Click, m_fixture->window, Qt::Key_unknown, letter, Qt::NoModifier);
    }
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), inJerusalem(0, {9, 15}));
}

void WindowTimeFieldTest::shortFormIsReadWhenTheFormIsSubmitted_data() {
    QTest::addColumn<QString>("way");
    QTest::newRow("Enter") << u"enter"_s;
    QTest::newRow("OK") << u"click"_s;
    QTest::newRow("assistive technology") << u"press"_s;
}

void WindowTimeFieldTest::shortFormIsReadWhenTheFormIsSubmitted() {
    QFETCH(const QString, way);
    type("manualFrom", u"yesterday 9"_s);
    type("manualTo", u"yesterday 1030"_s);
    QQuickItem* const ok = m_fixture->object(u"manualDialog"_s)->findChild<QQuickItem*>(u"ok"_s);
    if (way == u"enter"_s) {
        press(Qt::Key_Return);
    } else if (way == u"click"_s) {
        m_fixture->click(ok);
    } else {
        QAccessible::setActive(true);
        pressByAssistiveTechnology(ok);
    }
    QCOMPARE(m_fixture->controller.pending(), 1);
    const QVariantMap entry = m_fixture->controller.entries().constFirst().toMap();
    const auto instant = [](const QVariant& text) {
        return QDateTime::fromString(text.toString(), Qt::ISODate);
    };
    QCOMPARE(instant(entry.value(u"start_at"_s)), instant(inJerusalem(-1, {9, 0})));
    QCOMPARE(instant(entry.value(u"stop_at"_s)), instant(inJerusalem(-1, {10, 30})));
}

void WindowTimeFieldTest::timeAloneIsOfTheOtherFieldsDay() {
    item("manualFrom")->setProperty("text", u"2021-03-02T09:00:00+02:00"_s);
    type("manualTo", u"10:30"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualTo"), u"2021-03-02T10:30:00+02:00"_s);
}

void WindowTimeFieldTest::timeAloneStaysOnTheDayThatTheFieldHeld() {
    item("manualFrom")->setProperty("text", u"2021-03-01T23:00:00+02:00"_s);
    item("manualTo")->setProperty("text", u"2021-03-02T01:00:00+02:00"_s);
    type("manualFrom", u"22:30"_s);
    type("manualTo", u"1:30"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), u"2021-03-01T22:30:00+02:00"_s);
    QCOMPARE(text("manualTo"), u"2021-03-02T01:30:00+02:00"_s);
}

void WindowTimeFieldTest::timeOfTheRepeatedHourIsOfTheSecondOneThere_data() {
    QTest::addColumn<QString>("typed");
    QTest::newRow("time") << u"1:20"_s;
    QTest::newRow("day and time") << u"2026-10-25 01:20"_s;
}

void WindowTimeFieldTest::timeOfTheRepeatedHourIsOfTheSecondOneThere() {
    QFETCH(const QString, typed);
    item("manualFrom")->setProperty("text", u"2026-10-25T01:10:00+02:00"_s);
    type("manualFrom", typed);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), u"2026-10-25T01:20:00+02:00"_s);
}

void WindowTimeFieldTest::midnightIsOfTheAccountsZone() {
    type("manualFrom", u"2026-09-23 24:00"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), u"2026-09-24T00:00:00+03:00"_s);
}

void WindowTimeFieldTest::timeTypedOverMidnightIsOfTheDayThatEndedThen_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("then");
    QTest::newRow("another time") << u"23:45"_s << u"2026-09-23T23:45:00+03:00"_s;
    QTest::newRow("midnight again") << u"24:00"_s << u"2026-09-24T00:00:00+03:00"_s;
}

void WindowTimeFieldTest::timeTypedOverMidnightIsOfTheDayThatEndedThen() {
    QFETCH(const QString, typed);
    QFETCH(const QString, then);
    item("manualFrom")->setProperty("text", u"2026-09-23T20:00:00+03:00"_s);
    type("manualTo", u"24:00"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualTo"), u"2026-09-24T00:00:00+03:00"_s);
    type("manualTo", typed);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualTo"), then);
}

void WindowTimeFieldTest::dayTypedAfterTheTimeBringsItsOffset() {
    for (const QString& typed : {u"2026-10-23T09:00:00+03:00"_s, u"2026-10-23T09:15:00+03:00"_s}) {
        type("manualFrom", typed);
        press(Qt::Key_Tab);
    }
    type("manualFrom", u"2026-10-26T09:15:00+03:00"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), u"2026-10-26T09:15:00+02:00"_s);
}

void WindowTimeFieldTest::arrowOnHalfATimeIsNoTimeOfTheProgram() {
    type("manualFrom", u"2026-10-23T09:00:00+03:00"_s);
    press(Qt::Key_Tab);
    type("manualFrom", u"2026-10-2T09:00:00+03:00"_s);
    press(Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(text("manualFrom"), u"2026-10-2T09:00:00+03:00"_s);
    type("manualFrom", u"2026-10-26T09:00:00+03:00"_s);
    press(Qt::Key_Tab);
    QCOMPARE(text("manualFrom"), u"2026-10-26T09:00:00+02:00"_s);
}

void WindowTimeFieldTest::aShortFormThatIsNoTimeIsRefused_data() {
    QTest::addColumn<QString>("typed");
    QTest::newRow("skipped in the account's zone") << u"2026-03-27 02:30"_s;
    QTest::newRow("a day") << u"2026-03-27"_s;
}

void WindowTimeFieldTest::aShortFormThatIsNoTimeIsRefused() {
    QFETCH(const QString, typed);
    type("manualFrom", typed);
    type("manualTo", u"28.3.2026 9"_s);
    press(Qt::Key_Return);
    QCOMPARE(m_fixture->controller.pending(), 0);
    QCOMPARE(text("manualFrom"), typed);
    QVERIFY(item("refusal")->isVisible());
}

void WindowTimeFieldTest::whatCannotBeReadStays_data() {
    QTest::addColumn<QString>("typed");
    QTest::newRow("words") << u"tomorrow"_s;
    QTest::newRow("half typed") << u"2021-03-02T1"_s;
    QTest::newRow("no offset") << u"2021-03-02T10:00:00"_s;
    QTest::newRow("another offset") << u"2021-03-02T10:00:00-05:00"_s;
    QTest::newRow("skipped by the clocks") << u"27.3.2026 2:30"_s;
    QTest::newRow("skipped, ISO day") << u"2026-03-27 02:30"_s;
}

void WindowTimeFieldTest::whatCannotBeReadStays() {
    QFETCH(const QString, typed);
    type("manualFrom", typed);
    press(Qt::Key_Tab);
    QVERIFY(!item("manualFrom")->hasActiveFocus());
    QCOMPARE(text("manualFrom"), typed);
}

void WindowTimeFieldTest::shiftAndArrowsMoveByAQuarterOfAnHour() {
    type("manualFrom", u"yesterday 9:50"_s);
    press(Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(text("manualFrom"), inJerusalem(-1, {10, 5}));
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(text("manualFrom"), inJerusalem(-1, {9, 35}));
    press(Qt::Key_Up);
    press(Qt::Key_Down);
    QCOMPARE(text("manualFrom"), inJerusalem(-1, {9, 35}));

    // The other field begins there.
    item("manualTo")->forceActiveFocus();
    press(Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(text("manualTo"), inJerusalem(-1, {9, 50}));
}

void WindowTimeFieldTest::timeIsChosenByMouse() {
    item("manualFrom")->setProperty("text", u"2021-03-02T09:07:00+02:00"_s);
    m_fixture->click(opener("manualFrom"));
    QTRY_VERIFY(isPicking("manualFrom"));
    m_fixture->click(part("manualFrom", u"2021-03-18"_s));
    QCOMPARE(text("manualFrom"), u"2021-03-02T09:07:00+02:00"_s);
    m_fixture->click(part("manualFrom", u"2021-03-18T09:15:00+02:00"_s));
    QCOMPARE(text("manualFrom"), u"2021-03-18T09:15:00+02:00"_s);
    QTRY_VERIFY(!picker("manualFrom")->property("visible").toBool());
    QVERIFY(item("manualFrom")->hasActiveFocus());
}

void WindowTimeFieldTest::timeIsChosenByKeyboard_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<Qt::Key>("forward");
    QTest::newRow("Hebrew") << true << Qt::Key_Left;
    QTest::newRow("English") << false << Qt::Key_Right;
}

void WindowTimeFieldTest::timeIsChosenByKeyboard() {
    QFETCH(const bool, hebrew);
    QFETCH(const Qt::Key, forward);
    m_fixture->window->setProperty("hebrew", hebrew);
    openByKey("manualFrom", u"2021-03-02T09:07:00+02:00"_s);
    QTRY_VERIFY(part("manualFrom", u"2021-03-02"_s)->hasActiveFocus());
    press(forward);
    QVERIFY(part("manualFrom", u"2021-03-03"_s)->hasActiveFocus());
    press(Qt::Key_Down);
    QVERIFY(part("manualFrom", u"2021-03-10"_s)->hasActiveFocus());
    press(Qt::Key_Up);
    press(Qt::Key_Up);
    QVERIFY(part("manualFrom", u"2021-02-24"_s)->hasActiveFocus());
    press(Qt::Key_PageUp);
    QVERIFY(part("manualFrom", u"2021-01-24"_s)->hasActiveFocus());
    press(Qt::Key_PageDown);
    QVERIFY(part("manualFrom", u"2021-02-24"_s)->hasActiveFocus());

    press(Qt::Key_Return);
    // Another day, and the time that it was.
    QVERIFY(part("manualFrom", u"2021-02-24T09:07:00+02:00"_s)->hasActiveFocus());
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    press(Qt::Key_Up);
    QVERIFY(part("manualFrom", u"2021-02-24T09:15:00+02:00"_s)->hasActiveFocus());
    QCOMPARE(text("manualFrom"), u"2021-03-02T09:07:00+02:00"_s);
    press(Qt::Key_Return);
    QCOMPARE(text("manualFrom"), u"2021-02-24T09:15:00+02:00"_s);
    QTRY_VERIFY(!picker("manualFrom")->property("visible").toBool());
    QVERIFY(item("manualFrom")->hasActiveFocus());
    QCOMPARE(m_fixture->controller.pending(), 0);
}

void WindowTimeFieldTest::escapeLeavesTheTimeAsItWas() {
    openByKey("manualFrom", u"2021-03-02T09:07:00+02:00"_s);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    press(Qt::Key_Down);
    press(Qt::Key_Escape);
    QTRY_VERIFY(!picker("manualFrom")->property("visible").toBool());
    QCOMPARE(text("manualFrom"), u"2021-03-02T09:07:00+02:00"_s);
    QVERIFY(m_fixture->object(u"manualDialog"_s)->property("opened").toBool());
    QVERIFY(item("manualFrom")->hasActiveFocus());
}

void WindowTimeFieldTest::aFormThatClosesTakesItsCalendarWithIt() {
    openByKey("manualFrom", {});
    QMetaObject::invokeMethod(m_fixture->object(u"manualDialog"_s), "reject");
    QTRY_VERIFY(!isPicking("manualFrom"));
}

void WindowTimeFieldTest::monthIsTurned() {
    m_fixture->window->setProperty("hebrew", false);
    openByKey("manualFrom", u"2021-01-31T09:00:00+02:00"_s);
    const auto month = [this] { return part("manualFrom", u"month"_s)->property("text").toString(); };
    QCOMPARE(month(), u"January 2021"_s);
    m_fixture->click(part("manualFrom", u"monthAfter"_s));
    QCOMPARE(month(), u"February 2021"_s);
    m_fixture->click(part("manualFrom", u"monthBefore"_s));
    m_fixture->click(part("manualFrom", u"monthBefore"_s));
    QCOMPARE(month(), u"December 2020"_s);
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(month(), u"דצמבר 2020"_s);
    // The week begins on its right.
    QVERIFY(part("manualFrom", u"2020-12-06"_s)->mapToScene({}).x() >
            part("manualFrom", u"2020-12-07"_s)->mapToScene({}).x());
}

void WindowTimeFieldTest::weeksBeginAsTheTimesheetsHaveIt() {
    QJsonObject document = WindowFixture::document();
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"timesheet_periods", QJsonArray{QJsonObject{{u"workspace_id"_s, u"w1"_s},
                                                                 {u"from_date"_s, u"2021-01-30"_s},
                                                                 {u"to_date"_s, u"2021-02-05"_s}}});
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);
    m_fixture->window->setProperty("hebrew", false);
    openByKey("manualFrom", u"2021-02-10T09:00:00+02:00"_s);
    const auto x = [this](const QString& day) { return part("manualFrom", day)->mapToScene({}).x(); };
    QVERIFY(x(u"2021-02-06"_s) < x(u"2021-02-07"_s));
    QVERIFY(x(u"2021-02-05"_s) > x(u"2021-02-06"_s));
}

void WindowTimeFieldTest::skippedQuartersAreShownAndNotOffered() {
    m_fixture->window->setProperty("hebrew", false);
    openByKey("manualFrom", u"2026-03-27T01:45:00+02:00"_s);
    press(Qt::Key_Return);
    const auto* const list = part("manualFrom", u"quarters"_s);
    const QStringList shown = WindowFixture::texts(list);
    for (const QString& time : {u"02:00"_s, u"02:15"_s, u"02:30"_s, u"02:45"_s}) {
        QVERIFY2(shown.contains(time), qPrintable(shown.join(u' ')));
    }
    QCOMPARE(shown.count(u"skipped"_s), 4);
    press(Qt::Key_Down);
    QVERIFY(part("manualFrom", u"2026-03-27T03:00:00+03:00"_s)->hasActiveFocus());
    press(Qt::Key_Up);
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QCOMPARE(text("manualFrom"), u"2026-03-27T03:00:00+03:00"_s);
}

void WindowTimeFieldTest::skippedQuarterIsNotChosenByAssistiveTechnology() {
    QAccessible::setActive(true);
    openByKey("manualFrom", u"2026-03-27T01:45:00+02:00"_s);
    press(Qt::Key_Return);
    const auto texts = WindowFixture::textItems(part("manualFrom", u"quarters"_s));
    const auto found = std::find_if(texts.cbegin(), texts.cend(), [](const QQuickItem* text) {
        return text->property("text").toString() == u"02:15"_s;
    });
    QVERIFY(found != texts.cend());
    QQuickItem* quarter = *found;
    while (!quarter->inherits("QQuickItemDelegate")) {
        quarter = quarter->parentItem();
    }
    pressByAssistiveTechnology(quarter);
    QCOMPARE(text("manualFrom"), u"2026-03-27T01:45:00+02:00"_s);
    QVERIFY(isPicking("manualFrom"));
}

void WindowTimeFieldTest::repeatedQuartersTellTheirOffset() {
    openByKey("manualFrom", u"2026-10-25T01:45:00+03:00"_s);
    press(Qt::Key_Return);
    const QStringList shown = WindowFixture::texts(part("manualFrom", u"quarters"_s));
    QCOMPARE(shown.count(u"01:45"_s), 2);
    QVERIFY(shown.contains(u"+03:00"_s));
    QVERIFY(shown.contains(u"+02:00"_s));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QCOMPARE(text("manualFrom"), u"2026-10-25T01:00:00+02:00"_s);
}

void WindowTimeFieldTest::everythingIsNamed_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<QString>("opener");
    QTest::addColumn<QString>("day");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("repeated");
    QTest::newRow("Hebrew") << true << u"בחירת תאריך ושעה: התחלה"_s << u"אוקטובר"_s << u"החודש הקודם"_s
                            << u"החודש הבא"_s << u"שעה"_s << u"01:00, +02:00"_s;
    QTest::newRow("English") << false << u"Choose date and time: From"_s << u"October"_s
                             << u"Previous month"_s << u"Next month"_s << u"Time"_s << u"01:00, +02:00"_s;
}

void WindowTimeFieldTest::everythingIsNamed() {
    QFETCH(const bool, hebrew);
    QFETCH(const QString, day);
    QAccessible::setActive(true);
    m_fixture->window->setProperty("hebrew", hebrew);
    QTEST(accessibleName(opener("manualFrom")), "opener");
    pressByAssistiveTechnology(opener("manualFrom"));
    QTRY_VERIFY(isPicking("manualFrom"));
    press(Qt::Key_Escape);
    QTRY_VERIFY(!picker("manualFrom")->property("visible").toBool());

    openByKey("manualFrom", u"2026-10-25T01:00:00+02:00"_s);
    const QString name = accessibleName(part("manualFrom", u"2026-10-25"_s));
    QVERIFY2(name.contains(day) && name.contains(u"25"_s) && name.contains(u"2026"_s), qPrintable(name));
    QTEST(accessibleName(part("manualFrom", u"monthBefore"_s)), "before");
    QTEST(accessibleName(part("manualFrom", u"monthAfter"_s)), "after");
    QTEST(accessibleName(part("manualFrom", u"quarters"_s)), "list");
    QTEST(accessibleName(part("manualFrom", u"2026-10-25T01:00:00+02:00"_s)), "repeated");
}

int main(int argc, char* argv[]) {
    qputenv("TZ", "Europe/Berlin"); // the device is elsewhere
    QApplication application(argc, argv);
    prepareApplication();
    WindowTimeFieldTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "timefield.moc"
