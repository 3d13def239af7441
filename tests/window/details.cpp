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

using namespace Qt::StringLiterals;

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

    [[nodiscard]] QQuickItem* button() const { return m_fixture->item(u"copyDetails"_s); }
    [[nodiscard]] QQuickItem* note() const { return m_fixture->item(u"detailsCopied"_s); }
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
        QTRY_VERIFY(copied().startsWith(u"Timer.Kelvaro "_s));
        QVERIFY(note()->isVisible());
        QTRY_VERIFY(note()->mapRectToScene(note()->boundingRect()).bottom() <=
                    m_fixture->window->height() - 22);
        QCOMPARE(note()->property("text").toString(),
                 hebrew ? u"הפרטים הועתקו. אין בהם תוכן, כתובת או שם."_s
                        : u"The details are copied. They hold no content, address or name."_s);
        QGuiApplication::clipboard()->clear();
        m_fixture->openTab(0);
    }
}

void WindowDetailsTest::nameVersionsAndPlatform() {
    copy();
    QVERIFY(copiedLine(u"Timer.Kelvaro 7.8.9"_s));
    QVERIFY(copied().contains(u"Qt %1,"_s.arg(QString::fromLatin1(qVersion()))));
    QVERIFY(copied().contains(QSysInfo::prettyProductName()));
    QVERIFY(copied().contains(QSysInfo::kernelVersion()));
    QVERIFY2(copiedLine(u"Platform: xcb, desktop unknown, scale 1"_s), qPrintable(copied()));
}

void WindowDetailsTest::countEntriesAndWaitingChanges() {
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s), WindowFixture::entry(u"e2"_s, 5)},
                                            {WindowFixture::edit(u"e1"_s, u"x"_s)}));
    copy();
    QVERIFY(copiedLine(u"Closed entries: 2"_s));
    QVERIFY(copiedLine(u"Waiting changes: 1"_s));
}

void WindowDetailsTest::tellTheStateOfTheStorage() {
    copy();
    QVERIFY(copiedLine(u"Secure storage: unavailable"_s));
    m_fixture->unlock();
    copy();
    QVERIFY(copiedLine(u"Secure storage: open"_s));
}

void WindowDetailsTest::quoteTheProgramsOwnSentence() {
    m_fixture->unlock();
    copy();
    QVERIFY(copiedLine(u"Last status: Session unavailable or revoked. Cached work retained; no "
                       "developer fallback was attempted."_s));
}

void WindowDetailsTest::holdNothingOfThePerson() {
    const QString words = u"Entry \"Work e1\" of dana@example.com is locked"_s;
    ScriptedPeer peer;
    peer.answer("POST", u"/v1/workspaces/w1/reports/summary/query"_s,
                PeerReply::json({{u"error"_s, QJsonObject{{u"message"_s, words}}}}, 422));
    m_fixture->unlock(peer.url());
    m_fixture->show(WindowFixture::document({WindowFixture::entry(u"e1"_s)}));
    m_fixture->controller.queryReport(u"summary"_s, {}, {}, {}, {});
    QTRY_COMPARE(m_fixture->controller.message(), words);
    copy();
    QVERIFY(copiedLine(u"Last status: not one of the program's own, so not copied"_s));
    for (const QString& secret : {words, peer.url(), u"Work e1"_s, u"dana"_s, u"Studio"_s, u"One"_s, u"u1"_s,
                                  u"w1"_s, QDir::homePath(), QSysInfo::machineHostName()}) {
        QVERIFY2(!copied().contains(secret), qPrintable(secret));
    }
}

int main(int argc, char* argv[]) {
    qunsetenv("XDG_CURRENT_DESKTOP");
    QApplication application(argc, argv);
    prepareApplication();
    QCoreApplication::setApplicationVersion(u"7.8.9"_s);
    WindowDetailsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "details.moc"
