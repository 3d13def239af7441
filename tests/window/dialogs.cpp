// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

/// A change in a dialog is taken, or refused with a sentence, or waits in sight;
/// what was typed is never lost. The server lets a reload hang until it is released.
class WindowDialogsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] QQuickItem* part(const char* name) const {
        return m_dialog->findChild<QQuickItem*>(QString::fromLatin1(name));
    }
    [[nodiscard]] bool isOpen() const { return m_dialog->property("opened").toBool(); }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    [[nodiscard]] QString listed() const {
        return controller().entries().constFirst().toMap().value(u"description"_s).toString();
    }
    /// What comes while a form fades.
    enum class Meanwhile { ReloadEnds, ProgramEnds, OkIsPressed };

    void open(const char* dialog, const char* button);
    void openEdit(const QString& text);
    void openManual(const char* from, const char* to);
    void openEntry();
    void leave();
    void startReload();
    void endReload();
    /// Enter in the field that has the focus, or the button.
    void confirm(bool byKey) const;

    /// What assistive technology is given to speak from now on.
    void listen(const QQuickItem* item);

    QStringList m_spoken;
    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<WindowFixture> m_fixture;
    QObject* m_dialog = nullptr;

public Q_SLOTS: // NOLINT(readability-redundant-access-specifiers)
    void hear() { m_spoken.append(sender()->property("text").toString()); }

private Q_SLOTS:
    void init();
    void cleanup();

    void refusedEditKeepsItsText_data();
    void refusedEditKeepsItsText();
    void refusedManualEntryKeepsItsText_data();
    void refusedManualEntryKeepsItsText();
    void refusalIsForgottenWithTheNextLetterAndTheNextTime();
    void editWaitsForTheEndOfAReload_data();
    void editWaitsForTheEndOfAReload();
    void waitingEditCanBeTakenBack();
    void formThatFadesRecordsNothing_data();
    void formThatFadesRecordsNothing();
    void waitingEditIsNotChangedByAssistiveTechnology();
    void waitingEditIsNotChangedByAnEarlierDescription();
    void waitingEditIsRefusedInSight();
    void manualEntryIsTakenDuringAReload();
    void manualDialogTellsWhatSpeaksAgainstTheTimes_data();
    void manualDialogTellsWhatSpeaksAgainstTheTimes();
    void manualDialogTellsItAnewWhenPeriodsOrWorkspaceChange();
    void noticesAndRefusalsAreSpokenEachTime();
    void manualDescriptionHasNoEnd();
    void longDescriptionIsEditedWhole_data();
    void longDescriptionIsEditedWhole();
    void timesThatWereLeftOnAnEarlierDayAreForgotten();
    void keyboardStaysWhereItWentWhileADialogOpens();
    void pressedTwiceIsOneChange_data();
    void pressedTwiceIsOneChange();
};

void WindowDialogsTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    QTRY_VERIFY(m_fixture->window->isActive());
}

void WindowDialogsTest::cleanup() {
    m_fixture.reset();
    m_peer.reset();
}

void WindowDialogsTest::open(const char* dialog, const char* button) {
    m_dialog = m_fixture->object(QString::fromLatin1(dialog));
    QTRY_VERIFY(item(button)->isVisible());
    m_fixture->click(item(button));
    QTRY_VERIFY(isOpen());
}

void WindowDialogsTest::openEdit(const QString& text) {
    open("editDialog", "editEntry");
    item("editDescription")->setProperty("text", text);
}

void WindowDialogsTest::openManual(const char* from, const char* to) {
    open("manualDialog", "manualEntry");
    QCOMPARE(m_fixture->window->activeFocusItem(), item("manualDescription"));
    item("manualDescription")->setProperty("text", u"Call"_s);
    item("manualFrom")->setProperty("text", QString::fromLatin1(from));
    item("manualTo")->setProperty("text", QString::fromLatin1(to));
}

void WindowDialogsTest::openEntry() {
    m_dialog = m_fixture->object(u"entryDialog"_s);
    QQuickItem* row = nullptr;
    QMetaObject::invokeMethod(item("entryList"), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, row),
                              Q_ARG(int, 0));
    QVERIFY(row);
    row->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_fixture->window, Qt::Key_Return);
    QTRY_VERIFY(isOpen());
}

void WindowDialogsTest::leave() {
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
}

void WindowDialogsTest::listen(const QQuickItem* item) {
    const auto children = item->childItems();
    for (const QQuickItem* const child : children) {
        if (child->inherits("Announcer")) {
            connect(child, SIGNAL(textChanged()), this, SLOT(hear()));
        }
        listen(child);
    }
}

void WindowDialogsTest::startReload() {
    m_peer->answer("GET", u"/v1/sync/snapshot"_s,
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    controller().refresh();
    QVERIFY(controller().busy());
    QTRY_COMPARE(m_peer->held(), 1);
}

void WindowDialogsTest::endReload() {
    m_peer->release();
    QTRY_VERIFY(!controller().busy());
}

void WindowDialogsTest::confirm(bool byKey) const {
    if (byKey) {
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        m_fixture->click(part("ok"));
    }
}

void WindowDialogsTest::refusedEditKeepsItsText_data() {
    QTest::addColumn<bool>("byKey");
    QTest::newRow("Enter") << true;
    QTest::newRow("OK") << false;
}

void WindowDialogsTest::refusedEditKeepsItsText() {
    QFETCH(bool, byKey);
    openEdit(u"Better"_s);
    m_fixture->show(WindowFixture::document());
    confirm(byKey);
    QCOMPARE(controller().message(), u"Entry not found in this workspace"_s);
    QVERIFY(isOpen());
    QVERIFY(part("refusal")->isVisible());
    QCOMPARE(text("refusal"), u"Entry not found in this workspace"_s);
    QCOMPARE(text("editDescription"), u"Better"_s);

    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    confirm(byKey);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Better"_s);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
}

void WindowDialogsTest::refusedManualEntryKeepsItsText_data() {
    refusedEditKeepsItsText_data();
}

void WindowDialogsTest::refusedManualEntryKeepsItsText() {
    QFETCH(bool, byKey);
    openManual("2021-03-02T09:00:00+02:00", "tomorrow");
    confirm(byKey);
    QCOMPARE(controller().pending(), 0);
    QVERIFY(isOpen());
    QVERIFY(part("refusal")->isVisible());
    QCOMPARE(text("refusal"),
             u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s);
    QCOMPARE(text("manualDescription"), u"Call"_s);
    QCOMPARE(text("manualFrom"), u"2021-03-02T09:00:00+02:00"_s);

    item("manualTo")->setProperty("text", u"2021-03-02T10:00:00+02:00"_s);
    confirm(byKey);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Call"_s);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    for (const char* const name : {"manualDescription", "manualFrom", "manualTo"}) {
        QCOMPARE(text(name), QString());
    }
}

void WindowDialogsTest::refusalIsForgottenWithTheNextLetterAndTheNextTime() {
    openManual("", "");
    confirm(true);
    QVERIFY(part("refusal")->isVisible());
    QTest::keyClick(m_fixture->window, 's');
    QVERIFY(!part("refusal")->isVisible());

    confirm(true);
    QVERIFY(part("refusal")->isVisible());
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    open("manualDialog", "manualEntry");
    QVERIFY(!part("refusal")->isVisible());
    QCOMPARE(text("manualDescription"), u"Calls"_s);
}

void WindowDialogsTest::editWaitsForTheEndOfAReload_data() {
    refusedEditKeepsItsText_data();
}

void WindowDialogsTest::editWaitsForTheEndOfAReload() {
    QFETCH(bool, byKey);
    openEdit(u"Better"_s);
    startReload();
    QVERIFY(part("ok")->isEnabled());
    QVERIFY(!part("waitNote")->isVisible());
    confirm(byKey);
    confirm(byKey);
    QVERIFY(isOpen());
    QVERIFY(part("waitNote")->isVisible());
    QCOMPARE(controller().pending(), 0);
    // What was confirmed is what will be saved.
    QTest::keyClick(m_fixture->window, 'x');
    QCOMPARE(text("editDescription"), u"Better"_s);

    endReload();
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Better"_s);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 1);
}

void WindowDialogsTest::waitingEditCanBeTakenBack() {
    openEdit(u"Better"_s);
    startReload();
    confirm(true);
    QVERIFY(part("waitNote")->isVisible());
    m_fixture->click(part("cancel"));
    QTRY_VERIFY(!m_dialog->property("visible").toBool());

    QSignalSpy changed(&controller(), &Controller::changed);
    endReload();
    QTRY_VERIFY(!changed.isEmpty());
    openEdit(u"Best"_s);
    QVERIFY(!part("waitNote")->isVisible());
    QCOMPARE(controller().pending(), 0);
    confirm(true);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Best"_s);
}

void WindowDialogsTest::formThatFadesRecordsNothing_data() {
    QTest::addColumn<bool>("waiting");
    QTest::addColumn<bool>("byKey");
    QTest::addColumn<Meanwhile>("meanwhile");
    QTest::newRow("the reload ends, Cancel") << true << false << Meanwhile::ReloadEnds;
    QTest::newRow("the reload ends, Escape") << true << true << Meanwhile::ReloadEnds;
    QTest::newRow("the program ends, Cancel") << true << false << Meanwhile::ProgramEnds;
    QTest::newRow("the program ends, Escape") << true << true << Meanwhile::ProgramEnds;
    QTest::newRow("OK after Cancel") << false << false << Meanwhile::OkIsPressed;
    QTest::newRow("OK after Escape") << false << true << Meanwhile::OkIsPressed;
}

void WindowDialogsTest::formThatFadesRecordsNothing() {
    QFETCH(const bool, waiting);
    QFETCH(const bool, byKey);
    QFETCH(const Meanwhile, meanwhile);
    openEdit(u"Better"_s);
    if (waiting) {
        startReload();
        confirm(true);
        QVERIFY(m_dialog->property("waiting").toBool());
    }
    m_fixture->layOut();
    if (byKey) {
        // Let go of once the form was looked at: it fades quickly, and each event lets time pass.
        QTest::keyPress(m_fixture->window, Qt::Key_Escape);
    } else {
        m_fixture->click(part("cancel"));
    }
    QVERIFY(m_dialog->property("visible").toBool());
    switch (meanwhile) {
    case Meanwhile::ReloadEnds:
        controller().fail(u"Ended"_s);
        QCoreApplication::processEvents();
        break;
    case Meanwhile::ProgramEnds:
        QVERIFY(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
        break;
    case Meanwhile::OkIsPressed:
        confirm(false);
        break;
    }
    if (byKey) {
        QTest::keyRelease(m_fixture->window, Qt::Key_Escape);
    }
    QCOMPARE(controller().pending(), 0);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 0);

    if (meanwhile == Meanwhile::ProgramEnds) {
        return;
    }
    // Opened again, it is as good as new.
    if (waiting) {
        endReload();
    }
    openEdit(u"Best"_s);
    confirm(true);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Best"_s);
}

void WindowDialogsTest::waitingEditIsNotChangedByAssistiveTechnology() {
    QAccessible::setActive(true);
    m_fixture->layOut();
    openEntry();
    item("entryDescriptionField")->setProperty("text", u"Better"_s);
    startReload();
    confirm(true);
    QVERIFY(m_dialog->property("waiting").toBool());
    QAccessibleActionInterface* const box =
        QAccessible::queryAccessibleInterface(item("entryBillable"))->actionInterface();
    for (const QString& action :
         {QAccessibleActionInterface::pressAction(), QAccessibleActionInterface::toggleAction()}) {
        box->doAction(action);
        QVERIFY(!item("entryBillable")->property("checked").toBool());
    }
    endReload();
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Better"_s);
    QVERIFY(!controller().entries().constFirst().toMap().value(u"billable"_s).toBool());
}

void WindowDialogsTest::waitingEditIsNotChangedByAnEarlierDescription() {
    m_fixture->layOut();
    openEntry();
    item("entryDescriptionField")->forceActiveFocus();
    item("entryDescriptionField")->setProperty("text", u"Better"_s);
    startReload();
    confirm(true);
    QVERIFY(m_dialog->property("waiting").toBool());
    item("entryDescriptionField")->setProperty("text", QString()); // which every description matches
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}) {
        QTest::keyClick(m_fixture->window, key);
    }
    QCOMPARE(text("entryDescriptionField"), QString());
    item("entryDescriptionField")->setProperty("text", u"Better"_s);
    endReload();
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(listed(), u"Better"_s);
}

void WindowDialogsTest::waitingEditIsRefusedInSight() {
    openEdit(u"Better"_s);
    startReload();
    confirm(true);
    m_fixture->show(WindowFixture::document());
    endReload();
    QTRY_VERIFY(part("refusal")->isVisible());
    QVERIFY(isOpen());
    QVERIFY(!part("waitNote")->isVisible());
    QCOMPARE(text("refusal"), u"Entry not found in this workspace"_s);
    QCOMPARE(text("editDescription"), u"Better"_s);
}

void WindowDialogsTest::manualEntryIsTakenDuringAReload() {
    openManual("2021-03-02T09:00:00+02:00", "2021-03-02T10:00:00+02:00");
    startReload();
    confirm(true);
    QCOMPARE(controller().pending(), 1);
    QVERIFY(controller().busy());
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
}

void WindowDialogsTest::manualDialogTellsWhatSpeaksAgainstTheTimes_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("hebrew");
    const auto row = [](const char* name, const char* from, const char* to, const char* english,
                        const char* hebrew) {
        QTest::newRow(name) << QString::fromLatin1(from) << QString::fromLatin1(to)
                            << QString::fromLatin1(english) << QString::fromUtf8(hebrew);
    };
    row("nothing", "2021-03-02T09:00:00+02:00", "2021-03-02T10:00:00+02:00", "", "");
    row("half typed", "2021-03-02T09:00:00+02:00", "2021-03-02T1", "", "");
    row("order", "2021-03-02T09:00:00+02:00", "2021-03-02T08:00:00+02:00", "The end must be after the start.",
        "הסיום חייב להיות אחרי ההתחלה.");
    row("offset", "2021-03-02T09:00:00", "2021-03-02T10:00:00",
        "A time has no UTC offset; it is read in this device's time zone.",
        "לאחד הזמנים אין היסט מ־UTC; הוא ייקרא לפי אזור הזמן של המכשיר.");
    row("short forms", "2021-03-02 09:15", "2021-03-02 10:00", "", "");
    row("order of short forms", "2.3.2021 9:15", "2021-03-02 08:15", "The end must be after the start.",
        "הסיום חייב להיות אחרי ההתחלה.");
    row("time half typed", "2.3.2021 9:15", "2.3.2021 08", "", "");
    row("year half typed", "2999-03-02T09:00:00+02:00", "20", "This time lies in the future.",
        "הזמן הזה נמצא בעתיד.");
    row("period", "2020-01-05T09:00:00+02:00", "2020-01-05T10:00:00+02:00",
        "This time lies in a submitted period; the server will refuse it.",
        "הזמן הזה נמצא בתקופה שהוגשה; השרת ידחה אותו.");
    row("future", "2999-03-02T09:00:00+02:00", "2999-03-02T10:00:00+02:00", "This time lies in the future.",
        "הזמן הזה נמצא בעתיד.");
}

void WindowDialogsTest::manualDialogTellsWhatSpeaksAgainstTheTimes() {
    QFETCH(QString, from);
    QFETCH(QString, to);
    openManual("", "");
    QVERIFY(!part("notice")->isVisible());
    item("manualFrom")->setProperty("text", from);
    item("manualTo")->setProperty("text", to);
    QTEST(text("notice"), "hebrew");
    m_fixture->window->setProperty("hebrew", false);
    QTEST(text("notice"), "english");
    QCOMPARE(part("notice")->isVisible(), !text("notice").isEmpty());
}

void WindowDialogsTest::manualDialogTellsItAnewWhenPeriodsOrWorkspaceChange() {
    m_fixture->window->setProperty("hebrew", false);
    openManual("2020-01-05T09:00:00+02:00", "2020-01-05T10:00:00+02:00");
    const QString locked = u"This time lies in a submitted period; the server will refuse it."_s;
    QCOMPARE(text("notice"), locked);
    QJsonObject document = WindowFixture::document();
    document.insert(u"workspace", u"w2"_s);
    m_fixture->show(document);
    QCOMPARE(text("notice"), QString());
    m_fixture->show(WindowFixture::document());
    QCOMPARE(text("notice"), locked);

    QJsonObject snapshot = WindowFixture::document().value(u"snapshot").toObject();
    snapshot.insert(u"timesheet_periods", QJsonArray());
    document = WindowFixture::document();
    document.insert(u"snapshot", snapshot);
    m_fixture->show(document);
    QCOMPARE(text("notice"), QString());
}

void WindowDialogsTest::noticesAndRefusalsAreSpokenEachTime() {
    m_fixture->window->setProperty("hebrew", false);
    const QString order = u"The end must be after the start."_s;
    const QString refusal = u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s;
    openManual("2021-03-02T09:00:00+02:00", "");
    m_spoken.clear();
    listen(m_fixture->window->contentItem());
    item("manualTo")->setProperty("text", u"2021-03-02T08:00:00+02:00"_s);
    QCOMPARE(m_spoken, QStringList{order});
    confirm(true);
    QCOMPARE(m_spoken, (QStringList{order, refusal}));
    confirm(true);
    QCOMPARE(m_spoken, (QStringList{order, refusal, refusal}));

    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    m_spoken.clear();
    // Nobody looks at the times now.
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(m_spoken, QStringList());
    m_fixture->window->setProperty("hebrew", false);
    open("manualDialog", "manualEntry");
    QCOMPARE(m_spoken, QStringList{order});
}

void WindowDialogsTest::manualDescriptionHasNoEnd() {
    const QString description(40'000, u'x');
    openManual("2021-03-02T09:00:00+02:00", "2021-03-02T10:00:00+02:00");
    item("manualDescription")->setProperty("text", description);
    confirm(false);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed().size(), description.size());
}

void WindowDialogsTest::longDescriptionIsEditedWhole_data() {
    QTest::addColumn<bool>("alone");
    QTest::addColumn<bool>("touched");
    QTest::newRow("description, untouched") << true << false;
    QTest::newRow("description, touched") << true << true;
    QTest::newRow("entry, touched") << false << true;
}

void WindowDialogsTest::longDescriptionIsEditedWhole() {
    QFETCH(const bool, alone);
    QFETCH(const bool, touched);
    const char* const field = alone ? "editDescription" : "entryDescriptionField";
    const QString whole(40'000, u'x');
    QJsonObject entry = WindowFixture::entry(u"e1"_s);
    const auto open = [&](const QString& description) {
        entry.insert(u"description", description);
        m_fixture->show(WindowFixture::document({entry}));
        m_fixture->layOut();
        if (alone) {
            this->open("editDialog", "editEntry");
        } else {
            openEntry();
        }
        QCOMPARE(text(field).size(), description.size());
    };
    open(whole);
    if (touched) {
        QTest::keyClick(m_fixture->window, Qt::Key_Backspace);
    }
    confirm(true);
    QCOMPARE(controller().pending(), 1);
    QCOMPARE(listed(), whole.chopped(touched ? 1 : 0));
    QTRY_VERIFY(!m_dialog->property("visible").toBool());

    open(u"Short"_s);
    QCOMPARE(item(field)->property("maximumLength").toInt(), 4096);
}

void WindowDialogsTest::timesThatWereLeftOnAnEarlierDayAreForgotten() {
    const QString from = u"2021-03-02T09:00:00+02:00"_s;
    openManual(from.toUtf8(), "2021-03-02T10:00:00+02:00");
    leave();
    open("manualDialog", "manualEntry");
    QCOMPARE(text("manualFrom"), from);
    leave();

    // It was last used yesterday, and left today.
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(QTimeZone("Asia/Jerusalem"_ba)).date();
    const auto becomeYesterday = [&] {
        m_dialog->setProperty("usedOn", today.addDays(-1).toString(Qt::ISODate));
    };
    open("manualDialog", "manualEntry");
    becomeYesterday();
    leave();
    open("manualDialog", "manualEntry");
    QCOMPARE(text("manualFrom"), QString());
    QCOMPARE(text("manualTo"), QString());
    QCOMPARE(text("manualDescription"), u"Call"_s);
    item("manualTo")->forceActiveFocus();
    item("manualTo")->setProperty("text", u"10:00"_s);
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY2(text("manualTo").startsWith(today.toString(Qt::ISODate)), qPrintable(text("manualTo")));

    // What is typed counts, not when it was opened.
    becomeYesterday();
    item("manualTo")->forceActiveFocus();
    QTest::keyClick(m_fixture->window, Qt::Key_Backspace);
    leave();
    open("manualDialog", "manualEntry");
    QVERIFY(!text("manualTo").isEmpty());
}

void WindowDialogsTest::keyboardStaysWhereItWentWhileADialogOpens() {
    m_dialog = m_fixture->object(u"manualDialog"_s);
    m_fixture->click(item("manualEntry"));
    QVERIFY(!isOpen());
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY(item("manualFrom")->hasActiveFocus());
    QTRY_VERIFY(isOpen());
    QVERIFY(item("manualFrom")->hasActiveFocus());

    // The next time it begins at its beginning.
    QTest::keyClick(m_fixture->window, Qt::Key_Escape);
    QTRY_VERIFY(!m_dialog->property("visible").toBool());
    m_fixture->click(item("manualEntry"));
    QVERIFY(item("manualDescription")->hasActiveFocus());
}

void WindowDialogsTest::pressedTwiceIsOneChange_data() {
    refusedEditKeepsItsText_data();
}

void WindowDialogsTest::pressedTwiceIsOneChange() {
    QFETCH(bool, byKey);
    openEdit(u"Better"_s);
    confirm(byKey);
    confirm(byKey);
    QCOMPARE(controller().pending(), 1);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowDialogsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "dialogs.moc"
