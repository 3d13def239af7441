// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QJsonArray>
#include <QQmlContext>
#include <QQmlProperty>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Two days of work in the account's zone; "e2" is the newest and booked, "e0" is locked.
QJsonArray entries() {
    QJsonObject booked = WindowFixture::entry(u"e2"_s, 26 * 60);
    booked.insert(u"project_id", u"p2"_s);
    booked.insert(u"billable", true);
    QJsonObject locked = WindowFixture::entry(u"e0"_s);
    locked.insert(u"start_at", u"2020-01-05T08:00:00Z"_s);
    locked.insert(u"stop_at", u"2020-01-05T09:00:00Z"_s);
    return {locked, WindowFixture::entry(u"e1"_s), booked};
}

/// "e2" as another device has left it.
QJsonArray changedElsewhere(const QString& description, int version) {
    QJsonArray all = entries();
    QJsonObject changed = all[2].toObject();
    changed.insert(u"description", description);
    changed.insert(u"version", version);
    all[2] = changed;
    return all;
}

QJsonObject running() {
    return {{u"id"_s, u"t1"_s},           {u"workspace_id"_s, u"w1"_s},
            {u"user_id"_s, u"u1"_s},      {u"description"_s, u"Running"_s},
            {u"billable"_s, false},       {u"start_at"_s, u"2021-03-05T09:00:00Z"_s},
            {u"stop_at"_s, QJsonValue()}, {u"version"_s, 1}};
}

QJsonObject documentWith(const QJsonArray& entries, const QJsonObject& timer = {}) {
    QJsonArray all = entries;
    if (!timer.isEmpty()) {
        all.append(timer);
    }
    QJsonObject document = WindowFixture::document(all);
    document.insert(u"timer", timer);
    return document;
}

} // namespace

/// What a person sees of entries in the list, and does to them there.
class WindowEntriesTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QQuickItem* row(const QString& id) const;
    [[nodiscard]] QQuickItem* part(const QString& id, const char* name) const;
    [[nodiscard]] QString text(const QString& id, const char* name) const {
        return part(id, name)->property("text").toString();
    }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    void focusRow(const QString& id) const;
    [[nodiscard]] bool isOpen(const char* dialog) const {
        return m_fixture->object(QString::fromLatin1(dialog))->property("opened").toBool();
    }
    void key(int key, Qt::KeyboardModifiers modifiers = {}) const {
        QTest::keyClick(m_fixture->window, static_cast<Qt::Key>(key), modifiers);
    }
    void type(const char* letters) const;
    /// The one operation that was recorded, once the controller is free.
    [[nodiscard]] QJsonObject recorded(qsizetype index = 0) const;
    void openDialog(const QString& id);
    /// What was told could be read.
    [[nodiscard]] bool wasRead(const char* dialog) const {
        return !m_fixture->object(QString::fromLatin1(dialog))->property("justTold").toBool();
    }

    std::unique_ptr<WindowFixture> m_fixture;
    QQuickItem* m_list = nullptr;

private Q_SLOTS:
    void init();
    void cleanup();

    void daysHaveHeadingsInBothLanguages();
    void rowsTellProjectTimesAndBillable();
    void aConflictIsToldInWords();
    void nothingIsCutInTheSmallestWindow_data();
    void nothingIsCutInTheSmallestWindow();
    void aLongDescriptionIsShownWholeUnderTheKeyboardAndThePointer();
    void theMenuOpensEveryWay_data();
    void theMenuOpensEveryWay();
    void theMenuContinuesAndDuplicates();
    void aDoubleClickInTheMenuIsOneDeed_data();
    void aDoubleClickInTheMenuIsOneDeed();
    void lockedRowsOfferOnlyToContinue();
    void deleteAndUndoByKeyboard();
    void enterEditsEverything();
    void theDialogRecordsWhatWasTouched();
    void theDialogClosesWhenNothingWasTouched();
    void theDialogKeepsWhatWasRefused();
    void whatOthersChangedMeanwhileIsNotOverruledSilently_data();
    void whatOthersChangedMeanwhileIsNotOverruledSilently();
    void everyFieldThatWouldBeReplacedIsTold();
    void aTimerThatWasMovedElsewhereIsNotMovedSilently();
    void whatNobodyTouchedIsLeftAsOthersChangedIt();
    void theDescriptionAloneIsNotOverruledSilently();
    void theRunningTimerIsEditedWithoutAnEnd();
    void ctrlFFindsAndEscapeLeaves();
    void theKeyboardStaysAtAFoundEntry();
    void theKeyboardStaysAtTheEntryWhenASearchIsLeft();
    void theDayAndTheWeekAreSummed();
};

void WindowEntriesTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->window->setProperty("hebrew", false);
    m_fixture->unlock();
    m_fixture->show(documentWith(entries()));
    m_list = item("entryList");
    QTRY_VERIFY(m_fixture->window->isActive());
    QTRY_VERIFY(row(u"e2"_s) && row(u"e1"_s) && row(u"e0"_s));
}

void WindowEntriesTest::cleanup() {
    m_fixture.reset();
}

QQuickItem* WindowEntriesTest::row(const QString& id) const {
    const auto children = m_list->property("contentItem").value<QQuickItem*>()->childItems();
    for (QQuickItem* const child : children) {
        if (child->isVisible() && child->property("row").toMap().value(u"id"_s).toString() == id) {
            return child;
        }
    }
    return nullptr;
}

QQuickItem* WindowEntriesTest::part(const QString& id, const char* name) const {
    return row(id)->findChild<QQuickItem*>(QString::fromLatin1(name));
}

void WindowEntriesTest::focusRow(const QString& id) const {
    row(id)->forceActiveFocus(Qt::TabFocusReason);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(id));
}

void WindowEntriesTest::type(const char* letters) const {
    for (const char letter : QByteArray(letters)) {
        QTest::keyClick(m_fixture->window, letter);
    }
}

QJsonObject WindowEntriesTest::recorded(qsizetype index) const {
    const QJsonArray queue = controller().durableState().value(u"queue").toArray();
    return queue.at(index)[u"mutation"].toObject();
}

void WindowEntriesTest::openDialog(const QString& id) {
    focusRow(id);
    key(Qt::Key_Return);
    QTRY_VERIFY(isOpen("entryDialog"));
}

void WindowEntriesTest::daysHaveHeadingsInBothLanguages() {
    QVERIFY(part(u"e2"_s, "dayHeading")->isVisible());
    QCOMPARE(text(u"e2"_s, "dayHeading"), u"Tuesday, 2 March 2021"_s);
    QCOMPARE(text(u"e1"_s, "dayHeading"), u"Monday, 1 March 2021"_s);
    QCOMPARE(text(u"e2"_s, "daySum"), u"00:01:00"_s);
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(text(u"e1"_s, "dayHeading"), u"יום שני, 1 במרץ 2021"_s);

    QJsonArray more = entries();
    more.append(WindowFixture::entry(u"e3"_s, 10));
    m_fixture->show(documentWith(more));
    QTRY_VERIFY(row(u"e3"_s));
    QTRY_VERIFY(!part(u"e1"_s, "dayHeading")->isVisible());
    QCOMPARE(text(u"e3"_s, "daySum"), u"00:02:00"_s);
    QCOMPARE(row(u"e1"_s)->height(), 72.0);
    QVERIFY(row(u"e3"_s)->height() > 72.0);
}

void WindowEntriesTest::rowsTellProjectTimesAndBillable() {
    QCOMPARE(text(u"e2"_s, "entryProject"), u"Two"_s);
    QVERIFY(part(u"e2"_s, "entryProject")->isVisible());
    QVERIFY(!part(u"e1"_s, "entryProject")->isVisible());
    QCOMPARE(text(u"e1"_s, "entryTimes"), u"11:00–11:01"_s);
    const QString spoken =
        QQmlProperty(row(u"e2"_s), u"Accessible.name"_s, qmlContext(row(u"e2"_s))).read().toString();
    for (const QString& said :
         {u"Work e2"_s, u", Tuesday, 2 March 2021: 00:01:00"_s, u"Two"_s, u"Billable"_s, u"13:00–13:01"_s}) {
        QVERIFY2(spoken.contains(said), qPrintable(spoken));
    }
}

void WindowEntriesTest::aConflictIsToldInWords() {
    QVERIFY(!part(u"e1"_s, "conflict")->isVisible());
    QJsonObject refused = WindowFixture::edit(u"e1"_s, u"x"_s);
    refused.insert(u"status", u"conflict"_s);
    m_fixture->show(WindowFixture::document(entries(), {refused}));
    QTRY_VERIFY(part(u"e1"_s, "conflict")->isVisible());
    QCOMPARE(text(u"e1"_s, "conflict"), u"The server did not accept the change"_s);
}

void WindowEntriesTest::nothingIsCutInTheSmallestWindow_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::newRow("Hebrew") << true;
    QTest::newRow("English") << false;
}

void WindowEntriesTest::nothingIsCutInTheSmallestWindow() {
    QFETCH(const bool, hebrew);
    m_fixture->window->setProperty("hebrew", hebrew);
    m_fixture->window->resize(820, 620);
    QJsonObject refused = WindowFixture::edit(u"e0"_s, u"A long description "_s.repeated(20));
    refused.insert(u"status", u"conflict"_s);
    QJsonArray all = entries();
    QJsonObject busiest = all[0].toObject();
    busiest.insert(u"project_id", u"p3"_s);
    busiest.insert(u"billable", true);
    busiest.insert(u"duration_seconds", 1000 * 3600);
    all[0] = busiest;
    m_fixture->show(WindowFixture::document(all, {refused}));
    QTRY_COMPARE(m_fixture->window->width(), 820);
    m_fixture->layOut();
    m_list->setProperty("currentIndex", 2);
    QMetaObject::invokeMethod(m_list, "positionViewAtEnd");
    QTRY_VERIFY(row(u"e0"_s));
    m_fixture->layOut();
    const QQuickItem* const busy = row(u"e0"_s);
    const auto parts = WindowFixture::textItems(busy);
    for (const QQuickItem* const shown : parts) {
        const QRectF area = shown->mapRectToItem(busy, shown->boundingRect());
        const QByteArray name = shown->objectName().toUtf8() + ": " + shown->property("text").toByteArray();
        QVERIFY2(area.left() >= 0 && area.right() <= busy->width() && area.bottom() <= busy->height() + 1,
                 name.constData());
        const QString part = shown->objectName();
        if (part != u"entryDescription"_s && part != u"conflict"_s) {
            QVERIFY2(!shown->property("truncated").toBool(), name.constData());
        }
    }
    QVERIFY(part(u"e0"_s, "entryDescription")->property("truncated").toBool());
    QVERIFY(!item("entrySums")->property("truncated").toBool());
}

void WindowEntriesTest::aLongDescriptionIsShownWholeUnderTheKeyboardAndThePointer() {
    const QString whole = u"Everything that has to be said about it, and then some. "_s.repeated(6);
    QJsonArray all = entries();
    QJsonObject told = all[1].toObject();
    told.insert(u"description", whole);
    all[1] = told;
    m_fixture->show(documentWith(all));
    QTRY_VERIFY(part(u"e1"_s, "entryDescription")->property("truncated").toBool());
    QObject* const tip = m_fixture->object(u"wholeTextTip"_s);
    QVERIFY(!tip->property("visible").toBool());

    focusRow(u"e1"_s);
    QTRY_VERIFY(tip->property("opened").toBool());
    QCOMPARE(tip->property("text").toString(), whole);
    focusRow(u"e2"_s);
    QTRY_VERIFY(!tip->property("visible").toBool());

    const QPointF middle = row(u"e1"_s)->mapToScene(QPointF(100, row(u"e1"_s)->height() - 20));
    QTest::mouseMove(m_fixture->window, middle.toPoint());
    QTRY_VERIFY(tip->property("opened").toBool());
    QTest::mouseMove(m_fixture->window, QPoint(5, 5));
    QTRY_VERIFY(!tip->property("visible").toBool());
}

void WindowEntriesTest::theMenuOpensEveryWay_data() {
    QTest::addColumn<int>("way");
    QTest::newRow("button") << 0;
    QTest::newRow("right click") << 1;
    QTest::newRow("menu key") << 2;
    QTest::newRow("Shift+F10") << 3;
    QTest::newRow("assistive technology") << 4;
}

void WindowEntriesTest::theMenuOpensEveryWay() {
    QFETCH(const int, way);
    m_fixture->layOut();
    if (way == 0) {
        m_fixture->click(part(u"e1"_s, "entryMenu"));
    } else if (way == 1) {
        const QPointF middle = row(u"e1"_s)->mapToScene(QPointF(100, row(u"e1"_s)->height() - 20));
        QTest::mouseClick(m_fixture->window, Qt::RightButton, {}, middle.toPoint());
    } else if (way == 4) {
        pressByAssistiveTechnology(part(u"e1"_s, "entryMenu"));
    } else {
        focusRow(u"e1"_s);
        key(way == 2 ? Qt::Key_Menu : Qt::Key_F10, way == 2 ? Qt::NoModifier : Qt::ShiftModifier);
    }
    QTRY_VERIFY(isOpen("entryActions"));
    QCOMPARE(m_fixture->object(u"entryActions"_s)->property("row").toMap().value(u"id"_s).toString(),
             u"e1"_s);
    key(Qt::Key_Escape);
    QTRY_VERIFY(!isOpen("entryActions"));
    QCOMPARE(controller().pending(), 0);
}

void WindowEntriesTest::theMenuContinuesAndDuplicates() {
    focusRow(u"e2"_s);
    key(Qt::Key_Menu);
    QTRY_VERIFY(isOpen("entryActions"));
    key(Qt::Key_Return); // Continue is the first
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(recorded().value(u"operation").toString(), u"timer.start"_s);
    QCOMPARE(controller().timer().value(u"project_id"_s).toString(), u"p2"_s);
    // From Qt 6.5 on, what is clicked while it fades is not what lies below.
    QTRY_VERIFY(!m_fixture->object(u"entryActions"_s)->property("visible").toBool());

    m_fixture->click(part(u"e2"_s, "entryMenu"));
    QTRY_VERIFY(isOpen("entryActions"));
    m_fixture->click(item("duplicateEntry"));
    QTRY_COMPARE(controller().pending(), 2);
    QCOMPARE(recorded(1).value(u"operation").toString(), u"entry.create"_s);
}

void WindowEntriesTest::aDoubleClickInTheMenuIsOneDeed_data() {
    QTest::addColumn<QString>("deed");
    QTest::addColumn<QString>("operation");
    QTest::newRow("continue") << u"continueEntry"_s << u"timer.start"_s;
    QTest::newRow("duplicate") << u"duplicateEntry"_s << u"entry.create"_s;
}

void WindowEntriesTest::aDoubleClickInTheMenuIsOneDeed() {
    QFETCH(const QString, deed);
    QFETCH(const QString, operation);
    for (const int recordings : {1, 2}) {
        m_fixture->click(part(u"e2"_s, "entryMenu"));
        QTRY_VERIFY(isOpen("entryActions"));
        const QQuickItem* const chosen = m_fixture->item(deed);
        const QPoint centre =
            chosen->mapToScene(QPointF(chosen->width() / 2, chosen->height() / 2)).toPoint();
        QTest::mouseClick(m_fixture->window, Qt::LeftButton, {}, centre);
        QTest::mouseClick(m_fixture->window, Qt::LeftButton, {}, centre);
        QTRY_VERIFY(!m_fixture->object(u"entryActions"_s)->property("visible").toBool());
        // The menu that is opened again does it again.
        const int changes = deed == u"continueEntry" ? 2 * recordings - 1 : recordings;
        QCOMPARE(controller().pending(), changes);
        QCOMPARE(recorded(changes - 1).value(u"operation").toString(), operation);
    }
}

void WindowEntriesTest::lockedRowsOfferOnlyToContinue() {
    const QString locked =
        u"This entry is submitted or approved. Reopen its period in the Web workbench first."_s;
    focusRow(u"e0"_s);
    key(Qt::Key_Return);
    QCOMPARE(controller().message(), locked);
    controller().fail(u"Something else"_s);
    key(Qt::Key_Menu);
    QTRY_VERIFY(isOpen("entryActions"));
    QVERIFY(!isOpen("entryDialog"));
    QVERIFY(item("continueEntry")->isEnabled());
    for (const char* name : {"changeEntry", "duplicateEntry", "deleteEntry"}) {
        QVERIFY(!item(name)->isEnabled());
    }
    key(Qt::Key_Escape);
    QTRY_VERIFY(!isOpen("entryActions"));
    focusRow(u"e0"_s);
    key(Qt::Key_Delete);
    QTRY_COMPARE(controller().message(), locked);
    QCOMPARE(controller().pending(), 0);
}

void WindowEntriesTest::deleteAndUndoByKeyboard() {
    QQuickItem* const undo = item("undoDelete");
    QVERIFY(!undo->isVisible());
    focusRow(u"e2"_s);
    m_fixture->hold(Qt::Key_Delete);
    QTRY_COMPARE(controller().pending(), 1);
    QTRY_VERIFY(!row(u"e2"_s));
    QVERIFY(undo->isVisible());
    QCOMPARE(undo->property("text").toString(), u"Undo"_s);
    // The keyboard stays in the list, at what came into the row's place.
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(u"e1"_s));

    undo->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QTRY_COMPARE(controller().pending(), 2);
    QCOMPARE(recorded(1).value(u"operation").toString(), u"entry.restore"_s);
    QTRY_VERIFY(row(u"e2"_s));
    QVERIFY(!undo->isVisible());

    focusRow(u"e2"_s);
    key(Qt::Key_Delete);
    QTRY_COMPARE(controller().pending(), 3);
    key(Qt::Key_Z, Qt::ControlModifier);
    QTRY_COMPARE(controller().pending(), 4);
    QCOMPARE(recorded(3).value(u"operation").toString(), u"entry.restore"_s);
}

void WindowEntriesTest::enterEditsEverything() {
    openDialog(u"e2"_s);
    QCOMPARE(item("entryDescriptionField")->property("text").toString(), u"Work e2"_s);
    QCOMPARE(item("entryProjectSelect")->property("displayText").toString(), u"Two"_s);
    QVERIFY(item("entryBillable")->property("checked").toBool());
    QCOMPARE(item("entryFrom")->property("text").toString(), u"2021-03-02T13:00:00+02:00"_s);
    QCOMPARE(item("entryTo")->property("text").toString(), u"2021-03-02T13:01:00+02:00"_s);
    QTRY_VERIFY(item("entryDescriptionField")->hasActiveFocus());
    key(Qt::Key_Escape);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 0);
}

void WindowEntriesTest::theDialogRecordsWhatWasTouched() {
    openDialog(u"e2"_s);
    key(Qt::Key_A, Qt::ControlModifier);
    type("Better");
    m_fixture->click(item("entryBillable"));
    m_fixture->click(item("entryClearProject"));
    item("entryTo")->setProperty("text", u"2021-03-02T14:00:00+02:00"_s);
    item("entryDescriptionField")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(recorded().value(u"payload").toObject(),
             QJsonObject({{u"description"_s, u"Better"_s},
                          {u"project_id"_s, QJsonValue()},
                          {u"billable"_s, false},
                          {u"stop_at"_s, u"2021-03-02T12:00:00Z"_s}}));
    // A waiting entry is edited once more.
    openDialog(u"e2"_s);
    QCOMPARE(item("entryDescriptionField")->property("text").toString(), u"Better"_s);
}

void WindowEntriesTest::theDialogClosesWhenNothingWasTouched() {
    openDialog(u"e2"_s);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 0);
}

void WindowEntriesTest::theDialogKeepsWhatWasRefused() {
    openDialog(u"e2"_s);
    item("entryTo")->setProperty("text", u"2021-03-02T12:00:00+02:00"_s);
    QTRY_COMPARE(item("notice")->property("text").toString(), u"The end must be after the start."_s);
    key(Qt::Key_Return);
    QCOMPARE(item("refusal")->property("text").toString(),
             u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s);
    QVERIFY(isOpen("entryDialog"));
    QCOMPARE(item("entryTo")->property("text").toString(), u"2021-03-02T12:00:00+02:00"_s);
    QCOMPARE(controller().pending(), 0);
}

void WindowEntriesTest::whatOthersChangedMeanwhileIsNotOverruledSilently_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<QString>("told");
    QTest::newRow("Hebrew") << true
                            << u"הרשומה שונתה בינתיים במקום אחר:\nתיאור: Theirs\nאישור נוסף יחליף זאת."_s;
    QTest::newRow("English")
        << false
        << u"This entry was changed elsewhere meanwhile:\nDescription: Theirs\nOK again replaces it."_s;
}

void WindowEntriesTest::whatOthersChangedMeanwhileIsNotOverruledSilently() {
    QFETCH(const bool, hebrew);
    QFETCH(const QString, told);
    m_fixture->window->setProperty("hebrew", hebrew);
    openDialog(u"e2"_s);
    m_fixture->show(documentWith(changedElsewhere(u"Theirs"_s, 4)));
    key(Qt::Key_A, Qt::ControlModifier);
    type("Mine");
    key(Qt::Key_Return);
    QVERIFY(isOpen("entryDialog"));
    QCOMPARE(item("notice")->property("text").toString(), told);
    QVERIFY(!item("refusal")->isVisible());
    key(Qt::Key_Return); // nobody has read it yet
    QVERIFY(isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 0);

    // Once more changed, it is told once more.
    QTRY_VERIFY(wasRead("entryDialog"));
    m_fixture->show(documentWith(changedElsewhere(u"Theirs now"_s, 5)));
    key(Qt::Key_Return);
    QVERIFY(isOpen("entryDialog"));
    QVERIFY(item("notice")->property("text").toString().contains(u"Theirs now"_s));
    QTRY_VERIFY(wasRead("entryDialog"));
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(recorded().value(u"payload").toObject(), QJsonObject({{u"description"_s, u"Mine"_s}}));
    QCOMPARE(recorded().value(u"base_version").toInt(), 5);

    // It was of that time.
    openDialog(u"e2"_s);
    QCOMPARE(item("notice")->property("text").toString(), QString());
}

void WindowEntriesTest::everyFieldThatWouldBeReplacedIsTold() {
    openDialog(u"e1"_s);
    QJsonArray all = entries();
    QJsonObject changed = all[1].toObject();
    changed.insert(u"description", u"Both"_s);
    changed.insert(u"project_id", u"p3"_s);
    changed.insert(u"start_at", u"2021-03-01T08:00:00+00:00"_s);
    changed.insert(u"stop_at", u"2021-03-01T09:01:00.000Z"_s); // as it was
    all[1] = changed;
    m_fixture->show(documentWith(all));
    item("entryDescriptionField")->setProperty("text", u"Both"_s);
    item("entryProjectSelect")->setProperty("chosen", u"p2"_s);
    m_fixture->click(item("entryBillable"));
    item("entryFrom")->setProperty("text", u"2021-03-01T10:30:00+02:00"_s);
    item("entryTo")->setProperty("text", u"2021-03-01T12:00:00+02:00"_s);
    m_fixture->click(m_fixture->object(u"entryDialog"_s)->findChild<QQuickItem*>(u"ok"_s));
    QVERIFY(isOpen("entryDialog"));
    QCOMPARE(item("notice")->property("text").toString(),
             u"This entry was changed elsewhere meanwhile:\nProject: Three\n"
             u"From: \u20662021-03-01 10:00:00\u2069\nOK again replaces it."_s);
    QTRY_VERIFY(wasRead("entryDialog"));
    m_fixture->click(m_fixture->object(u"entryDialog"_s)->findChild<QQuickItem*>(u"ok"_s));
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(),
             QJsonObject({{u"project_id"_s, u"p2"_s},
                          {u"billable"_s, true},
                          {u"start_at"_s, u"2021-03-01T08:30:00Z"_s},
                          {u"stop_at"_s, u"2021-03-01T10:00:00Z"_s}}));
}

void WindowEntriesTest::aTimerThatWasMovedElsewhereIsNotMovedSilently() {
    m_fixture->show(documentWith(entries(), running()));
    QTRY_VERIFY(item("editTimer")->isVisible());
    m_fixture->click(item("editTimer"));
    QTRY_VERIFY(isOpen("entryDialog"));
    QJsonObject moved = running();
    moved.insert(u"start_at", u"2021-03-05T07:00:00Z"_s);
    m_fixture->show(documentWith(entries(), moved));
    item("entryFrom")->setProperty("text", u"2021-03-05T10:30:00+02:00"_s);
    key(Qt::Key_Return);
    QVERIFY(isOpen("entryDialog"));
    QVERIFY(item("notice")->property("text").toString().contains(u"2021-03-05 09:00:00"_s));
    // What speaks against a time is told beside it.
    item("entryFrom")->setProperty("text", u"2999-03-05T10:30:00+02:00"_s);
    QTRY_VERIFY(item("notice")->property("text").toString().endsWith(u"\nThis time lies in the future."_s));
    item("entryFrom")->setProperty("text", u"2021-03-05T10:30:00+02:00"_s);
    QTRY_VERIFY(wasRead("entryDialog"));
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(),
             QJsonObject({{u"start_at"_s, u"2021-03-05T08:30:00Z"_s}}));
}

void WindowEntriesTest::whatNobodyTouchedIsLeftAsOthersChangedIt() {
    openDialog(u"e2"_s);
    m_fixture->show(documentWith(changedElsewhere(u"Theirs"_s, 4)));
    m_fixture->click(item("entryBillable"));
    item("entryDescriptionField")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(), QJsonObject({{u"billable"_s, false}}));
}

void WindowEntriesTest::theDescriptionAloneIsNotOverruledSilently() {
    m_fixture->click(part(u"e2"_s, "editEntry"));
    QTRY_VERIFY(isOpen("editDialog"));
    m_fixture->show(documentWith(changedElsewhere(u"Theirs"_s, 4)));
    item("editDescription")->setProperty("text", u"Mine"_s);
    key(Qt::Key_Return);
    QVERIFY(isOpen("editDialog"));
    const QObject* const notice = m_fixture->object(u"editDialog"_s)->findChild<QObject*>(u"notice"_s);
    QVERIFY(notice->property("text").toString().contains(u"Theirs"_s));
    QCOMPARE(controller().pending(), 0);
    QTRY_VERIFY(wasRead("editDialog"));
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("editDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(), QJsonObject({{u"description"_s, u"Mine"_s}}));
}

void WindowEntriesTest::theRunningTimerIsEditedWithoutAnEnd() {
    QVERIFY(!item("editTimer")->isVisible());
    m_fixture->show(documentWith(entries(), running()));
    QTRY_VERIFY(item("editTimer")->isVisible());
    m_fixture->click(item("editTimer"));
    QTRY_VERIFY(isOpen("entryDialog"));
    QVERIFY(!item("entryTo")->isVisible());
    QCOMPARE(item("entryFrom")->property("text").toString(), u"2021-03-05T11:00:00+02:00"_s);
    item("entryFrom")->setProperty("text", u"2021-03-05T10:30:00+02:00"_s);
    key(Qt::Key_Return);
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(recorded().value(u"payload").toObject(),
             QJsonObject({{u"start_at"_s, u"2021-03-05T08:30:00Z"_s}}));
    QCOMPARE(controller().timer().value(u"id"_s).toString(), u"t1"_s);
}

void WindowEntriesTest::ctrlFFindsAndEscapeLeaves() {
    m_fixture->openTab(1);
    key(Qt::Key_F, Qt::ControlModifier);
    QQuickItem* const field = item("findEntries");
    QTRY_VERIFY(field->hasActiveFocus());
    QVERIFY(field->isVisible());
    type("TWO");
    QTRY_COMPARE(m_list->property("count").toInt(), 1);
    QVERIFY(row(u"e2"_s));
    QCOMPARE(item("entrySums")->property("text").toString(), u"1 entry found · 00:01:00"_s);
    key(Qt::Key_Down);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(u"e2"_s));
    key(Qt::Key_Escape);
    QTRY_COMPARE(m_list->property("count").toInt(), 3);
    QCOMPARE(field->property("text").toString(), QString());
    QVERIFY(item("entrySums")->property("text").toString().startsWith(u"Today"_s));

    key(Qt::Key_F, Qt::ControlModifier);
    type("work");
    QTRY_COMPARE(item("entrySums")->property("text").toString(), u"3 entries found · 00:03:00"_s);
    key(Qt::Key_Escape);
    QVERIFY(!field->hasActiveFocus());
    QCOMPARE(field->property("text").toString(), QString());
}

void WindowEntriesTest::theKeyboardStaysAtAFoundEntry() {
    key(Qt::Key_F, Qt::ControlModifier);
    type("e1");
    QTRY_COMPARE(m_list->property("count").toInt(), 1);
    key(Qt::Key_Down);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(u"e1"_s));

    QJsonArray all = entries();
    QJsonObject above = WindowFixture::entry(u"e3"_s, 10);
    above.insert(u"description", u"As in e1"_s);
    all.append(above);
    m_fixture->show(documentWith(all));
    QTRY_VERIFY(row(u"e3"_s) && row(u"e1"_s));
    QVERIFY(row(u"e3"_s)->y() < row(u"e1"_s)->y());
    QCOMPARE(m_fixture->window->activeFocusItem(), row(u"e1"_s));
    key(Qt::Key_Delete);
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(recorded().value(u"entity_id").toString(), u"e1"_s);
}

void WindowEntriesTest::theKeyboardStaysAtTheEntryWhenASearchIsLeft() {
    key(Qt::Key_F, Qt::ControlModifier);
    type("e1");
    QTRY_COMPARE(m_list->property("count").toInt(), 1);
    key(Qt::Key_Down);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(u"e1"_s));
    key(Qt::Key_Escape);
    QTRY_COMPARE(m_list->property("count").toInt(), 3);
    QTRY_COMPARE(m_fixture->window->activeFocusItem(), row(u"e1"_s));
}

void WindowEntriesTest::theDayAndTheWeekAreSummed() {
    QCOMPARE(item("entrySums")->property("text").toString(), u"Today 00:00:00 · This week 00:00:00"_s);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QJsonObject timer = running();
    timer.insert(u"start_at", now.addSecs(-1).toString(Qt::ISODate));
    m_fixture->show(documentWith(entries(), timer));
    QTRY_VERIFY(item("entrySums")->property("text").toString() != u"Today 00:00:00 · This week 00:00:00"_s);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowEntriesTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "entries.moc"
