// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

/// Earlier descriptions are offered below the field while one types in it, on the page and in the dialog.
class WindowSuggestionsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] QObject* popup(const char* field) const {
        return item(field)->findChild<QObject*>(u"suggestions"_s);
    }
    [[nodiscard]] QQuickItem* list(const char* field) const {
        auto* const content = popup(field)->property("contentItem").value<QQuickItem*>();
        return findDrawn(content, u"suggestionList"_s);
    }
    [[nodiscard]] bool isOpen(const char* field) const { return popup(field)->property("opened").toBool(); }
    /// The rows on the screen as they are named, from above.
    [[nodiscard]] QStringList names(const char* field) const;
    void press(Qt::Key key) const { QTest::keyClick(m_fixture->window, key); }
    void type(const char* field, const QByteArray& text) const;
    void openManual() const;
    void listen(const QQuickItem* item);

    QStringList m_spoken;
    std::unique_ptr<WindowFixture> m_fixture;

public Q_SLOTS: // NOLINT(readability-redundant-access-specifiers)
    void hear() { m_spoken.append(sender()->property("text").toString()); }

private Q_SLOTS:
    void init();
    void cleanup();

    void listFollowsWhatIsTyped();
    void suggestionIsChosenByKeyboard();
    void suggestionIsChosenByMouse();
    void enterWithoutAChoiceOnlyClosesTheList();
    void escapeClosesTheListAndKeepsWhatIsTyped();
    void arrowDownOffersTheNewest();
    void listClosesWhenTheFieldIsLeft();
    void listGoesWithTheAccount();
    void listStaysDuringASync();
    void manualEntryTakesTheMainTimersSelectionAlong();
    void selectionGoesWithTheManualEntry_data();
    void selectionGoesWithTheManualEntry();
    void changedEntryTakesItsDescriptionsProject();
    void escapeInTheDialogClosesTheListFirst();
    void enterInTheDialogSubmitsWithoutAChoice();
    void listIsNamedAndSpoken_data();
    void listIsNamedAndSpoken();
};

namespace {

QString accessibleName(QQuickItem* item) {
    return QAccessible::queryAccessibleInterface(item)->text(QAccessible::Name);
}

QJsonObject entry(const QString& id, int minutes, const QString& description, const QJsonValue& project,
                  bool billable) {
    QJsonObject entry = WindowFixture::entry(id, minutes);
    entry.insert(u"description", description);
    entry.insert(u"project_id", project);
    entry.insert(u"billable", billable);
    return entry;
}

QJsonArray entries() {
    return {entry(u"e1"_s, 1, u"Weekly plan"_s, u"p2"_s, true), entry(u"e2"_s, 2, u"Call"_s, u"p1"_s, false),
            entry(u"e3"_s, 3, u"Plan"_s, QJsonValue::Null, false)};
}

} // namespace

void WindowSuggestionsTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->unlock();
    m_fixture->show(WindowFixture::document(entries()));
    QTRY_VERIFY(m_fixture->window->isActive());
    m_spoken.clear();
    listen(m_fixture->window->contentItem());
}

void WindowSuggestionsTest::cleanup() {
    m_fixture.reset();
}

QStringList WindowSuggestionsTest::names(const char* field) const {
    m_fixture->layOut();
    QStringList all;
    for (int row = 0; row < list(field)->property("count").toInt(); ++row) {
        QQuickItem* found = nullptr;
        QMetaObject::invokeMethod(list(field), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, found),
                                  Q_ARG(int, row));
        all.append(found ? accessibleName(found) : QString());
    }
    return all;
}

void WindowSuggestionsTest::type(const char* field, const QByteArray& text) const {
    item(field)->forceActiveFocus();
    for (const char letter : text) {
        QTest::keyClick(m_fixture->window, letter);
    }
}

void WindowSuggestionsTest::openManual() const {
    const QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    m_fixture->click(item("manualEntry"));
    QTRY_VERIFY(dialog->property("opened").toBool());
}

void WindowSuggestionsTest::listen(const QQuickItem* item) {
    const auto children = item->childItems();
    for (const QQuickItem* const child : children) {
        if (child->inherits("Announcer")) {
            connect(child, SIGNAL(textChanged()), this, SLOT(hear()));
        }
        listen(child);
    }
}

void WindowSuggestionsTest::listFollowsWhatIsTyped() {
    type("description", "pl");
    QTRY_VERIFY(isOpen("description"));
    QCOMPARE(names("description"), (QStringList{u"Plan"_s, u"Weekly plan, Two, Billable"_s}));
    QVERIFY(item("description")->hasActiveFocus());
    type("description", "x");
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    press(Qt::Key_Backspace);
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Backspace);
    press(Qt::Key_Backspace);
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QCOMPARE(text("description"), QString());
}

void WindowSuggestionsTest::suggestionIsChosenByKeyboard() {
    type("description", "PLAN");
    QTRY_VERIFY(isOpen("description"));
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Up, Qt::Key_Down}) {
        press(key);
    }
    QCOMPARE(text("description"), u"PLAN"_s);
    press(Qt::Key_Return);
    QCOMPARE(text("description"), u"Weekly plan"_s);
    QCOMPARE(item("projectSelect")->property("displayText"), u"Two"_s);
    QCOMPARE(item("billable")->property("checked"), true);
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QVERIFY(item("description")->hasActiveFocus());
    QCOMPARE(m_fixture->controller.pending(), 0);

    // What was recorded without a project is offered without one.
    item("description")->setProperty("text", QString());
    press(Qt::Key_Down);
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Enter);
    QCOMPARE(text("description"), u"Plan"_s);
    QCOMPARE(item("projectSelect")->property("chosen"), QString());
    QCOMPARE(item("billable")->property("checked"), false);
}

void WindowSuggestionsTest::suggestionIsChosenByMouse() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    m_fixture->layOut();
    QQuickItem* row = nullptr;
    QMetaObject::invokeMethod(list("description"), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, row),
                              Q_ARG(int, 1));
    m_fixture->click(row);
    QCOMPARE(text("description"), u"Weekly plan"_s);
    QCOMPARE(item("projectSelect")->property("chosen"), u"p2"_s);
    QVERIFY(item("description")->hasActiveFocus());
}

void WindowSuggestionsTest::enterWithoutAChoiceOnlyClosesTheList() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Return);
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QCOMPARE(text("description"), u"plan"_s);
    QCOMPARE(item("projectSelect")->property("chosen"), QString());
    QCOMPARE(m_fixture->controller.pending(), 0);
}

void WindowSuggestionsTest::escapeClosesTheListAndKeepsWhatIsTyped() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Down);
    press(Qt::Key_Escape);
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QCOMPARE(text("description"), u"plan"_s);
    press(Qt::Key_Return);
    QCOMPARE(text("description"), u"plan"_s);
}

void WindowSuggestionsTest::arrowDownOffersTheNewest() {
    item("description")->forceActiveFocus();
    press(Qt::Key_Up);
    QVERIFY(!isOpen("description"));
    press(Qt::Key_Down);
    QTRY_VERIFY(isOpen("description"));
    QCOMPARE(names("description"), (QStringList{u"Plan"_s, u"Call, One"_s, u"Weekly plan, Two, Billable"_s}));
    QCOMPARE(list("description")->property("currentIndex"), 0);
}

void WindowSuggestionsTest::listClosesWhenTheFieldIsLeft() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Tab);
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QVERIFY(!item("description")->hasActiveFocus());
}

void WindowSuggestionsTest::listGoesWithTheAccount() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    Q_EMIT m_fixture->controller.accountLeft();
    QTRY_VERIFY(!popup("description")->property("visible").toBool());
    QCOMPARE(list("description")->property("count"), 0);
    m_fixture->show(WindowFixture::document());
    type("description", "plan");
    QVERIFY(!isOpen("description"));
}

void WindowSuggestionsTest::listStaysDuringASync() {
    type("description", "plan");
    QTRY_VERIFY(isOpen("description"));
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    QJsonArray more = entries();
    more.append(entry(u"e4"_s, 4, u"Lunch"_s, QJsonValue::Null, false));
    m_fixture->show(WindowFixture::document(more));
    QCOMPARE(list("description")->property("currentIndex"), 1);
    more.append(entry(u"e5"_s, 5, u"New plan"_s, QJsonValue::Null, false));
    m_fixture->show(WindowFixture::document(more));
    QCOMPARE(names("description"), (QStringList{u"New plan"_s, u"Plan"_s, u"Weekly plan, Two, Billable"_s}));
}

void WindowSuggestionsTest::manualEntryTakesTheMainTimersSelectionAlong() {
    openManual();
    type("manualDescription", "week");
    QTRY_VERIFY(isOpen("manualDescription"));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QCOMPARE(text("manualDescription"), u"Weekly plan"_s);
    QCOMPARE(text("description"), QString());
    QVERIFY(m_fixture->object(u"manualDialog"_s)->property("opened").toBool());
    item("manualFrom")->setProperty("text", u"2021-03-02T09:00:00+02:00"_s);
    item("manualTo")->setProperty("text", u"2021-03-02T10:00:00+02:00"_s);
    press(Qt::Key_Return);
    QCOMPARE(m_fixture->controller.pending(), 1);
    const QVariantMap entry = m_fixture->controller.entries().constFirst().toMap();
    QCOMPARE(entry.value(u"project_id"_s), u"p2"_s);
    QCOMPARE(entry.value(u"billable"_s), true);
}

void WindowSuggestionsTest::selectionGoesWithTheManualEntry_data() {
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("added") << Qt::Key_Return;
    QTest::newRow("not added") << Qt::Key_Escape;
}

void WindowSuggestionsTest::selectionGoesWithTheManualEntry() {
    QFETCH(const Qt::Key, key);
    const QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    item("manualFrom")->setProperty("text", u"2021-03-02T09:00:00+02:00"_s);
    item("manualTo")->setProperty("text", u"2021-03-02T10:00:00+02:00"_s);
    openManual();
    type("manualDescription", "week");
    QTRY_VERIFY(isOpen("manualDescription"));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QCOMPARE(item("projectSelect")->property("chosen"), u"p2"_s);
    QCOMPARE(item("billable")->property("checked"), true);
    press(key);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QCOMPARE(m_fixture->controller.pending(), key == Qt::Key_Return ? 1 : 0);
    QCOMPARE(item("projectSelect")->property("chosen"), QString());
    QCOMPARE(item("billable")->property("checked"), false);
}

void WindowSuggestionsTest::changedEntryTakesItsDescriptionsProject() {
    m_fixture->layOut();
    QQuickItem* row = nullptr;
    QMetaObject::invokeMethod(item("entryList"), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, row),
                              Q_ARG(int, 0));
    QVERIFY(row);
    row->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    const QObject* const dialog = m_fixture->object(u"entryDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QCOMPARE(text("entryDescriptionField"), u"Plan"_s);
    item("entryDescriptionField")->setProperty("text", QString());
    type("entryDescriptionField", "week");
    QTRY_VERIFY(isOpen("entryDescriptionField"));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    QCOMPARE(text("entryDescriptionField"), u"Weekly plan"_s);
    QVERIFY(dialog->property("opened").toBool());
    press(Qt::Key_Return);
    QTRY_COMPARE(m_fixture->controller.pending(), 1);
    const QVariantMap entry = m_fixture->controller.entries().constFirst().toMap();
    QCOMPARE(entry.value(u"description"_s), u"Weekly plan"_s);
    QCOMPARE(entry.value(u"project_id"_s), u"p2"_s);
    QCOMPARE(entry.value(u"billable"_s), true);
}

void WindowSuggestionsTest::escapeInTheDialogClosesTheListFirst() {
    const QObject* const dialog = m_fixture->object(u"manualDialog"_s);
    openManual();
    type("manualDescription", "week");
    QTRY_VERIFY(isOpen("manualDescription"));
    press(Qt::Key_Escape);
    QTRY_VERIFY(!popup("manualDescription")->property("visible").toBool());
    QVERIFY(dialog->property("opened").toBool());
    press(Qt::Key_Escape);
    QTRY_VERIFY(!dialog->property("visible").toBool());
}

void WindowSuggestionsTest::enterInTheDialogSubmitsWithoutAChoice() {
    openManual();
    item("manualFrom")->setProperty("text", u"2021-03-02T09:00:00+02:00"_s);
    item("manualTo")->setProperty("text", u"2021-03-02T10:00:00+02:00"_s);
    type("manualDescription", "week");
    QTRY_VERIFY(isOpen("manualDescription"));
    press(Qt::Key_Return);
    QCOMPARE(m_fixture->controller.pending(), 1);
    QCOMPARE(m_fixture->controller.entries().constFirst().toMap().value(u"description"_s), u"week"_s);
}

void WindowSuggestionsTest::listIsNamedAndSpoken_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("row");
    QTest::newRow("Hebrew") << true << u"תיאורים קודמים"_s << u"Weekly plan, Two, לחיוב"_s;
    QTest::newRow("English") << false << u"Earlier descriptions"_s << u"Weekly plan, Two, Billable"_s;
}

void WindowSuggestionsTest::listIsNamedAndSpoken() {
    QFETCH(const bool, hebrew);
    QFETCH(const QString, name);
    QFETCH(const QString, row);
    QAccessible::setActive(true);
    m_fixture->window->setProperty("hebrew", hebrew);
    m_spoken.clear();
    type("description", "we");
    QTRY_VERIFY(isOpen("description"));
    QCOMPARE(accessibleName(list("description")), name);
    m_fixture->layOut();
    press(Qt::Key_Down);
    // Once for all that is typed while the list is there; the status line may speak between.
    QCOMPARE(m_spoken.count(name + u": 1"_s), 1);
    QCOMPARE(m_spoken.constLast(), row);
    QQuickItem* first = nullptr;
    QMetaObject::invokeMethod(list("description"), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, first),
                              Q_ARG(int, 0));
    QCOMPARE(accessibleName(first), row);
    pressByAssistiveTechnology(first);
    QCOMPARE(text("description"), u"Weekly plan"_s);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowSuggestionsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "suggestions.moc"
