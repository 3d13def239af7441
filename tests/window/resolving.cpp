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

namespace {

const QString userId = QStringLiteral("5f0c8f5e-24b5-4f0a-8f8c-3b1f1f6f2a01");
const QString sessionId = QStringLiteral("5f0c8f5e-24b5-4f0a-8f8c-3b1f1f6f2a02");

QJsonObject refused(QJsonObject item, const QString& status, const QString& sentence) {
    item.insert(u"status", status);
    item.insert(u"result",
                QJsonObject{{QStringLiteral("status"), status},
                            {QStringLiteral("error"), QJsonObject{{QStringLiteral("message"), sentence}}}});
    return item;
}

/// A manual entry of half an hour at nine in the evening in Jerusalem.
QJsonObject creation() {
    QJsonObject item = WindowFixture::edit(QStringLiteral("e9"), {});
    QJsonObject mutation = item.value(u"mutation").toObject();
    mutation.insert(u"operation", QStringLiteral("entry.create"));
    mutation.insert(u"base_version", 0);
    mutation.insert(u"payload",
                    QJsonObject{{QStringLiteral("description"), QStringLiteral("Call")},
                                {QStringLiteral("project_id"), QStringLiteral("p2")},
                                {QStringLiteral("billable"), true},
                                {QStringLiteral("tag_ids"), QJsonArray()},
                                {QStringLiteral("start_at"), QStringLiteral("2020-01-05T19:00:00Z")},
                                {QStringLiteral("stop_at"), QStringLiteral("2020-01-05T19:30:00Z")}});
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
        {WindowFixture::entry(QStringLiteral("e1"))},
        {refused(WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("Mine")),
                 QStringLiteral("conflict"), QStringLiteral("This entry has changed."))}));
    m_fixture->openTab(3);
}

void WindowResolvingTest::showRejectedCreation() {
    m_fixture->show(WindowFixture::document(
        {}, {refused(creation(), QStringLiteral("rejected"), QStringLiteral("The week is closed.")),
             WindowFixture::edit(QStringLiteral("e9"), QStringLiteral("Longer call")),
             WindowFixture::edit(QStringLiteral("e2"), QStringLiteral("Other"))}));
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
    QFile file(m_folder.filePath(QStringLiteral("copy.json")));
    return file.open(QIODevice::ReadOnly)
               ? QJsonDocument::fromJson(file.readAll()).object().value(u"queue").toArray()
               : QJsonArray();
}

void WindowResolvingTest::panelShowsWhatWasRecordedAndWhatTheServerHas() {
    showConflict();
    QVERIFY(item("retainedPanel")->isVisible());
    QCOMPARE(text("retainedChange"),
             QStringLiteral("Editing an entry · it conflicts with what the server has"));
    QCOMPARE(text("retainedSentence"), QStringLiteral("This entry has changed."));
    QCOMPARE(rows(), (QStringList{QStringLiteral("Recorded here"), QStringLiteral("On the server now"),
                                  QStringLiteral("Description"), QStringLiteral("Mine"),
                                  QStringLiteral("Work e1"), QStringLiteral("Start"), QStringLiteral("—"),
                                  QStringLiteral("\u200e2021-03-01 11:00:00")}));
    QVERIFY(!item("retainedLeaving")->isVisible());
    QVERIFY(item("retainedPanel")->mapToScene({}).y() < item("conflicts")->mapToScene({}).y());

    showRejectedCreation();
    QCOMPARE(text("retainedChange"),
             QStringLiteral("Adding a manual entry · the server rejected the change"));
    QCOMPARE(rows().mid(2),
             (QStringList{QStringLiteral("Description"), QStringLiteral("Call"), QStringLiteral("—"),
                          QStringLiteral("Project"), QStringLiteral("Two"), QStringLiteral("—"),
                          QStringLiteral("Billable"), QStringLiteral("Yes"), QStringLiteral("—"),
                          QStringLiteral("Start"), QStringLiteral("\u200e2020-01-05 21:00:00"),
                          QStringLiteral("—"), QStringLiteral("End"),
                          QStringLiteral("\u200e2020-01-05 21:30:00"), QStringLiteral("—")}));
    QVERIFY(item("retainedLeaving")->isVisible());
    QVERIFY(text("retainedLeaving").startsWith(QStringLiteral("2 changes leave the queue")));
}

void WindowResolvingTest::panelTellsAnEmptiedDescriptionFromNone() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(QStringLiteral("e1"))},
        {refused(WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("")), QStringLiteral("conflict"),
                 QStringLiteral("This entry has changed."))}));
    m_fixture->openTab(3);
    m_fixture->layOut();
    const auto cells = WindowFixture::textItems(item("retainedFields")).mid(2);
    QCOMPARE(cells.at(1)->property("text").toString(), QStringLiteral("(empty)"));
    QVERIFY(cells.at(1)->property("font").value<QFont>().bold());
    QCOMPARE(cells.at(4)->property("text").toString(), QStringLiteral("—"));
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(cells.at(1)->property("text").toString(), QStringLiteral("(ריק)"));
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
    QVERIFY(hebrew.contains(QStringLiteral("כן")));
    QCOMPARE(text("resendRetained"), QStringLiteral("שלח שוב"));
    QCOMPARE(text("removeRetained"), QStringLiteral("שמור עותק והסר"));
}

void WindowResolvingTest::panelIsThereOnlyWhileSomethingIsRetained() {
    m_fixture->openTab(3);
    m_fixture->show(
        WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))},
                                {WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("Mine"))}));
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
    QCOMPARE(m_fixture->object(QStringLiteral("tabs"))->property("currentIndex").toInt(), 3);
    QQuickItem* const panel = item("retainedPanel");
    QTRY_VERIFY(panel->hasActiveFocus());
    QQuickItem* view = panel;
    while (!view->inherits("QQuickFlickable"))
        view = view->parentItem();
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
    m_dialogs->choose(m_folder.filePath(QStringLiteral("copy.json")));
    use("removeRetained", means);
    QTRY_COMPARE(controller().pending(), 1);
    QCOMPARE(saved().size(), 2);
    QVERIFY(!item("retainedPanel")->isVisible());
}

void WindowResolvingTest::waysOutWaitForTheServer() {
    showConflict();
    m_peer->answer("GET", QStringLiteral("/v1/sync/snapshot"),
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    controller().refresh();
    for (const char* const name : {"resendRetained", "removeRetained", "removePending"})
        QVERIFY2(!item(name)->isEnabled(), name);
    QTRY_COMPARE(m_peer->held(), 1);
    m_peer->release();
    for (const char* const name : {"resendRetained", "removeRetained", "removePending"})
        QTRY_VERIFY2(item(name)->isEnabled(), name);
}

void WindowResolvingTest::endSession() {
    QJsonObject document =
        WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))},
                                {WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("Mine"))});
    document.insert(u"auth", QJsonObject{{QStringLiteral("token"), QStringLiteral("t")},
                                         {QStringLiteral("user_id"), userId}});
    document.insert(u"me", QJsonObject{{QStringLiteral("id"), userId}});
    m_fixture->show(document);
    m_fixture->openTab(3);
    QVERIFY(!item("sessionEnded")->isVisible());
    QVERIFY(!item("signInAgain")->isVisible());
    m_peer->answer("GET", QStringLiteral("/v1/me"), PeerReply::json({}, 401));
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
    QCOMPARE(text("signInAgain"), QStringLiteral("Sign in again"));
    QVERIFY(!item("signIn")->isEnabled());
    item("description")->setProperty("text", QStringLiteral("half a thought"));
    item("email")->setProperty("text", QStringLiteral("dana@example.com"));
    item("password")->setProperty("text", QStringLiteral("secret"));
    m_peer->answer("GET", QStringLiteral("/v1/me"), PeerReply::json({{QStringLiteral("id"), userId}}));
    m_peer->answer(
        "POST", QStringLiteral("/v1/auth/login"),
        PeerReply::json({{QStringLiteral("session_token"), QString(43, u'a')},
                         {QStringLiteral("session"), QJsonObject{{QStringLiteral("id"), sessionId},
                                                                 {QStringLiteral("user_id"), userId}}}}));
    if (byEnter) {
        item("password")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window, Qt::Key_Return);
    } else {
        use("signInAgain", 1);
    }
    QCOMPARE(text("password"), QString());
    QVERIFY(!item("password")->property("canUndo").toBool());
    QTRY_COMPARE(m_peer->requests("POST", QStringLiteral("/v1/auth/login")).size(), 1);
    const QJsonObject body = m_peer->requests("POST", QStringLiteral("/v1/auth/login")).constFirst().json();
    QCOMPARE(body.value(u"email").toString(), QStringLiteral("dana@example.com"));
    QCOMPARE(body.value(u"password").toString(), QStringLiteral("secret"));
    QTRY_VERIFY(!item("signInAgain")->isVisible());
    QVERIFY(!item("sessionEnded")->isVisible());
    QCOMPARE(text("description"), QStringLiteral("half a thought"));
}

void WindowResolvingTest::passwordThatWasNotSentStays() {
    endSession();
    item("email")->setProperty("text", QStringLiteral("dana@example.com"));
    item("password")->setProperty("text", QStringLiteral("secret"));
    m_peer->answer("GET", QStringLiteral("/v1/me"),
                   PeerReply::json({}, 401).delivered(PeerReply::Delivery::Hold));
    controller().synchronize();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(!controller().busy());
    use("signInAgain", 1);
    QCOMPARE(text("password"), QStringLiteral("secret"));
    QVERIFY(m_peer->requests("POST", QStringLiteral("/v1/auth/login")).isEmpty());
    m_peer->release();
}

void WindowResolvingTest::everythingIsSetAsideAfterAQuestion() {
    showRejectedCreation();
    m_dialogs->choose(m_folder.filePath(QStringLiteral("copy.json")));
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(QStringLiteral("removePendingDialog"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(text("removePendingQuestion").startsWith(QStringLiteral("3 waiting changes")));
    QCOMPARE(controller().pending(), 3);
    m_fixture->click(dialog->findChild<QQuickItem*>(QStringLiteral("ok")));
    QTRY_COMPARE(controller().pending(), 0);
    QCOMPARE(saved().size(), 3);
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QTRY_VERIFY(!item("removePending")->isVisible());
}

void WindowResolvingTest::everythingStaysWhenTheQuestionIsDenied() {
    showConflict();
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(QStringLiteral("removePendingDialog"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    QVERIFY(text("removePendingQuestion").startsWith(QStringLiteral("One waiting change")));
    m_fixture->click(dialog->findChild<QQuickItem*>(QStringLiteral("cancel")));
    QTRY_VERIFY(!dialog->property("visible").toBool());
    QCOMPARE(controller().pending(), 1);
    QVERIFY(m_dialogs->seen().isEmpty());
}

void WindowResolvingTest::questionWaitsForTheServerAndTellsWhatComes() {
    showConflict();
    m_peer->answer("GET", QStringLiteral("/v1/sync/snapshot"),
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(QStringLiteral("removePendingDialog"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    controller().refresh();
    QTRY_COMPARE(m_peer->held(), 1);
    m_fixture->click(dialog->findChild<QQuickItem*>(QStringLiteral("ok")));
    const auto* const note = dialog->findChild<QQuickItem*>(QStringLiteral("waitNote"));
    QVERIFY(note->isVisible());
    QCOMPARE(note->property("text").toString(),
             QStringLiteral("Waiting for the server's answer; the file is asked for right after it."));
    m_fixture->window->setProperty("hebrew", true);
    QCOMPARE(note->property("text").toString(),
             QStringLiteral("ממתין לתשובת השרת; מיד אחריה תתבקש לבחור קובץ."));
    QVERIFY(m_dialogs->seen().isEmpty());

    m_dialogs->choose(m_folder.filePath(QStringLiteral("copy.json")));
    m_peer->release();
    QTRY_COMPARE(controller().pending(), 0);
    QCOMPARE(saved().size(), 1);
}

void WindowResolvingTest::questionWaitsForAChangeOnItsWay() {
    m_fixture->show(WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))},
                                            {WindowFixture::edit(QStringLiteral("e1"), {})}));
    m_fixture->openTab(3);
    m_peer->answer("GET", QStringLiteral("/v1/me"),
                   PeerReply::json({}, 503).delivered(PeerReply::Delivery::Hold));
    controller().synchronize();
    QTRY_COMPARE(m_peer->held(), 1);
    QVERIFY(controller().syncing() && !controller().busy());
    use("removePending", 1);
    QObject* const dialog = m_fixture->object(QStringLiteral("removePendingDialog"));
    QTRY_VERIFY(dialog->property("opened").toBool());
    m_fixture->click(dialog->findChild<QQuickItem*>(QStringLiteral("ok")));
    QVERIFY(dialog->findChild<QQuickItem*>(QStringLiteral("waitNote"))->isVisible());
    QVERIFY(m_dialogs->seen().isEmpty());
    m_peer->release();
    QTRY_COMPARE(m_dialogs->seen().size(), 1);
    QTRY_COMPARE(controller().message(), QStringLiteral("Nothing was removed."));
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowResolvingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "resolving.moc"
