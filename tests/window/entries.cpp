// SPDX-License-Identifier: MIT
#include "tests/window/entriesdesk.h"

#include <QApplication>
#include <QQmlContext>
#include <QQmlProperty>

using namespace Qt::StringLiterals;

/// What a person sees of entries in the list, and does to them there.
class WindowEntriesTest : public QObject, private EntriesDesk {
    Q_OBJECT

private Q_SLOTS:
    void init() { open(); }
    void cleanup() { m_fixture.reset(); }

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
    void ctrlFFindsAndEscapeLeaves();
    void theKeyboardStaysAtAFoundEntry();
    void theKeyboardStaysAtTheEntryWhenASearchIsLeft();
    void theDayAndTheWeekAreSummed();
};

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
    const auto isWith = [&](QPoint pointer, const char* property) {
        m_fixture->pointAt(pointer);
        return tip->property(property).toBool();
    };
    QTRY_VERIFY(isWith(middle.toPoint(), "opened"));
    QTRY_VERIFY(!isWith({5, 5}, "visible"));
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
