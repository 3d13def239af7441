// SPDX-License-Identifier: MIT
#include "state/absences.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Kind = Absences::Kind;

/// A time of the day on which the timer runs.
QDateTime at(const QString& time) {
    return QDateTime::fromString(u"2024-03-04T%1:00Z"_s.arg(time), Qt::ISODate);
}

QJsonObject timer(const QString& id = u"t1"_s, const QString& start = u"2024-03-04T09:00:00Z"_s) {
    return {{u"id"_s, id}, {u"start_at"_s, start}};
}

/// "rest 10:00-10:30", "" when there is no question.
QString text(const Absences& absences) {
    const auto asked = absences.question();
    if (!asked) {
        return {};
    }
    const QString format = u"HH:mm"_s;
    const QString name = asked->kind == Kind::Sleep  ? u"sleep"_s
                         : asked->kind == Kind::Rest ? u"rest"_s
                                                     : u"age"_s;
    return u"%1 %2-%3"_s.arg(name, asked->since.toString(format), asked->until.toString(format));
}

} // namespace

/// When a person is asked about time that may not have been work, and from when on.
class AbsencesTest : public QObject {
    Q_OBJECT

    Absences m_absences;
    bool note(Kind kind, const QString& since, const QString& until) {
        return m_absences.note({kind, at(since), at(until)});
    }

private Q_SLOTS:
    void init() {
        m_absences = {};
        m_absences.follow(timer());
    }

    void anAbsenceIsAskedAboutUntilItIsKept();
    void withoutATimerNothingIsAsked();
    void whatWasBeforeTheTimerIsNotAsked();
    void anAbsenceBeginsWithTheTimerAtTheEarliest();
    void aTimerWithoutAReadableStartIsAskedAsWell();
    void aClockThatWasSetBackAsksNothing();
    void absencesThatMeetAreOne_data();
    void absencesThatMeetAreOne();
    void absencesApartAreAskedOneAfterTheOther();
    void anotherTimerForgetsWhatWasAsked();
    void theSameTimerIsStillAskedAbout();
    void anOldTimerIsAskedAboutOnce();
    void anOldTimerIsNotAskedAboutBesideAnAbsence();
    void anAbsenceReplacesTheQuestionOfAge();
};

void AbsencesTest::anAbsenceIsAskedAboutUntilItIsKept() {
    QVERIFY(note(Kind::Rest, u"10:00"_s, u"10:30"_s));
    QCOMPARE(text(m_absences), u"rest 10:00-10:30"_s);
    m_absences.keep();
    QCOMPARE(text(m_absences), QString());
    m_absences.keep();
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::withoutATimerNothingIsAsked() {
    m_absences.follow({});
    QVERIFY(!note(Kind::Sleep, u"10:00"_s, u"10:30"_s));
    QVERIFY(!m_absences.noteAge(at(u"23:00"_s)));
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::whatWasBeforeTheTimerIsNotAsked() {
    QVERIFY(!note(Kind::Rest, u"08:00"_s, u"08:59"_s));
    QVERIFY(!note(Kind::Rest, u"08:00"_s, u"09:00"_s));
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::anAbsenceBeginsWithTheTimerAtTheEarliest() {
    QVERIFY(note(Kind::Rest, u"08:00"_s, u"09:01"_s));
    QCOMPARE(text(m_absences), u"rest 09:00-09:01"_s);
}

void AbsencesTest::aTimerWithoutAReadableStartIsAskedAsWell() {
    m_absences.follow({{u"id"_s, u"t1"_s}, {u"start_at"_s, u"soon"_s}});
    QVERIFY(note(Kind::Rest, u"08:00"_s, u"08:30"_s));
    QCOMPARE(text(m_absences), u"rest 08:00-08:30"_s);
    m_absences.keep();
    QVERIFY(!m_absences.noteAge(at(u"23:00"_s)));
}

void AbsencesTest::aClockThatWasSetBackAsksNothing() {
    QVERIFY(!note(Kind::Rest, u"10:30"_s, u"10:00"_s));
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::absencesThatMeetAreOne_data() {
    QTest::addColumn<QString>("since");
    QTest::addColumn<QString>("until");
    QTest::addColumn<QString>("question");
    QTest::newRow("slept during the rest") << u"10:15"_s << u"10:40"_s << u"rest 10:00-10:40"_s;
    QTest::newRow("slept before and during") << u"09:50"_s << u"10:10"_s << u"sleep 09:50-10:30"_s;
    QTest::newRow("within it") << u"10:10"_s << u"10:20"_s << u"rest 10:00-10:30"_s;
    QTest::newRow("around it") << u"09:50"_s << u"10:50"_s << u"sleep 09:50-10:50"_s;
    QTest::newRow("touches its end") << u"10:30"_s << u"11:00"_s << u"rest 10:00-11:00"_s;
    QTest::newRow("touches its begin") << u"09:30"_s << u"10:00"_s << u"sleep 09:30-10:30"_s;
}

void AbsencesTest::absencesThatMeetAreOne() {
    QFETCH(const QString, since);
    QFETCH(const QString, until);
    QFETCH(const QString, question);
    QVERIFY(note(Kind::Rest, u"10:00"_s, u"10:30"_s));
    QVERIFY(note(Kind::Sleep, since, until));
    QCOMPARE(text(m_absences), question);
    m_absences.keep();
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::absencesApartAreAskedOneAfterTheOther() {
    QVERIFY(note(Kind::Rest, u"10:00"_s, u"10:30"_s));
    QVERIFY(note(Kind::Sleep, u"12:00"_s, u"13:00"_s));
    QCOMPARE(text(m_absences), u"rest 10:00-10:30"_s);
    m_absences.keep();
    QCOMPARE(text(m_absences), u"sleep 12:00-13:00"_s);
    m_absences.keep();
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::anotherTimerForgetsWhatWasAsked() {
    for (const QJsonObject& next : {timer(u"t2"_s), QJsonObject()}) {
        m_absences.follow(timer());
        QVERIFY(note(Kind::Rest, u"10:00"_s, u"10:30"_s));
        m_absences.follow(next);
        QCOMPARE(text(m_absences), QString());
    }
}

void AbsencesTest::theSameTimerIsStillAskedAbout() {
    QVERIFY(note(Kind::Rest, u"10:00"_s, u"10:30"_s));
    m_absences.follow(timer(u"t1"_s, u"2024-03-04T08:00:00Z"_s));
    QCOMPARE(text(m_absences), u"rest 10:00-10:30"_s);
}

void AbsencesTest::anOldTimerIsAskedAboutOnce() {
    QVERIFY(!m_absences.noteAge(at(u"19:00"_s)));
    QVERIFY(m_absences.noteAge(at(u"19:01"_s)));
    QCOMPARE(text(m_absences), u"age 19:01-19:01"_s);
    QVERIFY(!m_absences.noteAge(at(u"19:02"_s)));
    m_absences.keep();
    QVERIFY(!m_absences.noteAge(at(u"21:00"_s)));
    m_absences.follow({});
    m_absences.follow(timer());
    QVERIFY(!m_absences.noteAge(at(u"21:00"_s)));
    QCOMPARE(text(m_absences), QString());
    m_absences.follow(timer(u"t2"_s));
    QVERIFY(m_absences.noteAge(at(u"21:00"_s)));
}

void AbsencesTest::anOldTimerIsNotAskedAboutBesideAnAbsence() {
    QVERIFY(note(Kind::Sleep, u"10:00"_s, u"20:00"_s));
    QVERIFY(!m_absences.noteAge(at(u"20:01"_s)));
    m_absences.keep();
    QVERIFY(!m_absences.noteAge(at(u"20:02"_s)));
    QCOMPARE(text(m_absences), QString());
}

void AbsencesTest::anAbsenceReplacesTheQuestionOfAge() {
    QVERIFY(m_absences.noteAge(at(u"20:00"_s)));
    QVERIFY(note(Kind::Sleep, u"19:30"_s, u"22:00"_s));
    QCOMPARE(text(m_absences), u"sleep 19:30-22:00"_s);
    m_absences.keep();
    QCOMPARE(text(m_absences), QString());
}

QTEST_GUILESS_MAIN(AbsencesTest)
#include "absences.moc"
