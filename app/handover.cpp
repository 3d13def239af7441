// SPDX-License-Identifier: MIT
#include "app/handover.h"

#include "controller/controller.h"
#include "controller/serveraddress.h"

void connectWhenFree(Controller& controller, const QString& address) {
    if (serverAddress(address) == controller.server()) {
        return;
    }
    // While the controller is at work it passes the address over in silence; otherwise it always speaks.
    bool spoke = false;
    const QMetaObject::Connection listening =
        QObject::connect(&controller, &Controller::changed, [&spoke] { spoke = true; });
    controller.connectServer(address);
    QObject::disconnect(listening);
    if (spoke) {
        return;
    }
    QObject::connect(
        &controller, &Controller::changed, &controller,
        [&controller, address] { connectWhenFree(controller, address); },
        Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
}
