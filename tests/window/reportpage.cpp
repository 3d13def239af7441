// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QJsonArray>
#include <QMimeData>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QJsonObject totals(int raw, const QJsonValue& amount = QJsonValue::Null) {
    return {{u"raw_duration_seconds"_s, raw}, {u"rounded_duration_seconds"_s, raw}, {u"amount"_s, amount}};
}

QJsonObject labelled(const QStringList& labels, const QJsonObject& totals) {
    return {{u"labels"_s, QJsonArray::fromStringList(labels)}, {u"totals"_s, totals}};
}

QJsonObject entry(const QString& start, const QString& project, int seconds) {
    return {
        {u"entry"_s,
         QJsonObject{{u"description"_s, u"Work"_s}, {u"start_at"_s, start}, {u"project_name"_s, project}}},
        {u"totals"_s, totals(seconds)}};
}

QJsonObject report(const QString& kind, const QString& group, const QJsonArray& rows) {
    return {{u"snapshot_id"_s, u"r1"_s},        {u"kind"_s, kind},
            {u"group_by"_s, QJsonArray{group}}, {u"from_date"_s, u"2026-03-01"_s},
            {u"to_date"_s, u"2026-03-07"_s},    {u"timezone"_s, u"Asia/Jerusalem"_s},
            {u"currency"_s, u"ILS"_s},          {u"rows"_s, rows}};
}

QJsonArray threeDays() {
    return {entry(u"2026-03-03T08:00:00Z"_s, u"Two"_s, 1800),
            entry(u"2026-03-02T08:00:00Z"_s, u"One"_s, 3600), entry(u"2026-03-02T07:00:00Z"_s, u"Two"_s, 60)};
}

} // namespace

/// What the page of reports shows beside the server's own words.
class ReportPageTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] QList<QQuickItem*> rowsOf(const char* list) const;
    void speak(bool hebrew) const { m_fixture->window->setProperty("hebrew", hebrew); }
    /// Has the server answer the controller's question with this.
    void show(const QJsonObject& report);
    /// Presses Copy, and takes what is on the clipboard.
    [[nodiscard]] const QMimeData* copied() const;
    [[nodiscard]] QString numbersWithThePointerAt(QPoint point) const;
    [[nodiscard]] QString numbersWithThePointerAway() const { return numbersWithThePointerAt({5, 5}); }

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void aRowTellsItsShareAndItsAmount();
    void aRowsBarIsAsLongAsItsShare();
    void oneRangeIsOnePress_data();
    void oneRangeIsOnePress();
    void enterInADateGenerates_data();
    void enterInADateGenerates();
    void thePictureHasAColumnForEachDay();
    void pointingAtAColumnTellsItsNumbers();
    void theKeyboardWalksTheColumns();
    void whereThereIsNoPictureItIsSaid_data();
    void whereThereIsNoPictureItIsSaid();
    void onePressShowsTheDays();
    void aReportThatWasCutIsAddedUpByDay();
    void daysThatWereCutAreAddedUpByWeek();
    void theTableIsCopiedInTheLanguageOnScreen();
    void aTextIsNoFormulaOnTheClipboard();
    void thereIsNothingToCopyWithoutRows();
    void manyRowsAreMadeAsTheyAreSeen();
};

void ReportPageTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->show(WindowFixture::document());
    m_fixture->openTab(1);
    speak(false);
}

void ReportPageTest::cleanup() {
    m_fixture.reset();
    m_peer.reset();
}

QList<QQuickItem*> ReportPageTest::rowsOf(const char* list) const {
    QList<QQuickItem*> rows = item(list)->property("contentItem").value<QQuickItem*>()->childItems();
    rows.removeIf([](const QQuickItem* row) { return !row->isVisible() || !row->property("row").isValid(); });
    std::sort(rows.begin(), rows.end(), [](const QQuickItem* left, const QQuickItem* right) {
        return left->property("index").toInt() < right->property("index").toInt();
    });
    return rows;
}

void ReportPageTest::show(const QJsonObject& report) {
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/reports/summary/query"_s, PeerReply::json(report));
    m_fixture->controller.queryReport(u"summary"_s, {}, {}, {}, {});
    QTRY_COMPARE(m_fixture->controller.message(), u"Server snapshot loaded"_s);
    m_fixture->layOut();
}

const QMimeData* ReportPageTest::copied() const {
    QGuiApplication::clipboard()->clear();
    m_fixture->click(item("copyReport"));
    return QGuiApplication::clipboard()->mimeData();
}

void ReportPageTest::aRowTellsItsShareAndItsAmount() {
    show(
        report(u"summary"_s, u"client"_s,
               {labelled({u"Harbour"_s}, totals(3000, u"250.00"_s)), labelled({u"Garden"_s}, totals(1000))}));
    QTRY_COMPARE(rowsOf("reportList").size(), 2);
    const QStringList rich = WindowFixture::texts(rowsOf("reportList").at(0));
    QCOMPARE(rich,
             (QStringList{u"\u200eHarbour"_s, u"75.0%"_s, u"250.00 ILS"_s, u"00:50:00"_s, u"00:50:00"_s}));
    QVERIFY(WindowFixture::texts(rowsOf("reportList").at(1)).contains(u"unknown"_s));
    const auto described = [this] {
        return QAccessible::queryAccessibleInterface(rowsOf("reportList").at(1))
            ->text(QAccessible::Description);
    };
    QCOMPARE(described(), u"Share: 25.0%, amount: unknown"_s);
    speak(true);
    m_fixture->layOut();
    QVERIFY(WindowFixture::texts(rowsOf("reportList").at(1)).contains(u"לא ידוע"_s));
    QCOMPARE(described(), u"חלק: 25.0%, סכום: לא ידוע"_s);
    QCOMPARE(rowsOf("reportList").at(0)->height(), 68.0);
}

void ReportPageTest::aRowsBarIsAsLongAsItsShare() {
    QJsonObject document = WindowFixture::document();
    QJsonObject snapshot = document.value(u"snapshot").toObject();
    snapshot.insert(u"catalog",
                    QJsonObject{{u"projects"_s, QJsonArray{QJsonObject{{u"id"_s, u"p1"_s},
                                                                       {u"name"_s, u"One"_s},
                                                                       {u"color"_s, u"#2e86ab"_s}}}}});
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);
    show(report(u"summary"_s, u"project"_s,
                {labelled({u"One"_s}, totals(3000)), labelled({u"Two"_s}, totals(1000))}));
    QTRY_COMPARE(rowsOf("reportList").size(), 2);
    const auto bar = [this](int row) {
        return rowsOf("reportList").at(row)->findChild<QQuickItem*>(u"shareBar"_s);
    };
    QCOMPARE(bar(0)->width(), bar(0)->parentItem()->width() * 0.75);
    QCOMPARE(bar(1)->width(), bar(1)->parentItem()->width() * 0.25);
    QCOMPARE(bar(0)->property("color").value<QColor>(), QColor(0x2e, 0x86, 0xab));
    QVERIFY(bar(1)->property("color").value<QColor>() != bar(0)->property("color").value<QColor>());
    QCOMPARE(bar(0)->mapToItem(bar(0)->parentItem(), {0, 0}).x(), 0.0);
    speak(true);
    m_fixture->layOut();
    QCOMPARE(bar(0)->mapToItem(bar(0)->parentItem(), {bar(0)->width(), 0}).x(),
             bar(0)->parentItem()->width());
}

void ReportPageTest::oneRangeIsOnePress_data() {
    QTest::addColumn<QString>("range");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QTest::newRow("today") << u"today"_s << u"Today"_s << u"היום"_s;
    QTest::newRow("this week") << u"this_week"_s << u"This week"_s << u"השבוע"_s;
    QTest::newRow("last week") << u"last_week"_s << u"Last week"_s << u"השבוע שעבר"_s;
    QTest::newRow("this month") << u"this_month"_s << u"This month"_s << u"החודש"_s;
    QTest::newRow("last month") << u"last_month"_s << u"Last month"_s << u"החודש שעבר"_s;
    QTest::newRow("this year") << u"this_year"_s << u"This year"_s << u"השנה"_s;
}

void ReportPageTest::oneRangeIsOnePress() {
    QFETCH(const QString, range);
    QFETCH(const QString, english);
    QFETCH(const QString, hebrew);
    QQuickItem* const button = m_fixture->item(u"range_"_s + range);
    QCOMPARE(button->property("text").toString(), english);
    item("reportFrom")->setProperty("text", u"other"_s);
    item("reportTo")->setProperty("text", u"other"_s);
    const QString path = u"/v1/workspaces/w1/reports/summary/query"_s;
    m_peer->answerOnce("POST", path,
                       PeerReply::json({{u"rows"_s, QJsonArray()}}).delivered(PeerReply::Delivery::Hold));
    button->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_COMPARE(m_peer->requests("POST", path).size(), 1);
    const QVariantMap days = m_fixture->controller.reportRange(range);
    const QJsonObject asked = m_peer->requests("POST", path).constFirst().json();
    QVERIFY(QDate::fromString(asked[u"from_date"].toString(), Qt::ISODate).isValid());
    QCOMPARE(asked[u"from_date"].toString(), days.value(u"from"_s).toString());
    QCOMPARE(asked[u"to_date"].toString(), days.value(u"to"_s).toString());
    QCOMPARE(text("reportFrom"), days.value(u"from"_s).toString());
    QCOMPARE(text("reportTo"), days.value(u"to"_s).toString());
    QVERIFY(!button->isEnabled());
    speak(true);
    QCOMPARE(button->property("text").toString(), hebrew);
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    QTRY_VERIFY(button->isEnabled());
}

void ReportPageTest::enterInADateGenerates_data() {
    QTest::addColumn<QString>("field");
    QTest::newRow("from") << u"reportFrom"_s;
    QTest::newRow("to") << u"reportTo"_s;
}

void ReportPageTest::enterInADateGenerates() {
    QFETCH(const QString, field);
    const QString path = u"/v1/workspaces/w1/reports/summary/query"_s;
    m_peer->answerOnce("POST", path,
                       PeerReply::json({{u"rows"_s, QJsonArray()}}).delivered(PeerReply::Delivery::Hold));
    QQuickItem* const date = m_fixture->item(field);
    date->setProperty("text", u"2026-03-02"_s);
    date->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_COMPARE(m_peer->held(), 1);
    QTest::keyClick(m_fixture->window, Qt::Key_Return); // as the button, which is off now
    const QJsonObject asked = m_peer->requests("POST", path).constFirst().json();
    QCOMPARE(asked[field == u"reportFrom"_s ? u"from_date" : u"to_date"].toString(), u"2026-03-02"_s);
    m_peer->release();
    QTRY_VERIFY(!m_fixture->controller.busy());
    QCOMPARE(m_peer->requests("POST", path).size(), 1);
}

void ReportPageTest::thePictureHasAColumnForEachDay() {
    show(report(u"detailed"_s, u"project"_s, threeDays()));
    QVERIFY(item("periodPicture")->isVisible());
    QVERIFY(!item("noPicture")->isVisible());
    QTRY_COMPARE(rowsOf("pictureColumns").size(), 7);
    QCOMPARE(WindowFixture::texts(item("pictureLegend")), (QStringList{u"One"_s, u"Two"_s}));
    QTRY_COMPARE(numbersWithThePointerAway(), u"A column for each day. The highest: 01:01:00"_s);
    // Parts are told apart by their patterns where colours are not seen.
    QList<int> patterns;
    const auto* const parts = rowsOf("pictureColumns").at(1)->property("contentItem").value<QQuickItem*>();
    for (const QQuickItem* const part : parts->childItems()) {
        if (part->inherits("PatternFill")) {
            patterns.append(part->property("pattern").toInt());
        }
    }
    QCOMPARE(patterns, (QList<int>{0, 1}));
    speak(true);
    m_fixture->layOut();
    QTRY_COMPARE(numbersWithThePointerAway(), u"עמודה לכל יום. הגבוהה: 01:01:00"_s);
    const QList<QQuickItem*> columns = rowsOf("pictureColumns");
    QVERIFY(columns.first()->mapToScene({}).x() > columns.last()->mapToScene({}).x());
}

void ReportPageTest::pointingAtAColumnTellsItsNumbers() {
    show(report(u"detailed"_s, u"project"_s, threeDays()));
    QTRY_COMPARE(rowsOf("pictureColumns").size(), 7);
    const QQuickItem* const column = rowsOf("pictureColumns").at(1);
    const QPointF middle = column->mapToScene({column->width() / 2, column->height() / 2});
    QTRY_COMPARE(numbersWithThePointerAt(middle.toPoint()),
                 u"\u200eMonday 2026-03-02: 01:01:00. One 01:00:00, Two 00:01:00"_s);
    QTRY_VERIFY(numbersWithThePointerAway().startsWith(u"A column for each day"_s));
}

QString ReportPageTest::numbersWithThePointerAt(QPoint point) const {
    m_fixture->pointAt(point);
    return text("pictureNumbers");
}

void ReportPageTest::theKeyboardWalksTheColumns() {
    show(report(u"detailed"_s, u"project"_s, threeDays()));
    QTRY_COMPARE(rowsOf("pictureColumns").size(), 7);
    item("pictureColumns")->forceActiveFocus(Qt::TabFocusReason);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), rowsOf("pictureColumns").at(0));
    QTest::keyClick(m_fixture->window, Qt::Key_Right);
    QTest::keyClick(m_fixture->window, Qt::Key_Right);
    QQuickItem* const reached = rowsOf("pictureColumns").at(2);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), reached);
    const QString told = u"\u200eTuesday 2026-03-03: 00:30:00. Two 00:30:00"_s;
    QTRY_COMPARE(numbersWithThePointerAway(), told);
    QCOMPARE(QAccessible::queryAccessibleInterface(reached)->text(QAccessible::Name), told);
    item("generateReport")->forceActiveFocus(Qt::TabFocusReason);
    QTRY_VERIFY(numbersWithThePointerAway().startsWith(u"A column for each day"_s));
}

void ReportPageTest::whereThereIsNoPictureItIsSaid_data() {
    QTest::addColumn<QJsonObject>("given");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QJsonObject cut = report(u"detailed"_s, u"project"_s, threeDays());
    cut.insert(u"has_more"_s, true);
    QTest::newRow("no days") << report(u"summary"_s, u"project"_s, {labelled({u"One"_s}, totals(1))})
                             << u"This report does not tell when"_s << u"הדוח הזה אינו אומר מתי"_s;
    QTest::newRow("cut") << cut << u"There is no picture, since the server sent the first 500 rows only"_s
                         << u"אין תמונה, כי השרת שלח"_s;
}

void ReportPageTest::whereThereIsNoPictureItIsSaid() {
    QFETCH(const QJsonObject, given);
    QFETCH(const QString, english);
    QFETCH(const QString, hebrew);
    QVERIFY(!item("noPicture")->isVisible());
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/reports/summary/query"_s, PeerReply::json(given));
    m_fixture->click(item("generateReport"));
    QTRY_VERIFY(item("noPicture")->isVisible());
    QVERIFY2(text("noPicture").startsWith(english), qPrintable(text("noPicture")));
    QVERIFY(!item("periodPicture")->isVisible());
    QVERIFY(item("showDays")->isVisible());
    speak(true);
    QVERIFY2(text("noPicture").startsWith(hebrew), qPrintable(text("noPicture")));
}

void ReportPageTest::onePressShowsTheDays() {
    show(report(u"summary"_s, u"project"_s, {labelled({u"One"_s}, totals(1))}));
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/reports/detailed/query"_s,
                       PeerReply::json(report(u"detailed"_s, u"project"_s, threeDays())));
    m_fixture->click(item("showDays"));
    QTRY_VERIFY(item("periodPicture")->isVisible());
    QVERIFY(!item("showDays")->isVisible());
    QVERIFY(WindowFixture::texts(m_fixture->window->contentItem()).contains(u"detailed"_s));
}

void ReportPageTest::aReportThatWasCutIsAddedUpByDay() {
    QJsonObject cut = report(u"detailed"_s, u"project"_s, threeDays());
    cut.insert(u"has_more"_s, true);
    const QString path = u"/v1/workspaces/w1/reports/summary/query"_s;
    m_peer->answerOnce("POST", path, PeerReply::json(cut));
    m_fixture->click(item("generateReport"));
    QTRY_VERIFY(item("showDays")->isVisible());
    m_peer->answerOnce(
        "POST", path,
        PeerReply::json(report(u"summary"_s, u"day"_s, {labelled({u"2026-03-03"_s}, totals(60))})));
    m_peer->forgetRequests();
    m_fixture->click(item("showDays"));
    QTRY_COMPARE(m_peer->requests("POST", path).size(), 1);
    QCOMPARE(m_peer->requests("POST", path).constFirst().json().value(u"group_by").toArray(),
             QJsonArray{u"day"_s});
    QTRY_VERIFY(!item("showDays")->isVisible());
}

// To ask for the same once more would show the same.
void ReportPageTest::daysThatWereCutAreAddedUpByWeek() {
    const QString path = u"/v1/workspaces/w1/reports/summary/query"_s;
    const auto cutBy = [](const QString& group) {
        QJsonObject cut = report(u"summary"_s, group, {labelled({u"2026-03-02"_s}, totals(60))});
        cut.insert(u"has_more"_s, true);
        return PeerReply::json(cut);
    };
    m_peer->answerOnce("POST", path, cutBy(u"day"_s));
    m_fixture->click(item("generateReport"));
    QTRY_VERIFY(item("showDays")->isVisible());
    QCOMPARE(text("showDays"), u"Show by week"_s);
    QVERIFY2(text("noPicture").endsWith(u"or a summary grouped by week."_s), qPrintable(text("noPicture")));
    speak(true);
    QCOMPARE(text("showDays"), u"הראה לפי שבועות"_s);
    QVERIFY2(text("noPicture").endsWith(u"או summary בקיבוץ לפי week."_s), qPrintable(text("noPicture")));

    m_peer->answerOnce("POST", path, cutBy(u"week"_s));
    m_peer->forgetRequests();
    m_fixture->click(item("showDays"));
    QTRY_VERIFY(!item("showDays")->isVisible());
    QCOMPARE(m_peer->requests("POST", path).constFirst().json().value(u"group_by").toArray(),
             QJsonArray{u"week"_s});
    QVERIFY(item("noPicture")->isVisible());
    QVERIFY2(text("noPicture").endsWith(u"בחר טווח קצר יותר."_s), qPrintable(text("noPicture")));
    speak(false);
    QVERIFY2(text("noPicture").endsWith(u"choose a shorter range."_s), qPrintable(text("noPicture")));
}

void ReportPageTest::theTableIsCopiedInTheLanguageOnScreen() {
    show(
        report(u"weekly"_s, u"project"_s, {labelled({u"2026-03-01"_s, u"One"_s}, totals(3600, u"12.50"_s))}));
    QCOMPARE(text("copyReport"), u"Copy"_s);
    const QMimeData* const english = copied();
    QCOMPARE(english->text(), u"Week\tProject\tRaw time\tRounded time\tShare in per cent\tAmount\tCurrency\n"
                              "2026-03-01\tOne\t01:00:00\t01:00:00\t100.0\t12.50\tILS\n"_s);
    QVERIFY(english->html().contains(u"<table dir=\"ltr\">"_s));
    QVERIFY(english->html().contains(u"<td>2026-03-01</td><td>One</td><td>01:00:00</td>"_s));
    QCOMPARE(m_fixture->controller.message(), u"The rows of the report are on the clipboard."_s);
    speak(true);
    QCOMPARE(text("copyReport"), u"העתק"_s);
    const QMimeData* const hebrew = copied();
    QVERIFY(hebrew->text().startsWith(u"שבוע\tפרויקט\tמשך מקורי\tמשך מעוגל\tחלק באחוזים\tסכום\tמטבע\n"_s));
    QVERIFY(hebrew->html().contains(u"<table dir=\"rtl\">"_s));
}

void ReportPageTest::aTextIsNoFormulaOnTheClipboard() {
    show(report(u"summary"_s, u"client"_s, {labelled({u"=HYPERLINK(\"x\")"_s}, totals(60))}));
    const QMimeData* const data = copied();
    QVERIFY(data->text().contains(u"\n'=HYPERLINK"_s));
    QVERIFY(!data->html().contains(u"<td>=HYPERLINK"_s));
}

void ReportPageTest::thereIsNothingToCopyWithoutRows() {
    QVERIFY(!item("copyReport")->isEnabled());
    QGuiApplication::clipboard()->setText(u"Somebody's"_s);
    m_fixture->controller.copyReport({u"Client"_s}, true);
    QCOMPARE(QGuiApplication::clipboard()->text(), u"Somebody's"_s);
    show(report(u"summary"_s, u"client"_s, {labelled({u"A"_s}, totals(60))}));
    QTRY_VERIFY(item("copyReport")->isEnabled());
    QVERIFY(item("exportCsv")->isEnabled());
}

void ReportPageTest::manyRowsAreMadeAsTheyAreSeen() {
    QJsonArray rows;
    for (int i = 0; i < 500; ++i) {
        rows.append(labelled({u"Client %1"_s.arg(i)}, totals(i)));
    }
    show(report(u"summary"_s, u"client"_s, rows));
    QTRY_COMPARE(item("reportList")->property("count").toInt(), 500);
    QVERIFY(rowsOf("reportList").size() < 30);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    ReportPageTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "reportpage.moc"
