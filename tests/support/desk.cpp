// SPDX-License-Identifier: MIT
#include "tests/support/desk.h"

#include "tests/support/client.h"

#include <QTest>

Desk::Desk(const QJsonObject& snapshot) : controller(std::make_unique<Controller>()) {
    sample::serve(peer, snapshot);
}

bool Desk::load() {
    return connectAndLoad(*controller, peer.url());
}

void Desk::restart() {
    controller.reset();
    controller = std::make_unique<Controller>();
}

void Desk::holdPushes() {
    peer.answer("GET", QStringLiteral("/v1/me"), PeerReply::only(PeerReply::Delivery::Never));
}

bool Desk::holdQueue(const QJsonArray& queue) {
    QJsonObject state = controller->durableState();
    state.insert(u"queue", queue);
    controller->applyDurable(state);
    peer.forgetRequests();
    return controller->persist();
}

QJsonObject Desk::stored() {
    peer.goOffline();
    Controller second;
    second.connectServer(peer.url());
    const bool answered = QTest::qWaitFor([&second] { return !second.busy(); });
    peer.goOnline();
    return answered && second.secureStorage() ? second.durableState() : QJsonObject();
}
