// SPDX-License-Identifier: MIT
#include "app/handover.h"

#include "controller/controller.h"
#include "controller/serveraddress.h"

namespace {

/// It would pass the address over in silence.
bool isAtWork(const Controller& controller) {
    return controller.busy() || controller.syncing();
}

} // namespace

void connectWhenFree(Controller& controller, const QString& address) {
    if (serverAddress(address) == controller.server()) {
        return;
    }
    if (isAtWork(controller)) {
        QObject::connect(
            &controller, &Controller::changed, &controller,
            [&controller, address] { connectWhenFree(controller, address); },
            Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
        return;
    }
    // Between two chunks an import is not at work, but has posted the next one: this comes behind it.
    const auto connectUnlessAtWork = [&controller, address] {
        if (isAtWork(controller)) {
            connectWhenFree(controller, address);
        } else {
            controller.connectServer(address);
        }
    };
    QMetaObject::invokeMethod(&controller, connectUnlessAtWork, Qt::QueuedConnection);
}
