// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// One text on the screen in both languages.
using Pair = std::pair<QString, QString>;

QJsonArray expectedTexts() {
    QFile file(QStringLiteral(TEST_DATA "/texts.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("no texts.json");
    }
    return QJsonDocument::fromJson(file.readAll()).array();
}

QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value) {
    object.insert(key, value);
    return object;
}

/// One entry waits, one is locked, and a timer runs.
QJsonObject fullDocument() {
    QJsonObject locked = WindowFixture::entry(u"e2"_s);
    locked.insert(u"start_at", u"2020-01-05T08:00:00Z"_s);
    locked.insert(u"stop_at", u"2020-01-05T09:00:00Z"_s);
    QJsonObject document = WindowFixture::document({WindowFixture::entry(u"e1"_s), locked},
                                                   {WindowFixture::edit(u"e1"_s, u"x"_s)});
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}});
    document.insert(u"timer", QJsonObject{{u"id"_s, u"t1"_s},
                                          {u"workspace_id"_s, u"w1"_s},
                                          {u"user_id"_s, u"u1"_s},
                                          {u"description"_s, u"Running"_s},
                                          {u"start_at"_s, u"2021-03-02T09:00:00Z"_s},
                                          {u"version"_s, 1}});
    return document;
}

QJsonObject totals(int raw, int rounded) {
    return {{u"raw_duration_seconds"_s, raw}, {u"rounded_duration_seconds"_s, rounded}};
}

} // namespace

class WindowTextsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] QStringList screen(bool hebrew) const;
    void addScreen();
    void addDialog(const char* name);
    void addWindow();
    /// Asks a scripted server for a report of these rows.
    void report(ScriptedPeer& peer, const QJsonArray& rows);

    std::unique_ptr<WindowFixture> m_fixture;
    QList<Pair> m_pairs;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void everyTextIsShownInBothLanguages_data();
    void everyTextIsShownInBothLanguages();
    void noHebrewIsLeftInEnglish();
    void conflictBoxIsHiddenWhileThereIsNone();
    void bannerHasItsColourInBothThemes();
    void timerButtonHasItsColours();
    void totalsLineCountsTheReport();
    void reportRowsShowTheirEntryOrLabels();
    void periodRowsTellTheirDatesAndState();
};

QStringList WindowTextsTest::screen(bool hebrew) const {
    m_fixture->window->setProperty("hebrew", hebrew);
    m_fixture->layOut();
    return WindowFixture::texts(m_fixture->window->contentItem());
}

void WindowTextsTest::addScreen() {
    // A list makes its rows anew when its direction changes, in the same order.
    const QStringList english = screen(false);
    const QStringList hebrew = screen(true);
    QCOMPARE(english.size(), hebrew.size());
    for (int i = 0; i < english.size(); ++i) {
        m_pairs.append({english.at(i), hebrew.at(i)});
    }
}

void WindowTextsTest::addDialog(const char* name) {
    QObject* const dialog = m_fixture->object(QString::fromLatin1(name));
    QMetaObject::invokeMethod(dialog, "open");
    QTRY_VERIFY(dialog->property("opened").toBool());
    addScreen();
    QMetaObject::invokeMethod(dialog, "close");
    QTRY_VERIFY(!dialog->property("visible").toBool());
}

void WindowTextsTest::addWindow() {
    for (int tab = 0; tab < 5; ++tab) {
        m_fixture->openTab(tab);
        addScreen();
    }
    addDialog("editDialog");
    addDialog("manualDialog");
}

void WindowTextsTest::initTestCase() {
    m_fixture = std::make_unique<WindowFixture>();
    // An empty field shows what belongs into it.
    item("importSource")->setProperty("text", QString());
    addWindow();
    m_fixture->unlock();
    m_fixture->show(fullDocument());
    m_fixture->openTab(0);
    QTRY_VERIFY(item("editEntry")->isVisible());
    addWindow();
}

void WindowTextsTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
}

void WindowTextsTest::cleanup() {
    m_fixture.reset();
}

void WindowTextsTest::everyTextIsShownInBothLanguages_data() {
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    QTest::addColumn<bool>("joined");

    const QJsonArray texts = expectedTexts();
    QVERIFY(texts.size() > 40);
    for (int i = 0; i < texts.size(); ++i) {
        const QJsonObject row = texts.at(i).toObject();
        const QString english = row.value(u"english").toString();
        QTest::addRow("%d %s", i + 1, qPrintable(english.left(40)))
            << english << row.value(u"hebrew").toString() << row.value(u"joined").toBool();
    }
}

void WindowTextsTest::everyTextIsShownInBothLanguages() {
    QFETCH(QString, english);
    QFETCH(QString, hebrew);
    QFETCH(bool, joined);
    const bool shown = std::any_of(m_pairs.cbegin(), m_pairs.cend(), [&](const Pair& pair) {
        if (joined) {
            return pair.first.contains(english) && pair.second.contains(hebrew);
        }
        return pair.first == english && pair.second == hebrew;
    });
    QVERIFY(shown);
}

void WindowTextsTest::noHebrewIsLeftInEnglish() {
    for (const Pair& pair : std::as_const(m_pairs)) {
        const bool hebrew = std::any_of(pair.first.cbegin(), pair.first.cend(),
                                        [](QChar c) { return c.script() == QChar::Script_Hebrew; });
        QVERIFY2(!hebrew || pair.first == u"עברית"_s, qPrintable(pair.first));
    }
}

void WindowTextsTest::conflictBoxIsHiddenWhileThereIsNone() {
    const QJsonArray entries{WindowFixture::entry(u"e1"_s)};
    const QJsonObject waiting = WindowFixture::edit(u"e1"_s, u"x"_s);
    m_fixture->openTab(3);
    QCOMPARE(text("conflicts"), u"[\n]"_s);
    QVERIFY(!item("conflicts")->isVisible());

    m_fixture->show(WindowFixture::document(entries, {with(waiting, u"status"_s, u"conflict"_s)}));
    QVERIFY(item("conflicts")->isVisible());
    QCOMPARE(text("conflicts"), m_fixture->controller.conflictDetails());
    QVERIFY(text("conflicts").contains(u"m-e1"_s));

    m_fixture->show(WindowFixture::document(entries, {waiting}));
    QVERIFY(!item("conflicts")->isVisible());
}

void WindowTextsTest::bannerHasItsColourInBothThemes() {
    const auto colour = [this] { return item("status")->parentItem()->property("color").value<QColor>(); };
    QCOMPARE(colour(), QColor(0xef, 0xec, 0xff));
    m_fixture->window->setProperty("dark", true);
    QCOMPARE(colour(), QColor(0x27, 0x23, 0x37));
}

void WindowTextsTest::timerButtonHasItsColours() {
    const auto colour = [this] {
        const auto* const background = item("timerAction")->property("background").value<QQuickItem*>();
        return background->property("color").value<QColor>();
    };
    QCOMPARE(colour(), QColor(0x66, 0x56, 0xf0));
    m_fixture->keepBusy();
    QCOMPARE(colour(), QColor(0x92, 0x8a, 0xaa));
    m_fixture->window->setProperty("dark", true);
    QCOMPARE(colour(), QColor(0x92, 0x8a, 0xaa));
}

void WindowTextsTest::report(ScriptedPeer& peer, const QJsonArray& rows) {
    m_fixture->unlock(peer.url());
    m_fixture->show(WindowFixture::document());
    QJsonObject all = totals(360061, 360060);
    all.insert(u"entry_count", 7);
    peer.answer("POST", u"/v1/workspaces/w1/reports/summary/query"_s,
                PeerReply::json({{u"totals"_s, all}, {u"rows"_s, rows}}));
    m_fixture->openTab(1);
    m_fixture->click(item("generateReport"));
    QTRY_COMPARE(m_fixture->controller.message(), u"Server snapshot loaded"_s);
}

void WindowTextsTest::totalsLineCountsTheReport() {
    QCOMPARE(text("reportTotals"), u"משך מקורי: 00:00:00   |   רשומות: 0"_s);
    ScriptedPeer peer;
    report(peer, {});
    QCOMPARE(text("reportTotals"), u"משך מקורי: 100:01:01   |   רשומות: 7"_s);
    m_fixture->window->setProperty("hebrew", false);
    QCOMPARE(text("reportTotals"), u"Raw time: 100:01:01   |   Entries: 7"_s);
}

void WindowTextsTest::reportRowsShowTheirEntryOrLabels() {
    const QJsonObject labelled{{u"labels"_s, QJsonArray{u"Studio"_s, u"Week 9"_s}},
                               {u"totals"_s, totals(3725, 3600)}};
    const QJsonObject detailed{{u"entry"_s, QJsonObject{{u"description"_s, u"Plan"_s}}},
                               {u"labels"_s, QJsonArray{u"not shown"_s}},
                               {u"totals"_s, totals(60, 900)}};
    ScriptedPeer peer;
    report(peer, {labelled, detailed});

    // In the order of the window's language, whatever they are written in.
    const QStringList expected{u"\u200fStudio / Week 9"_s,
                               u"98.4%"_s,
                               u"לא ידוע"_s,
                               u"01:02:05"_s,
                               u"01:00:00"_s,
                               u"Plan"_s,
                               u"1.6%"_s,
                               u"לא ידוע"_s,
                               u"00:01:00"_s,
                               u"00:15:00"_s};
    const auto* const rows = item("reportList")->property("contentItem").value<QQuickItem*>();
    QTRY_COMPARE(WindowFixture::texts(rows), expected);
}

void WindowTextsTest::periodRowsTellTheirDatesAndState() {
    m_fixture->openTab(4);
    m_fixture->show(WindowFixture::document());
    const QStringList expected{u"2020-01-01 → 2020-01-31"_s, u"submitted · Asia/Jerusalem · v2"_s, u"הוגשה"_s,
                               u"00:00:00"_s};
    const auto* const rows = item("periodList")->property("contentItem").value<QQuickItem*>();
    QTRY_COMPARE(WindowFixture::texts(rows), expected);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowTextsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "texts.moc"
