// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QTest>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

struct Control {
    Role role;
    const char* hebrew;
    const char* english;
};

/// What is above the pages, on every tab.
const QList<Control> frame{
    {Role::ComboBox, "סביבת עבודה", "Workspace"},
    {Role::PushButton, "סנכרון (0)", "Sync (0)"},
    {Role::PushButton, "EN", "עברית"},
    {Role::PageTab, "טיימר ורשומות", "Timer and entries"},
    {Role::PageTab, "דוחות", "Reports"},
    {Role::PageTab, "מעבר וייבוא", "Migration"},
    {Role::PageTab, "הגדרות", "Settings"},
    {Role::PageTab, "תקופות נעולות", "Timesheets"},
};

/// What each page holds.
const QList<QList<Control>> pages{
    {
        {Role::PushButton, "התחל", "Start"},
        {Role::Text, "על מה אתה עובד?", "What are you working on?"},
        {Role::ComboBox, "פרויקט", "Project"},
        {Role::CheckBox, "לחיוב", "Billable"},
        {Role::PushButton, "רשומה ידנית", "Manual entry"},
        {Role::List, "רשומות סגורות", "Closed entries"},
        {Role::PushButton, "ערוך תיאור", "Edit description"},
        {Role::Text, "חיפוש ברשומות", "Find entries"},
        {Role::PushButton, "פעולות", "Actions"},
    },
    {
        {Role::ComboBox, "סוג דוח", "Report kind"},
        {Role::ComboBox, "קיבוץ", "Grouping"},
        {Role::Text, "מתאריך", "From date"},
        {Role::Text, "עד תאריך", "To date"},
        {Role::PushButton, "הפק דוח", "Generate"},
        {Role::PushButton, "CSV", "CSV"},
        {Role::PushButton, "Excel", "Excel"},
        {Role::PushButton, "JSON", "JSON"},
        {Role::PushButton, "שמור דוח HTML להדפסה", "Save printable HTML"},
        {Role::List, "דוחות", "Reports"},
        {Role::PushButton, "העתק", "Copy"},
        {Role::PushButton, "היום", "Today"},
        {Role::PushButton, "השבוע", "This week"},
        {Role::PushButton, "השבוע שעבר", "Last week"},
        {Role::PushButton, "החודש", "This month"},
        {Role::PushButton, "החודש שעבר", "Last month"},
        {Role::PushButton, "השנה", "This year"},
    },
    {
        {Role::Text, "מזהה מקור קבוע", "Stable source identifier"},
        {Role::CheckBox, "אני מאשר שהרשומות שייכות לי", "I confirm these entries belong to me"},
        {Role::PushButton, "בחר קובץ ותצוגה מקדימה", "Choose file and preview"},
        {Role::PushButton, "אשר ייבוא", "Confirm import"},
        {Role::PushButton, "השהה לאחר המקטע", "Pause after chunk"},
        {Role::Text, "ייבוא CSV מפורט", "Detailed CSV import"},
    },
    {
        {Role::Text, "כתובת השרת", "Server address"},
        {Role::PushButton, "חיבור שרת / כניסת פיתוח מפורשת", "Connect / explicit developer entry"},
        {Role::Text, "כתובת דואר של חשבון קיים", "Existing account email"},
        {Role::PasswordText, "סיסמת חשבון אישי", "Personal account password"},
        {Role::PushButton, "כניסה אישית", "Personal sign-in"},
        {Role::PushButton, "התנתק מהחשבון", "Sign out"},
        {Role::CheckBox, "ערכת צבעים כהה", "Dark appearance"},
        {Role::PushButton, "ייצוא תור ממתין", "Export pending changes"},
        {Role::PushButton, "העתק פרטים טכניים", "Copy technical details"},
    },
    {
        {Role::PushButton, "פתח גיליון זמן בדפדפן", "Open Timesheets in browser"},
        {Role::List, "תקופות הגשה ונעילה", "Submitted periods and locks"},
    },
};

bool isControl(Role role) {
    const QList<Role> controls{Role::CheckBox,     Role::ComboBox,  Role::PageTab, Role::PushButton,
                               Role::PasswordText, Role::Text,      Role::List,    Role::Entry,
                               Role::ToggleButton, Role::SpinButton};
    return controls.contains(role);
}

/// Role and name, as one line of a list that a failure shows whole.
QString line(Role role, const QString& name) {
    return u"%1 %2"_s.arg(int(role)).arg(name);
}

/// What a screen reader calls it. Of a password field Qt 6.4 hands over the description alone.
QString spokenName(const Element& element) {
    return element.role() == Role::PasswordText && element.name().isEmpty() ? element.description()
                                                                            : element.name();
}

/// Every control on the screen, once each.
QStringList controlsOf(const Program& program) {
    QStringList found;
    const QList<Element> all = program.elements().everything();
    for (const Element& element : all) {
        if (isControl(element.role())) {
            found.append(line(element.role(), spokenName(element)));
        }
    }
    found.removeDuplicates();
    found.sort();
    return found;
}

QString nameOf(const Control& control, bool hebrew) {
    return QString::fromUtf8(hebrew ? control.hebrew : control.english);
}

QStringList expectedControls(qsizetype page, bool hebrew) {
    QStringList expected;
    const QList<Control> controls = frame + pages.at(page);
    for (const Control& control : controls) {
        expected.append(line(control.role, nameOf(control, hebrew)));
    }
    expected.removeDuplicates();
    expected.sort();
    return expected;
}

} // namespace

class AccessibilityTest : public QObject {
    Q_OBJECT

    /// Presses it once it can be used, until that did what it is for.
    [[nodiscard]] bool pressUntil(Role role, const QString& name, const std::function<bool()>& outcome) const;
    [[nodiscard]] bool speak(bool hebrew) const;
    [[nodiscard]] bool showPage(qsizetype page, bool hebrew) const;

    Screen m_screen;
    DevServer m_server;
    Program m_program;

private Q_SLOTS:
    void initTestCase();
    void controlsHaveNamesAndRoles_data();
    void controlsHaveNamesAndRoles();
    void pressingStartsAndStopsExactlyOnce();
};

void AccessibilityTest::initTestCase() {
    startClean();
    QVERIFY(m_screen.start());
    QVERIFY(m_server.start());
    const QJsonObject entry{{u"description"_s, u"Planning"_s},
                            {u"start_at"_s, u"2026-01-05T08:00:00Z"_s},
                            {u"stop_at"_s, u"2026-01-05T09:00:00Z"_s}};
    const QString id = u"8d9f8b0e-7a54-4d6c-9a43-0d3c6a4f2b11"_s;
    QCOMPARE(m_server.push(u"entry.create"_s, id, 0, entry).value(u"status").toString(), u"accepted"_s);
    m_program.start({u"--server"_s, m_server.url()});
    QTRY_VERIFY_WITH_TIMEOUT(m_program.shows(Role::Label, u"Connected to PostgreSQL"_s), Screen::patienceMs);
}

bool AccessibilityTest::pressUntil(Role role, const QString& name,
                                   const std::function<bool()>& outcome) const {
    return retry([&] { return m_program.usable(role, name).press(); }, outcome);
}

bool AccessibilityTest::speak(bool hebrew) const {
    const Control language{Role::PushButton, "EN", "עברית"};
    const auto spoken = [&] { return m_program.shows(language.role, nameOf(language, hebrew)); };
    return spoken() || pressUntil(language.role, nameOf(language, !hebrew), spoken);
}

bool AccessibilityTest::showPage(qsizetype page, bool hebrew) const {
    const Control first = pages.at(page).constFirst();
    const auto shown = [&] { return m_program.shows(first.role, nameOf(first, hebrew)); };
    const qsizetype tabs = frame.size() - pages.size();
    return shown() || pressUntil(Role::PageTab, nameOf(frame.at(tabs + page), hebrew), shown);
}

void AccessibilityTest::controlsHaveNamesAndRoles_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<qsizetype>("page");
    for (const bool hebrew : {true, false}) {
        for (qsizetype page = 0; page < pages.size(); ++page) {
            QTest::addRow("%s, page %d", hebrew ? "Hebrew" : "English", int(page) + 1) << hebrew << page;
        }
    }
}

void AccessibilityTest::controlsHaveNamesAndRoles() {
    QFETCH(bool, hebrew);
    QFETCH(qsizetype, page);
    QVERIFY(speak(hebrew));
    QVERIFY(showPage(page, hebrew));
    const QStringList expected = expectedControls(page, hebrew);
    const auto complete = [&] { return controlsOf(m_program) == expected; };
    if (!QTest::qWaitFor(complete, Screen::patienceMs)) {
        QCOMPARE(controlsOf(m_program), expected);
    }
}

void AccessibilityTest::pressingStartsAndStopsExactlyOnce() {
    QVERIFY(speak(false));
    QVERIFY(showPage(0, false));
    const auto running = [this] { return m_program.shows(Role::PushButton, u"Stop"_s); };
    const auto idle = [this] { return m_program.shows(Role::PushButton, u"Start"_s); };
    const auto synced = [this] { return !m_program.usable(Role::PushButton, u"Sync (0)"_s).isNull(); };
    for (int round = 1; round <= 3; ++round) {
        QVERIFY(pressUntil(Role::PushButton, u"Start"_s, running));
        QTRY_VERIFY_WITH_TIMEOUT(synced(), Screen::patienceMs);
        const QJsonArray started = m_server.entriesNamed(QString());
        QCOMPARE(started.size(), round);
        QVERIFY(running());

        QVERIFY(pressUntil(Role::PushButton, u"Stop"_s, idle));
        QTRY_VERIFY_WITH_TIMEOUT(synced(), Screen::patienceMs);
        const QJsonArray stopped = m_server.entriesNamed(QString());
        QCOMPARE(stopped.size(), round);
        for (const auto& entry : stopped) {
            QCOMPARE(entry.toObject().value(u"version").toInt(), 2);
            QVERIFY(entry.toObject().value(u"stop_at").isString());
        }
        QVERIFY(idle());
    }
}

QTEST_MAIN(AccessibilityTest)
#include "accessibility.moc"
