// SPDX-License-Identifier: MIT
#include "tests/window/windowfixture.h"

#include <QApplication>
#include <QTest>

using namespace Qt::StringLiterals;

/// The first start in a session without a bus, and so without any credential store.
class WindowWithoutBusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saysWhatIsMissingAndWhatToDo();
};

void WindowWithoutBusTest::saysWhatIsMissingAndWhatToDo() {
    QVERIFY(!qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS"));
    WindowFixture fixture;
    fixture.controller.connectServer(deadServer());
    QTRY_COMPARE(fixture.item(u"status"_s)->property("text").toString(),
                 u"KWallet / OS credential storage is locked or unavailable. Online mode remains "
                 "available; offline writes are disabled."_s);
    const QQuickItem* const advice = fixture.item(u"advice"_s);
    QTRY_VERIFY(advice->isVisible());
    QVERIFY(advice->property("text").toString().startsWith(u"פתח את מאגר הסיסמאות"_s));
    fixture.window->setProperty("hebrew", false);
    QVERIFY(advice->property("text").toString().startsWith(u"Unlock the keyring or wallet"_s));
    fixture.openTab(3);
    QTRY_VERIFY(!fixture.controller.busy());
    QVERIFY(fixture.item(u"connect"_s)->isEnabled());
}

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    prepareApplication();
    WindowWithoutBusTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "nobus.moc"
