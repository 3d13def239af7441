// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

QByteArray describe(const QMetaProperty& property) {
    return QByteArray(property.typeName()) + ' ' + property.name() + " by " + property.notifySignal().name();
}

QList<QByteArray> methodsOf(QMetaMethod::MethodType type) {
    const QMetaObject& surface = Controller::staticMetaObject;
    QList<QByteArray> signatures;
    for (int i = surface.methodOffset(); i < surface.methodCount(); ++i) {
        const QMetaMethod method = surface.method(i);
        if (method.methodType() == type) {
            signatures.append(method.methodSignature());
        }
    }
    return signatures;
}

QJsonObject withAuth(const QJsonObject& auth) {
    QJsonObject state = sample::durable(sample::snapshot());
    state.insert(u"auth", auth);
    return state;
}

} // namespace

class SurfaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void propertiesInDeclaredOrder();
    void propertiesAreReadOnly();
    void signalsInDeclaredOrder();
    void actionsInDeclaredOrderReturnNothing();

    void aNewControllerIsIdleAndEmpty();
    void theDeviceIsMadeOnceAndKept();
    void aGivenDeviceIsUsed();
    void accountNamePrefersTheAddress_data();
    void accountNamePrefersTheAddress();
    void signedInNeedsANonEmptyTextToken_data();
    void signedInNeedsANonEmptyTextToken();
    void failShowsTheTextAndClearsBusy();
    void pausingTheImportLeavesBusyAsItIs();
    void theTickNeverEmitsChanged();
    void snapshotListsAreShown();
};

void SurfaceTest::propertiesInDeclaredOrder() {
    const QMetaObject& surface = Controller::staticMetaObject;
    QList<QByteArray> properties;
    for (int i = surface.propertyOffset(); i < surface.propertyCount(); ++i) {
        properties.append(describe(surface.property(i)));
    }
    const QList<QByteArray> expected{
        "QString server by changed",
        "QString message by changed",
        "QString elapsed by tick",
        "QString workspace by changed",
        "QString timezone by changed",
        "QVariantList workspaces by changed",
        "QVariantList projects by changed",
        "QVariantList entries by changed",
        "QVariantList reportRows by changed",
        "QVariantMap timer by changed",
        "QVariantMap reportTotals by changed",
        "QVariantMap importPreview by changed",
        "int pending by changed",
        "bool busy by changed",
        "bool accountSignedIn by changed",
        "QString accountName by changed",
        "QVariantList periods by changed",
        "QString conflictDetails by changed",
        "bool secureStorage by changed",
        "QVariantMap retained by changed",
        "bool sessionRefused by changed",
        "bool queueReady by changed",
        "QString accountId by changed",
        "bool syncing by changed",
        "bool canUndoDelete by changed",
        "QVariantList reportFigures by changed",
        "QVariantList reportColumns by changed",
        "QVariantList reportSeries by changed",
        "QVariantMap reportAbout by changed",
        "QVariantList importRows by changed",
        "QVariantMap importCounts by changed",
        "QVariantMap absence by changed",
        "QVariantList periodSums by changed",
        "QVariantMap openWeek by changed",
        "int weekday by changed",
        "bool signInWanted by changed",
        "bool timerLocked by changed",
        "bool signOutUnconfirmed by changed",
        "bool recordStuck by changed",
        "bool busyUnasked by changed",
    };
    QCOMPARE(properties, expected);
}

void SurfaceTest::propertiesAreReadOnly() {
    const QMetaObject& surface = Controller::staticMetaObject;
    for (int i = surface.propertyOffset(); i < surface.propertyCount(); ++i) {
        const QMetaProperty property = surface.property(i);
        QVERIFY2(property.isReadable() && property.isDesignable() && property.isScriptable() &&
                     property.isStored(),
                 property.name());
        QVERIFY2(!property.isWritable() && !property.isResettable() && !property.isConstant(),
                 property.name());
    }
}

void SurfaceTest::signalsInDeclaredOrder() {
    const QList<QByteArray> expected{"changed()", "tick()", "ready()", "accountLeft()", "ending()"};
    QCOMPARE(methodsOf(QMetaMethod::Signal), expected);
}

void SurfaceTest::actionsInDeclaredOrderReturnNothing() {
    const QList<QByteArray> expected{
        "connectServer(QString)",
        "loginAccount(QString,QString)",
        "logoutAccount()",
        "selectWorkspace(QString)",
        "refresh()",
        "editDescription(QString,QString)",
        "openTimesheetWeb()",
        "start(QString,QString,bool)",
        "stop()",
        "addManual(QString,QString,QString,QString,bool)",
        "queryReport(QString,QString,QString,QString,QString)",
        "downloadReport(QString)",
        "previewCsv(QString,QString,bool)",
        "applyImport()",
        "pauseImport()",
        "exportPending()",
        "synchronize()",
        "resendRetained()",
        "removeRetained()",
        "renewSession(QString,QString)",
        "removePending()",
        "toggleTimer(QString,QString,bool)",
        "stopTimer()",
        "continueEntry(QString)",
        "editEntry(QString,QVariantMap)",
        "duplicateEntry(QString)",
        "deleteEntry(QString)",
        "undoDelete()",
        "copyReport(QStringList,bool)",
        "keepTime()",
        "stopTimerAt(QString)",
        "restartTimerFrom(QString)",
        "leaveServer(QString)",
        "setRecordAside()",
    };
    // Questions come behind the actions.
    const QList<QByteArray> questions{"refusesDuringSignOut()", "manualNotice(QString,QString)",
                                      "reportRange(QString)"};
    QCOMPARE(methodsOf(QMetaMethod::Method), expected + questions);
    QCOMPARE(methodsOf(QMetaMethod::Slot), QList<QByteArray>());
    for (const QByteArray& signature : expected) {
        const QMetaObject& surface = Controller::staticMetaObject;
        const QMetaMethod method = surface.method(surface.indexOfMethod(signature.constData()));
        QCOMPARE(method.returnMetaType(), QMetaType::fromType<void>());
        QCOMPARE(method.access(), QMetaMethod::Public);
    }
}

void SurfaceTest::aNewControllerIsIdleAndEmpty() {
    const Controller controller;
    QCOMPARE(controller.server(), QString());
    QCOMPARE(controller.message(), QString());
    QCOMPARE(controller.elapsed(), u"00:00:00"_s);
    QCOMPARE(controller.workspace(), QString());
    QCOMPARE(controller.timezone(), u"Asia/Jerusalem"_s);
    QVERIFY(controller.workspaces().isEmpty());
    QVERIFY(controller.projects().isEmpty());
    QVERIFY(controller.entries().isEmpty());
    QVERIFY(controller.reportRows().isEmpty());
    QVERIFY(controller.timer().isEmpty());
    QVERIFY(controller.reportTotals().isEmpty());
    QVERIFY(controller.importPreview().isEmpty());
    QCOMPARE(controller.pending(), 0);
    QVERIFY(!controller.busy());
    QVERIFY(!controller.accountSignedIn());
    QCOMPARE(controller.accountName(), QString());
    QVERIFY(controller.periods().isEmpty());
    QVERIFY(!controller.secureStorage());
    QVERIFY(controller.retained().isEmpty());
    QVERIFY(controller.absence().isEmpty());
    QVERIFY(controller.periodSums().isEmpty());
    QCOMPARE(controller.openWeek().value(u"seconds"_s).toInt(), 0);
    QVERIFY(!controller.sessionRefused());
    QVERIFY(!controller.signInWanted());
    QVERIFY(!controller.timerLocked());
}

void SurfaceTest::theDeviceIsMadeOnceAndKept() {
    const QString key = u"device"_s;
    QVERIFY(!QSettings().contains(key));
    {
        const Controller first;
        const QString device = QSettings().value(key).toString();
        QCOMPARE(device.size(), 36);
        QVERIFY(!device.contains(u'{'));
        QCOMPARE(QUuid::fromString(device).toString(QUuid::WithoutBraces), device);
    }
    const QString made = QSettings().value(key).toString();
    const Controller second;
    QCOMPARE(QSettings().value(key).toString(), made);
}

void SurfaceTest::aGivenDeviceIsUsed() {
    QSettings().setValue(u"device"_s, u"kept-as-it-is"_s);
    const Controller controller;
    QCOMPARE(QSettings().value(u"device"_s).toString(), u"kept-as-it-is"_s);
}

void SurfaceTest::accountNamePrefersTheAddress_data() {
    QTest::addColumn<QJsonObject>("me");
    QTest::addColumn<QString>("name");
    const QString email = u"email"_s;
    const QString display = u"display_name"_s;
    const QString noa = u"Noa"_s;
    QTest::newRow("both") << QJsonObject{{email, u"noa@example.org"_s}, {display, noa}}
                          << u"noa@example.org"_s;
    QTest::newRow("no address") << QJsonObject{{display, noa}} << noa;
    QTest::newRow("address null") << QJsonObject{{email, QJsonValue()}, {display, noa}} << noa;
    QTest::newRow("address a number") << QJsonObject{{email, 7}, {display, noa}} << noa;
    QTest::newRow("address empty") << QJsonObject{{email, QString()}, {display, noa}} << QString();
    QTest::newRow("neither a text") << QJsonObject{{email, 7}, {display, 8}} << QString();
}

void SurfaceTest::accountNamePrefersTheAddress() {
    QFETCH(const QJsonObject, me);
    QFETCH(const QString, name);
    Controller controller;
    controller.applyDurable({{u"me"_s, me}});
    QCOMPARE(controller.accountName(), name);
}

void SurfaceTest::signedInNeedsANonEmptyTextToken_data() {
    QTest::addColumn<QJsonObject>("auth");
    QTest::addColumn<bool>("signedIn");
    const QString token = u"token"_s;
    QTest::newRow("missing") << QJsonObject() << false;
    QTest::newRow("empty") << QJsonObject{{token, QString()}} << false;
    QTest::newRow("a number") << QJsonObject{{token, 12}} << false;
    QTest::newRow("a text") << QJsonObject{{token, u"t"_s}} << true;
}

void SurfaceTest::signedInNeedsANonEmptyTextToken() {
    QFETCH(const QJsonObject, auth);
    QFETCH(const bool, signedIn);
    Controller controller;
    controller.applyDurable(withAuth(auth));
    QCOMPARE(controller.accountSignedIn(), signedIn);
}

void SurfaceTest::failShowsTheTextAndClearsBusy() {
    Controller controller;
    // Connecting sets busy until the credential store has answered.
    controller.connectServer(u"http://localhost:1"_s);
    QVERIFY(controller.busy());
    QSignalSpy changed(&controller, &Controller::changed);
    QStringList seen;
    connect(&controller, &Controller::changed, &controller,
            [&controller, &seen] { seen.append(controller.message()); });
    controller.fail(u"Something happened."_s);
    QCOMPARE(controller.message(), u"Something happened."_s);
    QVERIFY(!controller.busy());
    QCOMPARE(changed.size(), 1);
    QCOMPARE(seen, QStringList{u"Something happened."_s});
}

void SurfaceTest::pausingTheImportLeavesBusyAsItIs() {
    Controller controller;
    QSignalSpy changed(&controller, &Controller::changed);
    controller.pauseImport();
    QCOMPARE(controller.message(), u"Pausing after the current committed chunk"_s);
    QCOMPARE(changed.size(), 1);
    QVERIFY(!controller.busy());

    controller.connectServer(u"http://localhost:1"_s);
    QVERIFY(controller.busy());
    controller.pauseImport();
    QVERIFY(controller.busy());
    QCOMPARE(controller.message(), u"Pausing after the current committed chunk"_s);
}

void SurfaceTest::theTickNeverEmitsChanged() {
    Controller controller;
    QSignalSpy changed(&controller, &Controller::changed);
    QSignalSpy tick(&controller, &Controller::tick);
    QTRY_COMPARE_WITH_TIMEOUT(tick.size(), 2, 10000);
    QCOMPARE(changed.size(), 0);
}

void SurfaceTest::snapshotListsAreShown() {
    Controller controller;
    const QJsonObject open = sample::period(u"open"_s, u"2024-01-01T00:00:00Z"_s, u"2024-01-08T00:00:00Z"_s);
    controller.applyDurable(sample::durable(sample::snapshot({}, {open})));
    QCOMPARE(controller.projects().size(), 1);
    QCOMPARE(controller.projects().first().toMap().value(u"name"_s).toString(), u"Garden"_s);
    QCOMPARE(controller.periods(), QVariantList{open.toVariantMap()});
    QCOMPARE(controller.workspaces(), sample::workspaces().value(u"items").toArray().toVariantList());
    QCOMPARE(controller.workspace(), u"ws-1"_s);
}

QTEST_MAIN(SurfaceTest)
#include "surface.moc"
