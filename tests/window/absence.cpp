// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Kind = Absences::Kind;

constexpr qint64 minute = 60'000;

QJsonObject running(const QDateTime& start, const QString& workspace = u"w1"_s) {
    const QJsonObject timer{{u"id"_s, u"t1"_s},
                            {u"workspace_id"_s, workspace},
                            {u"user_id"_s, u"u1"_s},
                            {u"description"_s, u"Planting"_s},
                            {u"project_id"_s, u"p2"_s},
                            {u"billable"_s, true},
                            {u"start_at"_s, start.toString(Qt::ISODate)},
                            {u"stop_at"_s, QJsonValue()},
                            {u"version"_s, 1}};
    QJsonObject document = WindowFixture::document({timer});
    document.insert(u"timer", timer);
    return document;
}

QDateTime ago(int seconds) {
    return QDateTime::currentDateTimeUtc().addSecs(-seconds);
}

} // namespace

/// The question about time that nobody spent here.
class WindowAbsenceTest : public QObject {
    Q_OBJECT

    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    [[nodiscard]] QObject* dialog() const { return m_fixture->object(u"absenceDialog"_s); }
    [[nodiscard]] bool isAsked() const { return dialog()->property("opened").toBool(); }
    [[nodiscard]] QQuickItem* part(const char* name) const {
        return dialog()->findChild<QQuickItem*>(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return part(name)->property("text").toString(); }
    /// By mouse, keyboard or assistive technology.
    void use(const char* button, int means) const;
    /// The second click comes before the first has led to anything on the screen.
    void twice(const QString& button) const;
    void addMeans();
    void ask(Kind kind = Kind::Rest, qint64 milliseconds = 25 * minute);
    /// About sleep, and when that is answered, about rest.
    void askTwo();

    std::unique_ptr<WindowFixture> m_fixture;

public Q_SLOTS:
    void pressEscape() const { QTest::keyClick(m_fixture->window, Qt::Key_Escape); }

private Q_SLOTS:
    void init();
    void cleanup() { m_fixture.reset(); }

    void theQuestionNamesTheTimesAndTheTimer();
    void eachKindIsAskedInBothLanguages_data();
    void eachKindIsAskedInBothLanguages();
    void whatIsTypedWhenItComesIsNoAnswer();
    void escapeAndEnterKeepTheTime_data();
    void escapeAndEnterKeepTheTime();
    void theTimerStopsThere_data();
    void theTimerStopsThere();
    void theTimerStopsThereAndStartsAnew_data();
    void theTimerStopsThereAndStartsAnew();
    void theNextQuestionFollows();
    void aDoubleClickAnswersOnce_data();
    void aDoubleClickAnswersOnce();
    void aDoubleClickAnswersOneOfTwoQuestions();
    void escapePressedTwiceAnswersOneOfTwoQuestions();
    void theQuestionWaitsForTheHiddenWindow();
    void theQuestionWaitsForTheTimersWorkspace();
    void theQuestionGoesWithItsTimer();
    void aRefusedAnswerSaysWhyAndStillAsks();
    void theButtonsFitInTheSmallestWindow_data();
    void theButtonsFitInTheSmallestWindow();
};

void WindowAbsenceTest::init() {
    m_fixture = std::make_unique<WindowFixture>(true);
    m_fixture->unlock();
    m_fixture->window->setProperty("hebrew", false);
    QTRY_VERIFY(m_fixture->window->isActive());
    m_fixture->show(running(ago(3 * 3600)));
}

void WindowAbsenceTest::ask(Kind kind, qint64 milliseconds) {
    controller().noteAbsence(kind, milliseconds);
    QTRY_VERIFY(isAsked());
}

void WindowAbsenceTest::askTwo() {
    ask(Kind::Sleep);
    const QDateTime first = QDateTime::currentDateTimeUtc();
    QTRY_VERIFY(QDateTime::currentDateTimeUtc() > first);
    controller().noteAbsence(Kind::Rest, 0);
}

void WindowAbsenceTest::use(const char* button, int means) const {
    QQuickItem* const control = part(button);
    if (means == 0) {
        m_fixture->click(control);
    } else if (means == 1) {
        control->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        QAccessible::setActive(true);
        pressByAssistiveTechnology(control);
    }
}

void WindowAbsenceTest::twice(const QString& button) const {
    m_fixture->layOut();
    const QQuickItem* const control = part(button.toLatin1().constData());
    const QPointF centre = control->mapToScene(QPointF(control->width() / 2, control->height() / 2));
    QTest::mouseClick(m_fixture->window, Qt::LeftButton, {}, centre.toPoint());
    QTest::mouseClick(m_fixture->window, Qt::LeftButton, {}, centre.toPoint());
}

void WindowAbsenceTest::addMeans() {
    QTest::addColumn<int>("means");
    QTest::newRow("mouse") << 0;
    QTest::newRow("keyboard") << 1;
    QTest::newRow("screen reader") << 2;
}

void WindowAbsenceTest::theQuestionNamesTheTimesAndTheTimer() {
    QVERIFY(!isAsked());
    ask();
    const QVariantMap absence = controller().absence();
    QVERIFY(text("absenceQuestion").contains(absence.value(u"since"_s).toString()));
    QVERIFY(text("absenceQuestion").contains(absence.value(u"until"_s).toString()));
    QCOMPARE(text("absenceTimer"), u"Planting"_s);
    QVERIFY(text("stopThere").contains(absence.value(u"time"_s).toString()));
    QTRY_VERIFY(part("keepTime")->hasActiveFocus());
    QVERIFY(!part("absenceOutcome")->isVisible());
}

void WindowAbsenceTest::eachKindIsAskedInBothLanguages_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QTest::newRow("sleep") << int(Kind::Sleep) << u"The computer slept from"_s << u"המחשב היה במצב שינה מ"_s;
    QTest::newRow("rest") << int(Kind::Rest) << u"Nobody touched keyboard or mouse from"_s
                          << u"איש לא נגע במקלדת או בעכבר מ"_s;
    QTest::newRow("age") << int(Kind::Age) << u"The timer has been running for more than ten hours"_s
                         << u"הטיימר רץ כבר יותר מעשר שעות"_s;
}

void WindowAbsenceTest::eachKindIsAskedInBothLanguages() {
    QFETCH(const int, kind);
    QFETCH(const QString, english);
    QFETCH(const QString, hebrew);
    if (Kind(kind) == Kind::Age) {
        m_fixture->show(running(ago(11 * 3600)));
        controller().noteAge();
        QTRY_VERIFY(isAsked());
        QCOMPARE(text("stopThere"), u"Stop now"_s);
    } else {
        ask(Kind(kind));
    }
    QVERIFY2(text("absenceQuestion").startsWith(english), qPrintable(text("absenceQuestion")));
    QCOMPARE(dialog()->property("title").toString(), u"Was that work?"_s);
    m_fixture->window->setProperty("hebrew", true);
    QVERIFY2(text("absenceQuestion").startsWith(hebrew), qPrintable(text("absenceQuestion")));
    QCOMPARE(dialog()->property("title").toString(), u"האם זה היה זמן עבודה?"_s);
    QCOMPARE(text("keepTime"), u"השאר את הזמן"_s);
}

void WindowAbsenceTest::whatIsTypedWhenItComesIsNoAnswer() {
    QQuickItem* const field = m_fixture->item(u"description"_s);
    field->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_A);
    ask();
    for (const Qt::Key key : {Qt::Key_B, Qt::Key_Space, Qt::Key_C, Qt::Key_Return, Qt::Key_Escape}) {
        QTest::keyClick(m_fixture->window, key);
    }
    QVERIFY(isAsked());
    QVERIFY(!controller().absence().isEmpty());
    QCOMPARE(controller().pending(), 0);
    QCOMPARE(field->property("text").toString(), u"ab c"_s);

    // Who has stopped typing can answer.
    QTRY_VERIFY(part("keepTime")->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(field->property("text").toString(), u"ab c"_s);
}

void WindowAbsenceTest::escapeAndEnterKeepTheTime_data() {
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Escape") << Qt::Key_Escape;
    QTest::newRow("Enter") << Qt::Key_Return;
}

void WindowAbsenceTest::escapeAndEnterKeepTheTime() {
    QFETCH(const Qt::Key, key);
    ask();
    QTRY_VERIFY(part("keepTime")->hasActiveFocus());
    QTest::keyClick(m_fixture->window, key);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QVERIFY(controller().absence().isEmpty());
    QCOMPARE(controller().pending(), 0);
    QVERIFY(!controller().timer().isEmpty());
}

void WindowAbsenceTest::theTimerStopsThere_data() {
    addMeans();
}

void WindowAbsenceTest::theTimerStopsThere() {
    QFETCH(const int, means);
    ask();
    const QString moment = controller().absence().value(u"moment"_s).toString();
    use("stopThere", means);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QVERIFY(controller().timer().isEmpty());
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(controller().entries().first().toMap().value(u"stop_at"_s).toString(), moment);
}

void WindowAbsenceTest::theTimerStopsThereAndStartsAnew_data() {
    addMeans();
}

void WindowAbsenceTest::theTimerStopsThereAndStartsAnew() {
    QFETCH(const int, means);
    ask();
    const QString moment = controller().absence().value(u"moment"_s).toString();
    use("startAnew", means);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QCOMPARE(controller().pending(), 2);
    QCOMPARE(controller().entries().first().toMap().value(u"stop_at"_s).toString(), moment);
    const QVariantMap timer = controller().timer();
    QCOMPARE(timer.value(u"description"_s).toString(), u"Planting"_s);
    QCOMPARE(timer.value(u"project_id"_s).toString(), u"p2"_s);
    QVERIFY(timer.value(u"billable"_s).toBool());
}

void WindowAbsenceTest::theNextQuestionFollows() {
    askTwo();
    QVERIFY(text("absenceQuestion").startsWith(u"The computer slept"_s));
    QTRY_VERIFY(part("keepTime")->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(isAsked() && text("absenceQuestion").startsWith(u"Nobody touched"_s));
    QVERIFY(part("keepTime")->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QVERIFY(controller().absence().isEmpty());
}

void WindowAbsenceTest::aDoubleClickAnswersOnce_data() {
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("pending");
    QTest::newRow("keep") << u"keepTime"_s << 0;
    QTest::newRow("stop") << u"stopThere"_s << 1;
    QTest::newRow("start anew") << u"startAnew"_s << 2;
}

void WindowAbsenceTest::aDoubleClickAnswersOnce() {
    QFETCH(const QString, button);
    QFETCH(const int, pending);
    ask();
    twice(button);
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QCOMPARE(controller().pending(), pending);
    QVERIFY(controller().absence().isEmpty());
    QCOMPARE(controller().timer().isEmpty(), button == u"stopThere");
}

void WindowAbsenceTest::aDoubleClickAnswersOneOfTwoQuestions() {
    askTwo();
    twice(u"keepTime"_s);
    QVERIFY(!controller().absence().isEmpty());
    QTRY_VERIFY(isAsked() && text("absenceQuestion").startsWith(u"Nobody touched"_s));
}

void WindowAbsenceTest::escapePressedTwiceAnswersOneOfTwoQuestions() {
    askTwo();
    QTRY_VERIFY(part("keepTime")->hasActiveFocus());
    // The next one is on its way to the screen by then.
    connect(dialog(), SIGNAL(closed()), this, SLOT(pressEscape()), Qt::SingleShotConnection);
    pressEscape();
    QTRY_VERIFY(isAsked() && text("absenceQuestion").startsWith(u"Nobody touched"_s));
    QVERIFY(!controller().absence().isEmpty());
}

void WindowAbsenceTest::theQuestionWaitsForTheHiddenWindow() {
    m_fixture->window->close();
    QTRY_VERIFY(!m_fixture->window->isVisible());
    controller().noteAbsence(Kind::Rest, 25 * minute);
    m_fixture->show(running(ago(3 * 3600))); // time goes on, with the same timer
    QVERIFY(!dialog()->property("visible").toBool());
    QVERIFY(!controller().absence().isEmpty());
    m_fixture->window->show();
    QTRY_VERIFY(isAsked());
    // Hidden again, it is not answered by that.
    m_fixture->window->close();
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QVERIFY(!controller().absence().isEmpty());
    m_fixture->window->show();
    QTRY_VERIFY(isAsked());
}

void WindowAbsenceTest::theQuestionWaitsForTheTimersWorkspace() {
    QJsonObject document = running(ago(3 * 3600), u"w2"_s);
    m_fixture->show(document);
    controller().noteAbsence(Kind::Rest, 25 * minute);
    QVERIFY(!dialog()->property("visible").toBool());
    document.insert(u"workspace", u"w2"_s);
    m_fixture->show(document);
    QTRY_VERIFY(isAsked());
    use("stopThere", 0);
    QCOMPARE(controller().pending(), 1);
}

void WindowAbsenceTest::theQuestionGoesWithItsTimer() {
    ask();
    m_fixture->show(WindowFixture::document());
    QTRY_VERIFY(!dialog()->property("visible").toBool());
    QVERIFY(controller().timer().isEmpty());
}

void WindowAbsenceTest::aRefusedAnswerSaysWhyAndStillAsks() {
    QJsonObject document = running(ago(3 * 3600));
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"catalog", QJsonObject());
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);
    ask();
    use("startAnew", 0);
    QVERIFY(isAsked());
    QVERIFY(part("absenceOutcome")->isVisible());
    QCOMPARE(text("absenceOutcome"),
             u"This entry's project can no longer be booked; start with another project instead."_s);
    QCOMPARE(controller().pending(), 0);
}

void WindowAbsenceTest::theButtonsFitInTheSmallestWindow_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::newRow("Hebrew") << true;
    QTest::newRow("English") << false;
}

void WindowAbsenceTest::theButtonsFitInTheSmallestWindow() {
    QFETCH(const bool, hebrew);
    m_fixture->window->setProperty("hebrew", hebrew);
    m_fixture->window->resize(820, 620);
    ask();
    m_fixture->layOut();
    for (const char* name : {"keepTime", "stopThere", "startAnew"}) {
        const QQuickItem* const button = part(name);
        QVERIFY2(button->width() >= button->implicitWidth(), name);
        QVERIFY(m_fixture->window->contentItem()->boundingRect().contains(
            button->mapRectToScene(button->boundingRect())));
    }
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowAbsenceTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "absence.moc"
