// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QJsonObject record(int row, const QString& description) {
    return {{u"row"_s, row},
            {u"description"_s, description},
            {u"client"_s, u"Harbour"_s},
            {u"project"_s, u"Ferry"_s},
            {u"start_at"_s, u"2026-03-05T07:00:00Z"_s},
            {u"stop_at"_s, u"2026-03-05T08:30:00Z"_s},
            {u"duration_seconds"_s, 5400}};
}

QJsonObject problem(int row, const QString& code, const QString& message) {
    return {{u"row"_s, row}, {u"column"_s, u"End time"_s}, {u"message"_s, message}, {u"code"_s, code}};
}

QJsonObject someOfEach() {
    return {
        {u"id"_s, u"i1"_s},
        {u"total"_s, 60},
        {u"invalid"_s, 2},
        {u"duplicates"_s, 9},
        {u"problems"_s,
         QJsonArray{problem(4, u"end_before_start"_s, u"The entry would end before it starts."_s),
                    problem(5, u"moon"_s, u"The moon was full."_s)}},
        {u"duplicate_rows"_s, QJsonArray{record(3, u"Again"_s)}},
        {u"sample"_s, QJsonArray{record(2, u"Timetable"_s)}},
        {u"new_projects"_s, QJsonArray{u"Ferry"_s}},
        {u"new_project_count"_s, 1},
        {u"new_clients"_s, QJsonArray()},
        {u"new_client_count"_s, 0},
    };
}

QJsonObject longPreview() {
    QJsonArray problems;
    for (int i = 0; i < 8000; ++i) {
        problems.append(problem(i + 2, i % 2 == 0 ? u"time"_s : u"moon"_s,
                                u"This is not a time of day such as 09:30 or 09:30:15, in row %1."_s.arg(i)));
    }
    QJsonObject reply = someOfEach();
    reply.insert(u"problems"_s, problems);
    return reply;
}

} // namespace

/// What the page of migration shows of an import's preview.
class ImportPageTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    void speak(bool hebrew) const { m_fixture->window->setProperty("hebrew", hebrew); }
    /// What assistive technology is told of the rows, in their order.
    [[nodiscard]] QStringList rows() const;
    void preview(const QJsonObject& reply);

    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<FileDialogs> m_dialogs;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void nothingIsShownWithoutAPreview();
    void theTextKeepsOffEveryEdge();
    void thePreviewIsATable();
    void aTimeThatWasTwiceAsksForItsOffset();
    void aFilterShowsOneKind_data();
    void aFilterShowsOneKind();
    void aProblemSaysWhatToDoInTheLanguageOnScreen();
    void whatIsNotListedIsSaid();
    void theTextStaysAsItIs();
    void theTextIsIndentedByTwoBlanks();
    void aLongPreviewIsMadeAsItIsSeen();
    void aLongTextIsReadFromItsBeginningToItsEnd();
    void aShortTextReplacesALongOneOnItsWay();
};

void ImportPageTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_dialogs = std::make_unique<FileDialogs>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->show(WindowFixture::document());
    m_fixture->openTab(2);
    speak(false);
}

void ImportPageTest::cleanup() {
    m_fixture.reset();
    m_dialogs.reset();
    m_peer.reset();
}

QStringList ImportPageTest::rows() const {
    m_fixture->layOut();
    QList<QQuickItem*> all = item("importRows")->property("contentItem").value<QQuickItem*>()->childItems();
    all.removeIf([](const QQuickItem* row) { return !row->isVisible() || !row->property("row").isValid(); });
    std::sort(all.begin(), all.end(), [](const QQuickItem* left, const QQuickItem* right) {
        return left->property("index").toInt() < right->property("index").toInt();
    });
    QStringList names;
    for (QQuickItem* const row : all) {
        names.append(QAccessible::queryAccessibleInterface(row)->text(QAccessible::Name));
    }
    return names;
}

void ImportPageTest::preview(const QJsonObject& reply) {
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"entries.csv"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("a,b\n") == 4 && file.flush());
    m_peer->answerOnce("POST", u"/v1/workspaces/w1/imports/csv/preview"_s, PeerReply::json(reply, 201));
    m_dialogs->choose(file.fileName());
    m_fixture->controller.previewCsv(u"source"_s, u"UTC"_s, true);
    m_dialogs->cancel();
    QTRY_COMPARE(m_fixture->controller.message(), u"Preview only: no time entries have been written"_s);
}

void ImportPageTest::theTextKeepsOffEveryEdge() {
    const auto* const reader = item("importPreview")->property("reader").value<QObject*>();
    for (const char* const edge : {"topPadding", "bottomPadding", "leftPadding", "rightPadding"}) {
        QCOMPARE(reader->property(edge).toInt(), 14);
    }
}

void ImportPageTest::nothingIsShownWithoutAPreview() {
    QVERIFY(!item("importTable")->isVisible());
    QCOMPARE(text("importPreview"), u"{}"_s);
    QVERIFY(!item("importBlocked")->isVisible());
    preview({{u"id"_s, u"i1"_s}, {u"state"_s, u"importing"_s}, {u"total"_s, 60}});
    QVERIFY(!item("importTable")->isVisible());
}

void ImportPageTest::thePreviewIsATable() {
    preview(someOfEach());
    QVERIFY(item("importTable")->isVisible());
    QVERIFY(item("importBlocked")->isVisible()); // some rows have problems
    QTRY_VERIFY(!item("importEmpty")->isVisible());
    QTRY_COMPARE(rows().size(), 4); // rows below the edge are made a little later
    const QStringList shown = rows();
    QCOMPARE(shown.at(0), u"2, Timetable, \u200eHarbour / Ferry · \u20662026-03-05 09:00–10:30\u2069, "
                          "A new project is made."_s);
    QVERIFY2(shown.at(1).startsWith(u"3, Again, "_s), qPrintable(shown.at(1)));
    QVERIFY(shown.at(1).endsWith(u"There already, so it is skipped; nothing is to be done."_s));
    QCOMPARE(shown.at(3), u"5, Not written, End time, The moon was full."_s);
}

// The message names the offsets that there are.
void ImportPageTest::aTimeThatWasTwiceAsksForItsOffset() {
    QJsonObject reply = someOfEach();
    reply.insert(u"problems"_s, QJsonArray{problem(4, u"clock_twice"_s, u"Twice."_s),
                                           problem(5, u"offset"_s, u"Another."_s)});
    preview(reply);
    m_fixture->click(item("importFilter_problem"));
    QTRY_COMPARE(rows().size(), 2);
    QCOMPARE(rows(),
             (QStringList{
                 u"4, Not written, End time, The clocks showed this time twice; write behind it the "
                 "offset of the one that is meant, as in 01:10+02:00., Twice."_s,
                 u"5, Not written, End time, Another time zone's time: write it as clocks showed it in this "
                 "zone, or correct the offset if that alone is wrong., Another."_s}));
    speak(true);
    QTRY_COMPARE(rows().size(), 2);
    QCOMPARE(rows(),
             (QStringList{
                 u"4, לא ייכתב, End time, השעון הראה את השעה הזאת פעמיים; כתוב אחריה את ההיסט של השעה "
                 "הנכונה, למשל \u206601:10+02:00\u2069., Twice."_s,
                 u"5, לא ייכתב, End time, השעה היא לפי אזור זמן אחר: כתוב אותה כפי שהשעון הראה באזור הזה, או "
                 "תקן את ההיסט אם רק הוא שגוי., Another."_s}));
}

void ImportPageTest::aFilterShowsOneKind_data() {
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QTest::addColumn<QStringList>("starts");
    QTest::newRow("problems") << u"problem"_s << u"Problems (2)"_s << u"בעיות (2)"_s
                              << QStringList{u"4, Not written, End time, Correct the start or the end"_s,
                                             u"5, Not written, End time, The moon"_s};
    QTest::newRow("duplicates") << u"duplicate"_s << u"Duplicates (9)"_s << u"כפולות (9)"_s
                                << QStringList{u"3, Again"_s};
    QTest::newRow("new names") << u"name"_s << u"New names (1)"_s << u"שמות חדשים (1)"_s
                               << QStringList{u"Ferry, New project, Is made by the import"_s};
    QTest::newRow("all rows") << u"entry"_s << u"Rows (60)"_s << u"שורות (60)"_s
                              << QStringList{u"2, "_s, u"3, "_s, u"4, "_s, u"5, "_s};
}

void ImportPageTest::aFilterShowsOneKind() {
    QFETCH(const QString, what);
    QFETCH(const QStringList, starts);
    preview(someOfEach());
    m_fixture->click(item("importFilter_problem"));
    QQuickItem* const filter = m_fixture->item(u"importFilter_"_s + what);
    QTEST(filter->property("text").toString(), "english");
    filter->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Space);
    const auto* const told = QAccessible::queryAccessibleInterface(filter);
    QVERIFY(told->state().checkable);
    QVERIFY(told->state().checked);
    QTRY_COMPARE(rows().size(), starts.size());
    const QStringList shown = rows();
    for (qsizetype i = 0; i < starts.size(); ++i) {
        QVERIFY2(shown.at(i).startsWith(starts.at(i)), qPrintable(shown.at(i)));
    }
    speak(true);
    QTEST(filter->property("text").toString(), "hebrew");
}

void ImportPageTest::aProblemSaysWhatToDoInTheLanguageOnScreen() {
    preview(someOfEach());
    m_fixture->click(item("importFilter_problem"));
    QCOMPARE(rows().at(0),
             u"4, Not written, End time, Correct the start or the end; perhaps the end is on the next day., "
             "The entry would end before it starts."_s);
    speak(true);
    QVERIFY2(rows().at(0).startsWith(
                 u"4, לא ייכתב, End time, תקן את ההתחלה או את הסיום; אולי הסיום הוא ביום הבא."_s),
             qPrintable(rows().at(0)));
    QCOMPARE(rows().at(1), u"5, לא ייכתב, End time, The moon was full."_s);
}

void ImportPageTest::whatIsNotListedIsSaid() {
    preview(someOfEach());
    m_fixture->click(item("importFilter_duplicate"));
    QCOMPARE(text("importPartly"), u"The server lists 1 of 9."_s);
    QVERIFY(item("importPartly")->isVisible());
    m_fixture->click(item("importFilter_problem"));
    QVERIFY(!item("importPartly")->isVisible());
}

void ImportPageTest::theTextStaysAsItIs() {
    preview(someOfEach());
    const QString text = item("importPreview")->property("text").toString();
    QCOMPARE(QJsonDocument::fromJson(text.toUtf8()).object(), someOfEach());
    QVERIFY(text.startsWith(u"{\n  \"duplicate_rows\": [\n    {\n      \"client\""_s));
    QVERIFY(item("importPreview")->mapToScene({}).y() >= item("importRows")->mapToScene({}).y());
}

void ImportPageTest::theTextIsIndentedByTwoBlanks() {
    QJsonObject reply = someOfEach();
    reply.insert(u"none"_s, QJsonArray{QJsonObject(), QJsonArray(), QJsonArray{QJsonValue()}});
    reply.insert(u"said"_s, u"  \"{[\n    ]}\" \\ \t שלום"_s);
    reply.insert(u"share"_s, 0.25);
    preview(reply);
    const QString wanted = m_fixture->evaluate(u"JSON.stringify(client.importPreview, null, 2)"_s).toString();
    QVERIFY(wanted.contains(u"\n    []"_s));
    QCOMPARE(text("importPreview"), wanted);
}

void ImportPageTest::aLongPreviewIsMadeAsItIsSeen() {
    const QJsonObject reply = longPreview();
    QVERIFY(QJsonDocument(reply).toJson(QJsonDocument::Compact).size() > 900'000);
    preview(reply);
    m_fixture->click(item("importFilter_problem"));
    QTRY_COMPARE(item("importRows")->property("count").toInt(), 8000);
    QVERIFY(rows().size() < 30);
    m_fixture->click(item("importFilter_name"));
    QTRY_COMPARE(item("importRows")->property("count").toInt(), 1);
    QTRY_COMPARE(QJsonDocument::fromJson(text("importPreview").toUtf8()).object(), reply);
}

void ImportPageTest::aLongTextIsReadFromItsBeginningToItsEnd() {
    preview(longPreview());
    const auto* const reader = item("importPreview")->property("reader").value<QQuickItem*>();
    QTRY_VERIFY(text("importPreview").size() > 900'000);
    QTRY_COMPARE_WITH_TIMEOUT(reader->property("text").toString(), text("importPreview"), 30000);
    QCOMPARE(item("importPreview")->property("contentItem").value<QQuickItem*>()->property("contentY"), 0.0);
}

void ImportPageTest::aShortTextReplacesALongOneOnItsWay() {
    auto* const view = item("importPreview");
    const auto* const reader = view->property("reader").value<QQuickItem*>();
    view->setProperty("text", u"a line\n"_s.repeated(100'000));
    QTRY_VERIFY(reader->property("length").toInt() > 10);
    QVERIFY(reader->property("length").toInt() < 700'000);
    view->setProperty("text", u"short"_s);
    QTimer later; // than the piece that was to come next
    later.setSingleShot(true);
    const QSignalSpy passed(&later, &QTimer::timeout);
    later.start();
    QTRY_COMPARE(passed.count(), 1);
    QCOMPARE(reader->property("text").toString(), u"short"_s);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    ImportPageTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "importpage.moc"
