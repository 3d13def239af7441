// SPDX-License-Identifier: MIT
#include "tests/support/desk.h"

#include "tests/support/client.h"
#include "tests/vault/vaulthome.h"
#include "vault/vault.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

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
    peer.answer("GET", u"/v1/me"_s, PeerReply::only(PeerReply::Delivery::Never));
}

bool Desk::holdQueue(const QJsonArray& queue) {
    QJsonObject state = controller->durableState();
    state.insert(u"queue", queue);
    controller->applyDurable(state);
    peer.forgetRequests();
    return controller->persist();
}

QJsonObject Desk::stored() {
    const QString scope = peer.url();
    const QByteArray text = Vault::unseal(VaultHome::record(scope).mid(4), VaultHome::storedKey(scope),
                                          VaultHome::accountAwareContext(scope));
    return QJsonDocument::fromJson(text).object();
}
