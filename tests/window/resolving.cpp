// SPDX-License-Identifier: MIT
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString userId = u"5f0c8f5e-24b5-4f0a-8f8c-3b1f1f6f2a01"_s;
const QString sessionId = u"5f0c8f5e-24b5-4f0a-8f8c-3b1f1f6f2a02"_s;

QJsonObject refused(QJsonObject item, const QString& status, const QString& sentence) {
    item.insert(u"status", status);
    item.insert(u"result",
                QJsonObject{{u"status"_s, status}, {u"error"_s, QJsonObject{{u"message"_s, sentence}}}});
    return item;
}

/// A manual entry of half an hour at nine in the evening in Jerusalem.
QJsonObject creation() {
    QJsonObject item = WindowFixture::edit(u"e9"_s, {});
    QJsonObject mutation = item.value(u"mutation").toObject();
    mutation.insert(u"operation", u"entry.create"_s);
    mutation.insert(u"base_version", 0);
    mutation.insert(u"payload", QJsonObject{{u"description"_s, u"Call"_s},
                                            {u"project_id"_s, u"p2"_s},
                                            {u"billable"_s, true},
                                            {u"tag_ids"_s, QJsonArray()},
                                            {u"start_at"_s, u"2020-01-05T19:00:00Z"_s},
                                            {u"stop_at"_s, u"2020-01-05T19:30:00Z"_s}});
    item.insert(u"mutation", mutation);
    return item;
}

} // namespace

/// Somebody whose change the server refused, or whose session it ended, and the
/// ways out at the window.
class WindowResolvingTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* item(const char* name) const {
        return m_fixture->item(QString::fromLatin1(name));
    }
    [[nodiscard]] QString text(const char* name) const { return item(name)->property("text").toString(); }
    [[nodiscard]] Controller& controller() const { return m_fixture->controller; }
    [[nodiscard]] QStringList rows() const;
    void showConflict();
    void showRejectedCreation();
    /// By mouse, keyboard or assistive technology.
    void use(const char* button, int means) const;
    void endSession();
    [[nodiscard]] QJsonArray saved() const;

    QTemporaryDir m_folder;
    std::unique_ptr<ScriptedPeer> m_peer;
    std::unique_ptr<FileDialogs> m_dialogs;
    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void panelShowsWhatWasRecordedAndWhatTheServerHas();
    void panelTellsAnEmptiedDescriptionFromNone();
    void panelSpeaksBothLanguages();
    void panelIsThereOnlyWhileSomethingIsRetained();
    void bannerLeadsToThePanel_data();
    void bannerLeadsToThePanel();
    void changeIsSentAgain_data();
    void changeIsSentAgain();
    void changeIsSavedAndRemoved_data();
    void changeIsSavedAndRemoved();
    void waysOutWaitForTheServer();
    void endedSessionIsRenewed_data();
    void endedSessionIsRenewed();
    void passwordThatWasNotSentStays();
    void everythingIsSetAsideAfterAQuestion();
    void everythingStaysWhenTheQuestionIsDenied();
    void questionWaitsForTheServerAndTellsWhatComes();
    void questionWaitsForAChangeOnItsWay();
};

void WindowResolvingTest::init() {
    m_peer = std::make_unique<ScriptedPeer>();
    m_dialogs = std::make_unique<FileDialogs>();
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->unlock(m_peer->url());
    m_fixture->window->setProperty("hebrew", false);
    QTRY_VERIFY(m_fixture->window->isActive());
}

void WindowResolvingTest::cleanup() {
    m_fixture.reset();
    m_dialogs.reset();
    m_peer.reset();
}

QStringList WindowResolvingTest::rows() const {
    m_fixture->layOut();
    return WindowFixture::texts(item("retainedFields"));
}

void WindowResolvingTest::showConflict() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(u"e1"_s)},
        {refused(WindowFixture::edit(u"e1"_s, u"Mine"_s), u"conflict"_s, u"This entry has changed."_s)}));
    m_fixture->openTab(3);
}

void WindowResolvingTest::showRejectedCreation() {
    m_fixture->show(WindowFixture::document({}, {refused(creation(), u"rejected"_s, u"The week is closed."_s),
                                                 WindowFixture::edit(u"e9"_s, u"Longer call"_s),
                                                 WindowFixture::edit(u"e2"_s, u"Other"_s)}));
    m_fixture->openTab(3);
}

void WindowResolvingTest::use(const char* button, int means) const {
    QQuickItem* const control = item(button);
    if (means == 0) {
        control->forceActiveFocus(Qt::TabFocusReason); // brings it into view
        m_fixture->click(control);
    } else if (means == 1) {
        control->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        QAccessible::setActive(true);
        pressByAssistiveTechnology(control);
    }
}

QJsonArray WindowResolvingTest::saved() const {
    QFile file(m_folder.filePath(u"copy.json"_s));
    return file.open(QIODevice::ReadOnly)
               ? QJsonDocument::fromJson(file.readAll()).object().value(u"queue").toArray()
               : QJsonArray();
}

void WindowResolvingTest::panelShowsWhatWasRecordedAndWhatTheServerHas() {
    showConflict();
    QVERIFY(item("retainedPanel")->isVisible());
    QCOMPARE(text("retainedChange"), u"Editing an entry · it conflicts with what the server has"_s);
    QCOMPARE(text("retainedSentence"), u"This entry has changed."_s);
    QCOMPARE(rows(), (QStringList{u"Recorded here"_s, u"On the server now"_s, u"Description"_s, u"Mine"_s,
                                  u"Work e1"_s, u"Start"_s, u"—"_s, u"\u200e2021-03-01 11:00:00"_s}));
    QVERIFY(!item("retainedLeaving")->isVisible());
    QVERIFY(item("retainedPanel")->mapToScene({}).y() < item("conflicts")->mapToScene({}).y());

    showRejectedCreation();
    QCOMPARE(text("retainedChange"), u"Adding a manual entry · the server rejected the change"_s);
    QCOMPARE(rows().mid(2),
             (QStringList{u"Description"_s, u"Call"_s, u"—"_s, u"Project"_s, u"Two"_s, u"—"_s, u"Billable"_s,
                          u"Yes"_s, u"—"_s, u"Start"_s, u"\u200e2020-01-05 21:00:00"_s, u"—"_s, u"End"_s,
                          u"\u200e2020-01-05 21:30:00"_s, u"—"_s}));
    QVERIFY(item("retainedLeaving")->isVisible());
    QVERIFY(text("retainedLeaving").startsWith(u"2 changes leave the queue"_s));
}

void WindowResolvingTest::panelTellsAnEmptiedDescriptionFromNone() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(u"e1"_s)},
        {refused(WindowFixture::edit(u"e1"_s, u""_s), u"conflict"_s, u"This entry has changed."_s)}));
    m_fixture->openTab(3);
    m_fixture->layOut();
    const auto cells = WindowFixture::textItems(item("retainedFields")).mid(2);
    QCOMPARE(cells.at(1)->property("text").toString(), u"(empty)"_s);
    QVERIFY(cells.at(1)->property("font").value<QFont>().bold());
    QCOMPARE(cells.at(4)->property("text").toString(), u"—"_s);
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(cells.at(1)->property("text").toString(), u"(ריק)"_s);
}

void WindowResolvingTest::panelSpeaksBothLanguages() {
    showRejectedCreation();
    const auto isHebrew = [](const QString& shown) {
        return std::any_of(shown.cbegin(), shown.cend(),
                           [](QChar c) { return c.script() == QChar::Script_Hebrew; });
    };
    const QStringList english = WindowFixture::texts(item("retainedPanel"));
    QVERIFY(std::none_of(english.cbegin(), english.cend(), isHebrew));
    m_fixture->window->setProperty("hebrew", true);
    m_fixture->layOut();
    const QStringList hebrew = WindowFixture::texts(item("retainedPanel"));
    QCOMPARE(hebrew.size(), english.size());
    for (int i = 0; i < hebrew.size(); ++i) {
        // What the person or the server wrote stays as it is.
        QVERIFY2(isHebrew(hebrew.at(i)) || hebrew.at(i) == english.at(i), qPrintable(hebrew.at(i)));
    }
    QVERIFY(hebrew.contains(u"כן"_s));
    QCOMPARE(text("resendRetained"), u"שלח שוב"_s);
    QCOMPARE(text("removeRetained"), u"שמור עותק והסר"_s);
}

void WindowResolvingTest::panelIsThereOnlyWhileSomethingIsRetained() {
    m_fixture->openTab(3);
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, u"Mine"_s)}));
    QVERIFY(!item("retainedPanel")->isVisible());
    QVERIFY(!item("showRetained")->isVisible());
    showConflict();
    QVERIFY(item("retainedPanel")->isVisible());
    QVERIFY(item("showRetained")->isVisible());
    m_fixture->show(WindowFixture::document());
    QVERIFY(!item("retainedPanel")->isVisible());
    QVERIFY(!item("showRetained")->isVisible());
}

void WindowResolvingTest::bannerLeadsToThePanel_data() {
    QTest::addColumn<int>("means");
    QTest::newRow("mouse") << 0;
    QTest::newRow("keyboard") << 1;
    QTest::newRow("assistive technology") << 2;
}

void WindowResolvingTest::bannerLeadsToThePanel() {
    QFETCH(int, means);
    m_fixture->window->resize(m_fixture->window->minimumSize());
    QTRY_COMPARE(m_fixture->window->contentItem()->width(), m_fixture->window->minimumSize().width());
    showConflict();
    m_fixture->openTab(0);
    use("showRetained", means);
    QCOMPARE(m_fixture->object(u"tabs"_s)->property("currentIndex").toInt(), 3);
    QQuickItem* const panel = item("retainedPanel");
    QTRY_VERIFY(panel->hasActiveFocus());
    QQuickItem* view = panel;
    while (!view->inherits("QQuickFlickable")) {
        view = view->parentItem();
    }
    m_fixture->layOut();
    const auto top = [&] { return panel->mapToItem(view, QPointF()).y(); };
    QTRY_VERIFY2(top() >= 0 && top() < view->height() / 2, qPrintable(QString::number(top())));

    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY(item("resendRetained")->hasActiveFocus());
    QTest::keyClick(m_fixture->window, Qt::Key_Tab);
    QVERIFY(item("removeRetained")->hasActiveFocus());
}

void WindowResolvingTest::changeIsSentAgain_data() {
    bannerLeadsToThePanel_data();
}

void WindowResolvingTest::changeIsSentAgain() {
    QFETCH(int, means);
    showConflict();
    use("resendRetained", means);
    QVERIFY(controller().retained().isEmpty());
    QCOMPARE(controller().pending(), 1);
    QVERIFY(!item("retainedPanel")->isVisible());
}

void WindowResolvingTest::changeIsSavedAndRemoved_data() {
    bannerLeadsToThePanel_data();
}

void WindowResolvingTest::changeIsSavedAndRemoved() {
    QFETCH(int, means);
    showRejectedCreation();
    m_dialogs->choose(m_folder.filePath(u"copy.json"_s));
    use("removeRetained", means);
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(saved().size(), 2);
    QVERIFY(!item("retainedPanel")->isVisible());
}

void WindowResolvingTest::waysOutWaitForTheServer() {
    showConflict();
    m_peer->answer("GET", u"/v1/sync/snapshot"_s,
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    controller().refresh();
    for (const char* const name : {"resendRetained", "removeRetained", "removePending"}) {
        QVERIFY2(!item(name)->isEnabled(), name);
    }
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    for (const char* const name : {"resendRetained", "removeRetained", "removePending"}) {
        QTRY_VERIFY2(item(name)->isEnabled(), name);
    }
}

void WindowResolvingTest::endSession() {
    QJsonObject document =
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, u"Mine"_s)});
    document.insert(u"auth", QJsonObject{{u"token"_s, u"t"_s}, {u"user_id"_s, userId}});
    document.insert(u"me", QJsonObject{{u"id"_s, userId}});
    m_fixture->show(document);
    m_fixture->openTab(3);
    QVERIFY(!item("sessionEnded")->isVisible());
    QVERIFY(!item("signInAgain")->isVisible());
    m_peer->answer("GET", u"/v1/me"_s, PeerReply::json({}, 401));
    controller().synchronize();
    QTRY_VERIFY(controller().sessionRefused());
}

void WindowResolvingTest::endedSessionIsRenewed_data() {
    QTest::addColumn<bool>("byEnter");
    QTest::newRow("Enter in the password field") << true;
    QTest::newRow("button") << false;
}

void WindowResolvingTest::endedSessionIsRenewed() {
    QFETCH(bool, byEnter);
    endSession();
    QVERIFY(item("sessionEnded")->isVisible());
    QVERIFY(item("signInAgain")->isVisible());
    QCOMPARE(text("signInAgain"), u"Sign in again"_s);
    QVERIFY(!item("signIn")->isEnabled());
    item("description")->setProperty("text", u"half a thought"_s);
    item("email")->setProperty("text", u"dana@example.com"_s);
    item("password")->setProperty("text", u"secret"_s);
    m_peer->answer("GET", u"/v1/me"_s, PeerReply::json({{u"id"_s, userId}}));
    m_peer->answer(
        "POST", u"/v1/auth/login"_s,
        PeerReply::json({{u"session_token"_s, QString(43, u'a')},
                         {u"session"_s, QJsonObject{{u"id"_s, sessionId}, {u"user_id"_s, userId}}}}));
    if (byEnter) {
        item("password")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        use("signInAgain", 1);
    }
    QCOMPARE(text("password"), QString());
    QVERIFY(!item("password")->property("canUndo").toBool());
    QTRY_COMPARE(m_peer->requests("POST", u"/v1/auth/login"_s).size(), 1);
    const QJsonObject body = m_peer->requests("POST", u"/v1/auth/login"_s).constFirst().json();
    QCOMPARE(body.value(u"email").toString(), u"dana@example.com"_s);
    QCOMPARE(body.value(u"password").toString(), u"secret"_s);
    QTRY_VERIFY(!item("signInAgain")->isVisible());
    QVERIFY(!item("sessionEnded")->isVisible());
    QCOMPARE(text("description"), u"half a thought"_s);
}

void WindowResolvingTest::passwordThatWasNotSentStays() {
    endSession();
    item("email")->setProperty("text", u"dana@example.com"_s);
    item("password")->setProperty("text", u"secret"_s);
    m_peer->answer("GET", u"/v1/me"_s, PeerReply::json({}, 401).delivered(PeerReply::Delivery::Hold));
    controller().synchronize();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(!controller().busy());
    use("signInAgain", 1);
    QCOMPARE(text("password"), u"secret"_s);
    QVERIFY(m_peer->requests("POST", u"/v1/auth/login"_s).isEmpty());
    m_peer->release();
}

void WindowResolvingTest::everythingIsSetAsideAfterAQuestion() {
    showRejectedCreation();
    m_dialogs->choose(m_folder.filePath(u"copy.json"_s));
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(u"removePendingDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(text("removePendingQuestion").startsWith(u"3 waiting changes"_s));
    QCOMPARE(controller().pending(), 3);
    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    QTRY_COMPARE(controller().pending(), 0);
    QCOMPARE(saved().size(), 3);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QTRY_VERIFY(!item("removePending")->isVisible());
}

void WindowResolvingTest::everythingStaysWhenTheQuestionIsDenied() {
    showConflict();
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(u"removePendingDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(text("removePendingQuestion").startsWith(u"One waiting change"_s));
    m_fixture->click(dialog->findChild<QQuickItem*>(u"cancel"_s));
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 1);
    QVERIFY(m_dialogs->seen().isEmpty());
}

void WindowResolvingTest::questionWaitsForTheServerAndTellsWhatComes() {
    showConflict();
    m_peer->answer("GET", u"/v1/sync/snapshot"_s,
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(u"removePendingDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    controller().refresh();
    QTRY_COMPARE(m_peer->held(), 1);
    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    const auto* const note = dialog->findChild<QQuickItem*>(u"waitNote"_s);
    QVERIFY(note->isVisible());
    QCOMPARE(note->property("text").toString(),
             u"Waiting for the server's answer; the file is asked for right after it."_s);
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(note->property("text").toString(), u"ממתין לתשובת השרת; מיד אחריה תתבקש לבחור קובץ."_s);
    QVERIFY(m_dialogs->seen().isEmpty());

    m_dialogs->choose(m_folder.filePath(u"copy.json"_s));
    m_peer->release();
    QTRY_COMPARE(controller().pending(), 0);
    QCOMPARE(saved().size(), 1);
}

void WindowResolvingTest::questionWaitsForAChangeOnItsWay() {
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(u"e1"_s)}, {WindowFixture::edit(u"e1"_s, {})}));
    m_fixture->openTab(3);
    m_peer->answer("GET", u"/v1/me"_s, PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    controller().synchronize();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(controller().syncing() && !controller().busy());
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(u"removePendingDialog"_s);
    QTRY_VERIFY(dialog->property("opened").toBool());
    m_fixture->click(dialog->findChild<QQuickItem*>(u"ok"_s));
    QVERIFY(dialog->findChild<QQuickItem*>(u"waitNote"_s)->isVisible());
    QVERIFY(m_dialogs->seen().isEmpty());
    m_peer->release();
    QTRY_COMPARE(m_dialogs->seen().size(), 1);
    QTRY_COMPARE(controller().message(), u"Nothing was removed."_s);
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowResolvingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "resolving.moc"
