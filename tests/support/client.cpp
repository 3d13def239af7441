// SPDX-License-Identifier: MIT
#include "tests/support/client.h"

#include "controller/controller.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

void startClean() {
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    QSettings().clear();
}

bool connectAndLoad(Controller& controller, const QString& server) {
    QSignalSpy ready(&controller, &Controller::ready);
    controller.connectServer(server);
    return !ready.isEmpty() || ready.wait(patienceMs);
}

QNetworkAccessManager& networkOf(const Controller& controller) {
    return *controller.findChild<QNetworkAccessManager*>();
}

bool waitForSilence(const Controller& controller) {
    // One that has finished stays until it was read.
    return QTest::qWaitFor(
        [&controller] { return networkOf(controller).findChildren<QNetworkReply*>().isEmpty(); }, patienceMs);
}

void stepPeriodically(const Controller& controller) {
    const QList<QTimer*> timers = controller.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    const auto periodic = std::find_if(timers.begin(), timers.end(), [](const QTimer* timer) {
        return !timer->isSingleShot() && timer->interval() == 15000;
    });
    QVERIFY(periodic != timers.end());
    QVERIFY(QMetaObject::invokeMethod(*periodic, "timeout"));
}

QJsonArray queueOf(const Controller& controller) {
    return controller.durableState().value(u"queue").toArray();
}

QJsonObject mutationAt(const Controller& controller, qsizetype index) {
    return queueOf(controller).at(index).toObject().value(u"mutation").toObject();
}

QVariantMap listedEntry(const Controller& controller, const QString& key, const QString& value) {
    const QVariantList entries = controller.entries();
    for (const QVariant& entry : entries) {
        if (entry.toMap().value(key).toString() == value) {
            return entry.toMap();
        }
    }
    return {};
}
