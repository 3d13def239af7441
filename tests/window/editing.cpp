// SPDX-License-Identifier: MIT
#include "tests/window/entriesdesk.h"

#include <QApplication>

using namespace Qt::StringLiterals;

namespace {

/// "e2" as another device has left it.
QJsonArray changedElsewhere(const QString& description, int version) {
    QJsonArray all = entries();
    QJsonObject changed = all[2].toObject();
    changed.insert(u"description", description);
    changed.insert(u"version", version);
    all[2] = changed;
    return all;
}

} // namespace

/// What a person changes of an entry, also while somebody else does.
class WindowEditingTest : public QObject, private EntriesDesk {
    Q_OBJECT

    /// Opens an entry of an hour that starts then.
    void openHour(const QString& start);
    /// Types another day of the month over that of a field, and leaves it.
    void typeDay(const char* field, const char* day) const;
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    /// What was told could be read.
    [[nodiscard]] bool wasRead(const char* dialog) const {
        return !m_fixture->object(QString::fromLatin1(dialog))->property("justTold").toBool();
    }

private Q_SLOTS:
    void init() { open(); }
    void cleanup() { m_fixture.reset(); }

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
    void theDescriptionOfADeletedEntryIsNotRecorded();
    void theRunningTimerIsEditedWithoutAnEnd();
    void aDayTypedOverBringsItsOffset();
    void anOffsetThatWasTypedStays();
    void aTimeThatTheOtherDaySkipsIsRefused();
};

void WindowEditingTest::enterEditsEverything() {
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

void WindowEditingTest::theDialogRecordsWhatWasTouched() {
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

void WindowEditingTest::theDialogClosesWhenNothingWasTouched() {
    openDialog(u"e2"_s);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 0);
}

void WindowEditingTest::theDialogKeepsWhatWasRefused() {
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

void WindowEditingTest::whatOthersChangedMeanwhileIsNotOverruledSilently_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::addColumn<QString>("told");
    QTest::newRow("Hebrew") << true
                            << u"הרשומה שונתה בינתיים במקום אחר:\nתיאור: Theirs\nאישור נוסף יחליף זאת."_s;
    QTest::newRow("English")
        << false
        << u"This entry was changed elsewhere meanwhile:\nDescription: Theirs\nOK again replaces it."_s;
}

void WindowEditingTest::whatOthersChangedMeanwhileIsNotOverruledSilently() {
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

void WindowEditingTest::everyFieldThatWouldBeReplacedIsTold() {
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

void WindowEditingTest::aTimerThatWasMovedElsewhereIsNotMovedSilently() {
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

void WindowEditingTest::whatNobodyTouchedIsLeftAsOthersChangedIt() {
    openDialog(u"e2"_s);
    m_fixture->show(documentWith(changedElsewhere(u"Theirs"_s, 4)));
    m_fixture->click(item("entryBillable"));
    item("entryDescriptionField")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(), QJsonObject({{u"billable"_s, false}}));
}

void WindowEditingTest::theDescriptionAloneIsNotOverruledSilently() {
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

void WindowEditingTest::theDescriptionOfADeletedEntryIsNotRecorded() {
    m_fixture->click(part(u"e2"_s, "editEntry"));
    QTRY_VERIFY(isOpen("editDialog"));
    QJsonArray all = entries();
    QJsonObject deleted = all[2].toObject();
    deleted.insert(u"deleted_at", u"2021-03-06T09:00:00Z"_s);
    deleted.insert(u"version", 4);
    all[2] = deleted;
    m_fixture->show(documentWith(all));
    item("editDescription")->setProperty("text", u"Mine"_s);
    key(Qt::Key_Return);
    QCOMPARE(controller().pending(), 0);
    QVERIFY(isOpen("editDialog"));
    const QObject* const refusal = m_fixture->object(u"editDialog"_s)->findChild<QObject*>(u"refusal"_s);
    QCOMPARE(refusal->property("text").toString(), u"Entry not found in this workspace"_s);
    // To be copied.
    QCOMPARE(item("editDescription")->property("text").toString(), u"Mine"_s);

    // Brought back elsewhere, it is taken.
    m_fixture->show(documentWith(entries()));
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("editDialog"));
    QCOMPARE(recorded().value(u"payload").toObject(), QJsonObject({{u"description"_s, u"Mine"_s}}));
}

void WindowEditingTest::theRunningTimerIsEditedWithoutAnEnd() {
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

void WindowEditingTest::openHour(const QString& start) {
    QJsonObject hour = WindowFixture::entry(u"e3"_s);
    hour.insert(u"start_at", start);
    const QDateTime stop = QDateTime::fromString(start, Qt::ISODate).addSecs(3600);
    hour.insert(u"stop_at", stop.toString(Qt::ISODate));
    m_fixture->show(documentWith({hour}));
    QTRY_VERIFY(row(u"e3"_s));
    openDialog(u"e3"_s);
}

void WindowEditingTest::typeDay(const char* field, const char* day) const {
    item(field)->forceActiveFocus(Qt::MouseFocusReason);
    item(field)->setProperty("cursorPosition", 10);
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    type(day);
    key(Qt::Key_Tab);
}

void WindowEditingTest::aDayTypedOverBringsItsOffset() {
    openHour(u"2026-10-23T06:00:00Z"_s);
    QCOMPARE(text("entryFrom"), u"2026-10-23T09:00:00+03:00"_s);
    typeDay("entryFrom", "26");
    QCOMPARE(text("entryFrom"), u"2026-10-26T09:00:00+02:00"_s);
    typeDay("entryTo", "26");
    QCOMPARE(text("entryTo"), u"2026-10-26T10:00:00+02:00"_s);
    typeDay("entryTo", "23");
    QCOMPARE(text("entryTo"), u"2026-10-23T10:00:00+03:00"_s);
    item("entryTo")->setProperty("text", u"2026-10-26T10:00:00+03:00"_s); // not left before OK
    item("entryDescriptionField")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QTRY_VERIFY(!isOpen("entryDialog"));
    QCOMPARE(
        recorded().value(u"payload").toObject(),
        QJsonObject({{u"start_at"_s, u"2026-10-26T07:00:00Z"_s}, {u"stop_at"_s, u"2026-10-26T08:00:00Z"_s}}));
}

void WindowEditingTest::anOffsetThatWasTypedStays() {
    openHour(u"2026-10-23T06:00:00Z"_s);
    item("entryFrom")->forceActiveFocus(Qt::MouseFocusReason);
    const QString typed = u"2026-10-26T09:00:00+04:00"_s;
    item("entryFrom")->setProperty("text", typed);
    key(Qt::Key_Tab);
    QCOMPARE(text("entryFrom"), typed);
    typeDay("entryFrom", "21");
    QCOMPARE(text("entryFrom"), u"2026-10-21T09:00:00+04:00"_s);
}

void WindowEditingTest::aTimeThatTheOtherDaySkipsIsRefused() {
    openHour(u"2026-03-26T00:30:00Z"_s);
    typeDay("entryFrom", "27");
    typeDay("entryTo", "27");
    QCOMPARE(text("entryFrom"), u"2026-03-27T02:30:00+02:00"_s);
    item("entryDescriptionField")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    QVERIFY(item("refusal")->isVisible());
    QVERIFY(isOpen("entryDialog"));
    QCOMPARE(controller().pending(), 0);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowEditingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "editing.moc"
