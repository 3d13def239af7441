// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/support/client.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString lastCopy = u"last-copy-%1.json"_s;

QString tokenOf(const Controller& client) {
    return client.durableState().value(u"auth")[u"token"].toString();
}

/// What the client's list says, as World::closedEntries() has it.
QStringList listed(const Controller& client) {
    QStringList all;
    const QVariantList entries = client.entries();
    for (const QVariant& entry : entries) {
        all.append(World::textOfEntry(entry.toMap()));
    }
    all.sort();
    return all;
}

} // namespace

void Storm::settle() {
    unlockKeyring();
    for (const auto& seat : m_seats) {
        seat->blocker.reset();
        seat->proxy.goOnline();
    }
    std::array<Presser, 2> people;
    for (bool empty = false; !empty;) {
        flowEverywhere();
        empty = true;
        for (quint32 i = 0; i < m_seatCount; ++i) {
            empty = isEmpty(*m_seats[i], people[i]) && empty;
            calm();
        }
        if (!m_ledger->problem().isEmpty()) {
            return;
        }
    }
    for (quint32 i = 0; i < m_seatCount; ++i) {
        Seat& seat = *m_seats[i];
        if (!seat.witness().storedQueue().isEmpty()) {
            m_ledger->blame(u"the record still holds what waits no more"_s);
        }
        seat.witness().checkKey();
        lookAtEntries(seat);
    }
    lookForClearText();
    m_ledger->settle();
}

void Storm::lookForClearText() {
    QStringList secrets;
    for (const auto& seat : m_seats) {
        secrets.append(seat->witness().secrets());
    }
    m_ledger->checkFiles(secrets);
}

bool Storm::isEmpty(Seat& seat, Presser& person) {
    Controller& client = seat.client();
    const DeviceView view = DeviceView::of(client, 0);
    if (view.queue.isEmpty() && view.storage) {
        return true;
    }
    if (person.isTired()) {
        m_ledger->blame(u"no way to an empty queue, with the status: "_s + client.message());
        return false;
    }
    const QString email = m_world.emailOf(client.durableState().value(u"auth")[u"user_id"].toString());
    switch (person.next(view, !email.isEmpty())) {
    case Button::None:
        break;
    case Button::Connect:
        seat.reconnect();
        break;
    case Button::SignInAgain:
        client.renewSession(email, AccountServer::password());
        break;
    case Button::ResendRetained:
        client.resendRetained();
        break;
    case Button::RemoveRetained:
        leaveRefused(seat);
        break;
    case Button::RemovePending:
        leaveByFile(seat);
        break;
    case Button::Synchronize:
        client.synchronize();
        break;
    }
    return false;
}

void Storm::leaveByFile(Seat& seat) {
    const Controller& client = seat.client();
    if (m_world.takes(client.accountId(), tokenOf(client), mutationAt(client, 0))) {
        m_ledger->blame(u"the client sends no more what the server takes, with the status: "_s +
                        client.message());
    }
    ++m_states[u"left by file at the end"_s];
    setAside(seat, lastCopy, &Controller::removePending);
}

void Storm::leaveRefused(Seat& seat) {
    Controller& client = seat.client();
    const auto wouldDo = [&] {
        return !client.retained().isEmpty() &&
               m_world.wouldAccept(client.accountId(), tokenOf(client), mutationAt(client, 0));
    };
    if (!wouldDo()) {
        setAside(seat, lastCopy, &Controller::removeRetained);
        return;
    }
    // Nobody else does anything until it is there; what they did before, a second refusal tells.
    const QJsonObject wish = mutationAt(client, 0);
    const auto isRefused = [&] { return isSameWish(mutationAt(client, 0), wish) && wouldDo(); };
    for (int attempt = 0; attempt < 2 && isRefused(); ++attempt) {
        client.resendRetained();
        calm();
        while (seat.proxy.waiting() > 0 && m_ledger->problem().isEmpty()) {
            flowOn(seat);
            calm();
        }
    }
    if (isRefused()) {
        m_ledger->blame(u"what the server would take is refused when it is sent again"_s);
    }
    ++m_states[u"sent again at the end"_s];
}

void Storm::lookAtEntries(Seat& seat) {
    Controller& client = seat.client();
    seat.reconnect();
    calm();
    flowEverywhere();
    const QString email = m_world.emailOf(client.durableState().value(u"auth")[u"user_id"].toString());
    if (client.sessionRefused() && !email.isEmpty()) {
        client.renewSession(email, AccountServer::password());
        calm();
        flowEverywhere();
    }
    if (client.message() != u"Connected to PostgreSQL"_s) {
        ++m_states[u"not connected at the end"_s];
        return;
    }
    const QStringList expected = m_world.closedEntries(client.accountId(), client.workspace());
    const QString running = client.timer().value(u"id"_s).toString();
    if (listed(client) != expected || running != m_world.runningEntry(client.accountId())) {
        m_ledger->blame(u"the server has other entries than are shown: "_s + expected.join(u", "_s) +
                        u"; shown: "_s + listed(client).join(u", "_s));
    }
}
