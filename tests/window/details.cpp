// SPDX-License-Identifier: MIT
#include "tests/support/scriptedpeer.h"
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QJsonArray>
#include <QSysInfo>
#include <QTest>

#include <functional>
#include <initializer_list>

namespace {

QString copied() {
    return QGuiApplication::clipboard()->text();
}

bool copiedLine(const QString& line) {
    return copied().split(u'\n').contains(line);
}

} // namespace

/// What Settings gives to take along to somebody who helps.
class WindowDetailsTest : public QObject {
    Q_OBJECT

    [[nodiscard]] QQuickItem* button() const { return m_fixture->item(QStringLiteral("copyDetails")); }
    [[nodiscard]] QQuickItem* note() const { return m_fixture->item(QStringLiteral("detailsCopied")); }
    void copy() const { pressByAssistiveTechnology(button()); }

    std::unique_ptr<WindowFixture> m_fixture;

private Q_SLOTS:
    void init();
    void cleanup();

    void areCopiedByMouseKeyboardAndScreenReader_data();
    void areCopiedByMouseKeyboardAndScreenReader();
    void nameVersionsAndPlatform();
    void countEntriesAndWaitingChanges();
    void tellTheStateOfTheStorage();
    void quoteTheProgramsOwnSentence();
    void holdNothingOfThePerson();
};

void WindowDetailsTest::init() {
    m_fixture = std::make_unique<WindowFixture>();
    m_fixture->openTab(3);
    QGuiApplication::clipboard()->clear();
}

void WindowDetailsTest::cleanup() {
    m_fixture.reset();
}

void WindowDetailsTest::areCopiedByMouseKeyboardAndScreenReader_data() {
    QTest::addColumn<bool>("hebrew");
    QTest::newRow("Hebrew") << true;
    QTest::newRow("English") << false;
}

void WindowDetailsTest::areCopiedByMouseKeyboardAndScreenReader() {
    QFETCH(bool, hebrew);
    m_fixture->window->setProperty("hebrew", hebrew);
    const auto byMouse = [this] { m_fixture->click(button()); };
    const auto byKeyboard = [this] { QTest::keyClick(m_fixture->window, Qt::Key_Return); };
    const auto byScreenReader = [this] { copy(); };
    button()->forceActiveFocus(Qt::TabFocusReason);
    m_fixture->layOut();
    for (const std::function<void()>& press :
         std::initializer_list<std::function<void()>>{byMouse, byKeyboard, byScreenReader}) {
        m_fixture->openTab(3);
        QVERIFY(!note()->isVisible());
        press();
        QTRY_VERIFY(copied().startsWith(QStringLiteral("Timer.Kelvaro ")));
        QVERIFY(note()->isVisible());
        QTRY_VERIFY(note()->mapRectToScene(note()->boundingRect()).bottom() <=
                    m_fixture->window->height() - 22);
        QCOMPARE(note()->property("text").toString(),
                 hebrew ? QStringLiteral("הפרטים הועתקו. אין בהם תוכן, כתובת או שם.")
                        : QStringLiteral("The details are copied. They hold no content, address or name."));
        QGuiApplication::clipboard()->clear();
        m_fixture->openTab(0);
    }
}

void WindowDetailsTest::nameVersionsAndPlatform() {
    copy();
    QVERIFY(copiedLine(QStringLiteral("Timer.Kelvaro 7.8.9")));
    QVERIFY(copied().contains(QStringLiteral("Qt %1,").arg(QString::fromLatin1(qVersion()))));
    QVERIFY(copied().contains(QSysInfo::prettyProductName()));
    QVERIFY(copied().contains(QSysInfo::kernelVersion()));
    QVERIFY2(copiedLine(QStringLiteral("Platform: xcb, desktop unknown, scale 1")), qPrintable(copied()));
}

void WindowDetailsTest::countEntriesAndWaitingChanges() {
    m_fixture->show(WindowFixture::document(
        {WindowFixture::entry(QStringLiteral("e1")), WindowFixture::entry(QStringLiteral("e2"), 5)},
        {WindowFixture::edit(QStringLiteral("e1"), QStringLiteral("x"))}));
    copy();
    QVERIFY(copiedLine(QStringLiteral("Closed entries: 2")));
    QVERIFY(copiedLine(QStringLiteral("Waiting changes: 1")));
}

void WindowDetailsTest::tellTheStateOfTheStorage() {
    copy();
    QVERIFY(copiedLine(QStringLiteral("Secure storage: unavailable")));
    m_fixture->unlock();
    copy();
    QVERIFY(copiedLine(QStringLiteral("Secure storage: open")));
}

void WindowDetailsTest::quoteTheProgramsOwnSentence() {
    m_fixture->unlock();
    copy();
    QVERIFY(copiedLine(QStringLiteral("Last status: Session unavailable or revoked. Cached work retained; no "
                                      "developer fallback was attempted.")));
}

void WindowDetailsTest::holdNothingOfThePerson() {
    const QString words = QStringLiteral("Entry \"Work e1\" of dana@example.com is locked");
    ScriptedPeer peer;
    peer.answer(
        "POST", QStringLiteral("/v1/workspaces/w1/reports/summary/query"),
        PeerReply::json({{QStringLiteral("error"), QJsonObject{{QStringLiteral("message"), words}}}}, 422));
    m_fixture->unlock(peer.url());
    m_fixture->show(WindowFixture::document({WindowFixture::entry(QStringLiteral("e1"))}));
    m_fixture->controller.queryReport(QStringLiteral("summary"), {}, {}, {}, {});
    QTRY_COMPARE(m_fixture->controller.message(), words);
    copy();
    QVERIFY(copiedLine(QStringLiteral("Last status: not one of the program's own, so not copied")));
    for (const QString& secret : {words, peer.url(), QStringLiteral("Work e1"), QStringLiteral("dana"),
                                  QStringLiteral("Studio"), QStringLiteral("One"), QStringLiteral("u1"),
                                  QStringLiteral("w1"), QDir::homePath(), QSysInfo::machineHostName()}) {
        QVERIFY2(!copied().contains(secret), qPrintable(secret));
    }
}

int main(int argc, char* argv[]) {
    qunsetenv("XDG_CURRENT_DESKTOP");
    QApplication application(argc, argv);
    prepareApplication();
    QCoreApplication::setApplicationVersion(QStringLiteral("7.8.9"));
    WindowDetailsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "details.moc"
