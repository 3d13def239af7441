// SPDX-License-Identifier: MIT
#include "tests/support/sqlitefile.h"
#include "tests/web/webfixture.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString markup = u"<img src=x onerror=\"document.title='taken'\"><b>bold</b> & \"quoted\""_s;

/// Texts that stand out from what is behind them by less than 4.5 to 1, and
/// fields whose edges do by less than 3 to 1.
const QString faintTexts = uR"JS((() => {
    const contrast = (a, b) => (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    const levels = (color) => color.match(/[\d.]+/g).map(Number);
    const light = (c) => c.slice(0, 3).map((v) => v / 255)
        .map((v) => v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
        .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
    const behind = (node) => {
        const color = levels(getComputedStyle(node).backgroundColor);
        return (color[3] ?? 1) > 0 ? color : behind(node.parentElement);
    };
    const shown = [...document.querySelectorAll('body *')].filter((node) => node.checkVisibility());
    const faintFields = shown.filter((node) => node.matches('input, textarea') &&
        contrast(light(levels(getComputedStyle(node).borderTopColor)), light(behind(node))) < 3);
    return faintFields.map((node) => node.id).concat(shown.filter((node) =>
        [...node.childNodes].some((child) => child.nodeType === 3 && child.data.trim() !== '') &&
        contrast(light(levels(getComputedStyle(node).color)), light(behind(node))) < 4.5)
        .map((node) => node.textContent));
})())JS"_s;

/// What stands outside the window's sides, or is cut off inside its box.
const QString clippedTexts = uR"JS([...document.querySelectorAll('body *')].filter((node) => {
    const box = node.getBoundingClientRect();
    const cut = node.scrollWidth > node.clientWidth + 1 && getComputedStyle(node).display !== 'inline';
    return node.checkVisibility() && !node.closest('.unseen, .skip') &&
        (box.left < -1 || box.right > innerWidth + 1 || cut);
}).map((node) => node.textContent))JS"_s;

} // namespace

/// What the page shows, in which language and how, to eyes and to screen readers.
class WebPageTest : public WebFixture {
    Q_OBJECT

    /// A period with two days of work, opened.
    [[nodiscard]] QString openedPeriod();
    [[nodiscard]] QJsonValue style(const QString& selector, const QString& property);

private Q_SLOTS:
    void itIsHebrewFromRightToLeftAtFirst();
    void englishIsOneClickAwayAndRemembered();
    void itIsLightOrDarkAsTheSystemIs();
    void allTextStandsOutFromWhatIsBehindIt_data();
    void allTextStandsOutFromWhatIsBehindIt();
    void nothingIsCutOffOnANarrowScreen_data();
    void nothingIsCutOffOnANarrowScreen();
    void periodsAreListedNewestFirstWithTheirReason();
    void aPeriodOpensToItsEntriesAndTotals();
    void aPeriodOpensAsItIsByThen();
    void anEmptyTimesheetSaysWhatToDo();
    void wordsThatLookLikeMarkupStayWords();
    void nothingButThePagesOwnFilesRuns();
    void screenReadersHearWhatEverythingIs();
    void everythingThatCanBePressedHasAName_data();
    void everythingThatCanBePressedHasAName();
};

QString WebPageTest::openedPeriod() {
    QString id = addPeriod({2026, 3, 1}, u"open"_s, u"חסר תיאור"_s);
    if (!addEntry(u"2026-03-01T08:00:00Z"_s, u"2026-03-01T09:30:00Z"_s, u"Morning"_s) ||
        !addEntry(u"2026-03-01T22:30:00Z"_s, u"2026-03-02T01:15:05Z"_s, u"עבודת לילה"_s) ||
        !addEntry(u"2026-03-05T10:00:00Z"_s, u"2026-03-05T10:00:30Z"_s, {}) || !openPage() ||
        !m_browser.click(part(u"toggle"_s, id)) ||
        !QTest::qWaitFor([this] { return m_browser.shows(u"table"_s); }, Browser::patienceMs)) {
        return {};
    }
    return id;
}

QJsonValue WebPageTest::style(const QString& selector, const QString& property) {
    return m_browser.evaluate(u"getComputedStyle(document.querySelector('%1')).%2"_s.arg(selector, property));
}

void WebPageTest::itIsHebrewFromRightToLeftAtFirst() {
    QVERIFY2(openPage(), qPrintable(m_browser.problem()));
    QCOMPARE(m_browser.evaluate(u"document.documentElement.lang"_s), u"he"_s);
    QCOMPARE(style(u"body"_s, u"direction"_s), u"rtl"_s);
    QCOMPARE(m_browser.text(u"h1"_s), u"גיליון שעות"_s);
    QCOMPARE(m_browser.text(u"#language"_s), u"English"_s);
    QVERIFY(m_browser
                .evaluate(u"document.querySelector('h1').getBoundingClientRect().left >"
                          " document.querySelector('.account').getBoundingClientRect().right"_s)
                .toBool());
}

void WebPageTest::englishIsOneClickAwayAndRemembered() {
    QVERIFY(openPage());
    QVERIFY(chooseEnglish());
    QCOMPARE(m_browser.text(u"h1"_s), u"Timesheet"_s);
    QVERIFY(openPage());
    QCOMPARE(m_browser.evaluate(u"document.documentElement.lang"_s), u"en"_s);
    QCOMPARE(style(u"body"_s, u"direction"_s), u"ltr"_s);
    QCOMPARE(m_browser.evaluate(u"document.title"_s), u"Timesheet"_s);
    QVERIFY(m_browser
                .evaluate(u"document.querySelector('h1').getBoundingClientRect().right <"
                          " document.querySelector('.account').getBoundingClientRect().left"_s)
                .toBool());
    QVERIFY(m_browser.click(u"#language"_s));
    QCOMPARE(m_browser.text(u"h1"_s), u"גיליון שעות"_s);
}

void WebPageTest::itIsLightOrDarkAsTheSystemIs() {
    QVERIFY(openPage());
    QCOMPARE(style(u"body"_s, u"backgroundColor"_s), u"rgb(247, 246, 251)"_s);
    QVERIFY(m_browser.setTheme(Browser::Theme::Dark));
    QTRY_COMPARE_WITH_TIMEOUT(style(u"body"_s, u"backgroundColor"_s), u"rgb(22, 20, 31)"_s,
                              Browser::patienceMs);
}

void WebPageTest::allTextStandsOutFromWhatIsBehindIt_data() {
    QTest::addColumn<Browser::Theme>("theme");
    QTest::newRow("light") << Browser::Theme::Light;
    QTest::newRow("dark") << Browser::Theme::Dark;
}

void WebPageTest::allTextStandsOutFromWhatIsBehindIt() {
    QFETCH(Browser::Theme, theme);
    addPeriod({2026, 2, 1}, u"submitted"_s);
    addPeriod({2026, 1, 4}, u"approved"_s);
    QVERIFY(!openedPeriod().isEmpty());
    QVERIFY(m_browser.setTheme(theme));
    QCOMPARE(m_browser.evaluate(faintTexts), QJsonArray());
    QVERIFY(m_browser.click(u"#sign-in"_s));
    QVERIFY(m_browser.click(u"#sign-in-dialog .primary"_s));
    QCOMPARE(m_browser.evaluate(faintTexts), QJsonArray());
}

void WebPageTest::nothingIsCutOffOnANarrowScreen_data() {
    QTest::addColumn<bool>("english");
    QTest::newRow("Hebrew") << false;
    QTest::newRow("English") << true;
}

void WebPageTest::nothingIsCutOffOnANarrowScreen() {
    QFETCH(bool, english);
    addPeriod({2026, 2, 22}, u"submitted"_s, QString(300, u'x'));
    QVERIFY(addEntry(u"2026-03-02T08:00:00Z"_s, u"2026-03-02T08:01:00Z"_s, QString(300, u'w')));
    QVERIFY(!openedPeriod().isEmpty());
    QVERIFY(!english || chooseEnglish());
    QVERIFY(m_browser.setSize(360, 800));
    QCOMPARE(m_browser.evaluate(clippedTexts), QJsonArray());
    QCOMPARE(m_browser.evaluate(u"document.documentElement.scrollWidth <= innerWidth"_s), true);
}

void WebPageTest::periodsAreListedNewestFirstWithTheirReason() {
    addPeriod({2026, 2, 22}, u"approved"_s);
    addPeriod({2026, 3, 8}, u"submitted"_s);
    QVERIFY(addEntry(u"2026-03-01T08:00:00Z"_s, u"2026-03-06T08:00:07Z"_s, u"Long"_s));
    addPeriod({2026, 3, 1}, u"open"_s, u"Tuesday is missing"_s);
    QVERIFY(openPage());
    QVERIFY(chooseEnglish());
    const QString row = u"[...document.querySelectorAll('.period')].map((row) => ['.toggle', '.status',"
                        " '.total .figures', '.reason'].map((part) =>"
                        " row.querySelector(part)?.textContent).join('|')).join(' / ')"_s;
    QCOMPARE(plain(m_browser.evaluate(row).toString()),
             u"8–14 March 2026|Submitted|00:00| / "
             "1–7 March 2026|Open|120:00|Reopened: Tuesday is missing / "
             "22–28 February 2026|Approved|00:00|"_s);
}

void WebPageTest::aPeriodOpensToItsEntriesAndTotals() {
    const QString id = openedPeriod();
    QVERIFY2(!id.isEmpty(), qPrintable(m_browser.problem()));
    QCOMPARE(m_browser.evaluate(u"document.querySelector('.total .figures').textContent"_s), u"04:15"_s);
    const QString rows = u"[...document.querySelectorAll('tbody tr')].map((row) =>"
                         " [...row.cells].map((cell) => cell.textContent).join('|'))"_s;
    QCOMPARE(m_browser.evaluate(rows),
             (QJsonArray{u"יום ראשון, 1 במרץ|04:15"_s, u"08:00–09:30|Morning|01:30"_s,
                         u"22:30–2.3 01:15|עבודת לילה|02:45"_s, u"יום חמישי, 5 במרץ|00:00"_s,
                         u"10:00–10:00|ללא תיאור|00:00"_s}));
    QVERIFY(m_browser.text(part(u"entries"_s, id)).endsWith(u"השעות לפי UTC"));
    QVERIFY(m_browser.click(part(u"toggle"_s, id)));
    QVERIFY(!m_browser.shows(part(u"entries"_s, id)));
}

void WebPageTest::aPeriodOpensAsItIsByThen() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s);
    QVERIFY(addEntry(u"2026-03-01T08:00:00Z"_s, u"2026-03-01T09:30:00Z"_s, u"Before"_s));
    QVERIFY(openPage());
    QCOMPARE(m_browser.text(u".total .figures"_s), u"01:30"_s);
    QVERIFY(addEntry(u"2026-03-01T10:00:00Z"_s, u"2026-03-01T11:00:00Z"_s, u"Since"_s));
    SqliteFile(m_server->databaseFile())
        .run(u"UPDATE timesheet_periods SET status = 'submitted', version = 2"_s);
    QVERIFY(m_browser.click(part(u"toggle"_s, id)));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u"table"_s), Browser::patienceMs);
    QCOMPARE(m_browser.text(u".day .duration"_s), u"02:30"_s);
    QCOMPARE(m_browser.text(u".total .figures"_s), u"02:30"_s);
    QVERIFY(m_browser.shows(part(u"approve"_s, id)));
    QVERIFY(m_browser.click(part(u"toggle"_s, id)));
    QVERIFY(!m_browser.shows(part(u"entries"_s, id)));
    QCOMPARE(m_browser.text(u".total .figures"_s), u"02:30"_s);
}

void WebPageTest::anEmptyTimesheetSaysWhatToDo() {
    QVERIFY(openPage());
    QCOMPARE(m_browser.text(u"section > p"_s), u"עדיין אין כאן תקופות. אפשר להוסיף את הראשונה למעלה."_s);
    QVERIFY(m_browser.shows(u".add button"_s));
}

void WebPageTest::wordsThatLookLikeMarkupStayWords() {
    const QString id = addPeriod({2026, 3, 1}, u"open"_s, markup);
    QVERIFY(addEntry(u"2026-03-01T08:00:00Z"_s, u"2026-03-01T09:30:00Z"_s, markup));
    SqliteFile database(m_server->databaseFile());
    database.run(u"UPDATE workspaces SET name = ?"_s, {markup});
    database.run(u"UPDATE users SET display_name = ?"_s, {markup});
    database.run(u"INSERT INTO projects (id, workspace_id, name, color, archived)"
                 " SELECT 'p', id, ?, '', 0 FROM workspaces"_s,
                 {markup});
    database.run(u"UPDATE time_entries SET project_id = 'p'"_s);
    std::ignore = m_browser.errors();
    QVERIFY(openPage());
    QVERIFY(m_browser.click(part(u"toggle"_s, id)));
    QTRY_VERIFY_WITH_TIMEOUT(m_browser.shows(u"table"_s), Browser::patienceMs);
    for (const char* selector : {".work div", ".project", ".reason bdi", "h2[id^=name]", "#person"}) {
        QCOMPARE(m_browser.text(QString::fromLatin1(selector)), markup);
    }
    QCOMPARE(m_browser.evaluate(u"document.querySelectorAll('img, b').length"_s), 0);
    QCOMPARE(m_browser.evaluate(u"document.title"_s), u"גיליון שעות"_s);
    QCOMPARE(m_browser.errors(), QJsonArray());
}

void WebPageTest::nothingButThePagesOwnFilesRuns() {
    QVERIFY(openPage());
    const QString attempts = uR"JS((() => {
        const script = document.createElement('script');
        try { script.textContent = 'window.taken = 1'; document.body.append(script); } catch {}
        try { document.body.insertAdjacentHTML('beforeend', '<i onclick="window.taken = 2">x</i>'); } catch {}
        document.querySelector('i')?.click();
        document.body.setAttribute('style', 'visibility: hidden');
        return [window.taken === undefined, document.querySelector('i') === null,
            getComputedStyle(document.body).visibility];
    })())JS"_s;
    QCOMPARE(m_browser.evaluate(attempts), (QJsonArray{true, true, u"visible"_s}));
    // Each attempt is reported, so a page without reports made none.
    const QJsonArray reports = m_browser.errors();
    QVERIFY(reports.size() >= 3);
}

void WebPageTest::screenReadersHearWhatEverythingIs() {
    const QString id = openedPeriod();
    QVERIFY(!id.isEmpty());
    QVERIFY(chooseEnglish());
    const QList<std::tuple<QString, QString, QString>> expected{
        {u"header"_s, u"banner"_s, {}},
        {u"main"_s, u"main"_s, {}},
        {u"#outcome"_s, u"status"_s, {}},
        {u"section"_s, u"region"_s, u"Development"_s},
        {u".periods"_s, u"list"_s, {}},
        {part(u"toggle"_s, id), u"button"_s, u"1–7 March 2026, Development"_s},
        {part(u"submit"_s, id), u"button"_s, u"Submit: 1–7 March 2026, Development"_s},
        {u"table"_s, u"table"_s, u"Entries of the period 1–7 March 2026"_s},
        {u"thead .time"_s, u"columnheader"_s, u"Time"_s},
        {u"thead .work"_s, u"columnheader"_s, u"Description and project"_s},
        {u"thead .duration"_s, u"columnheader"_s, u"Duration"_s},
        {u".day th"_s, u"rowheader"_s, u"Sunday 1 March"_s},
        {u".add input"_s, u"Date"_s, u"Add the week of, Development"_s},
        {u".add button"_s, u"button"_s, u"Add period, Development"_s},
    };
    for (const auto& [selector, role, label] : expected) {
        QVERIFY2(m_browser.role(selector) == role,
                 qPrintable(selector + u" is "_s + m_browser.role(selector)));
        if (!label.isEmpty()) {
            QCOMPARE(plain(m_browser.label(selector)), label);
        }
    }
    QCOMPARE(m_browser.evaluate(u"document.querySelector('.toggle').getAttribute('aria-expanded')"_s),
             u"true"_s);
}

void WebPageTest::everythingThatCanBePressedHasAName_data() {
    nothingIsCutOffOnANarrowScreen_data();
}

void WebPageTest::everythingThatCanBePressedHasAName() {
    QFETCH(bool, english);
    addPeriod({2026, 2, 1}, u"submitted"_s);
    addPeriod({2026, 1, 4}, u"approved"_s);
    QVERIFY(openPage());
    QVERIFY(!english || chooseEnglish());
    const QJsonArray ids =
        m_browser
            .evaluate(u"[...document.querySelectorAll('button, input, textarea')].filter((node) =>"
                      " node.checkVisibility()).map((node) => node.id)"_s)
            .toArray();
    QVERIFY(ids.size() >= 8);
    QSet<QString> names;
    for (const auto& id : ids) {
        const QString name = m_browser.label(u'#' + id.toString());
        QVERIFY2(!name.isEmpty(), qPrintable(id.toString()));
        QVERIFY2(!names.contains(name), qPrintable(name + u" is the name of two"_s));
        names += name;
    }
    for (const char* dialog : {"#sign-in", "[id^=reopen-]"}) {
        QVERIFY(m_browser.click(QString::fromLatin1(dialog) + u":is(button)"_s));
        QVERIFY(!m_browser.label(u"dialog[open]"_s).isEmpty());
        QVERIFY(!m_browser.label(u"dialog[open] :is(input, textarea)"_s).isEmpty());
        QVERIFY(m_browser.press(Browser::escape));
    }
}

QTEST_GUILESS_MAIN(WebPageTest)
#include "page.moc"
