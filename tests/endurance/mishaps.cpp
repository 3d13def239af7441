// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/endurance/wrongclock.h"
#include "tests/support/client.h"
#include "tests/support/keyring.h"
#include "tests/vault/vaulthome.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QTest>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// As often does a client show something in what somebody does, and what follows of it.
constexpr int latestMoment = 12;

} // namespace

// The programs

/// The program ends by itself, as often as not right after a press.
void Storm::restart() {
    Seat& here = seat();
    Controller& client = here.client();
    const QString waits = u"The server is being asked; the timer follows as soon as that has ended."_s;
    const bool presses = m_dice.bounded(2) == 0;
    if (presses) {
        toggle(client);
    }
    const bool pressed = presses && client.message() == waits;
    // The end of a program is this whole process's: somebody else's press would wait no more either.
    const bool alone = std::none_of(m_seats.begin(), m_seats.end(), [&here](const auto& other) {
        return other.get() != &here && other->client().busy();
    });
    if (alone) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit");
        if (pressed && client.message() == waits) {
            m_ledger->blame(u"what was pressed was forgotten at the program's end"_s);
        }
    }
    calm(); // what it still asks for is asked under its own name
    here.restart();
}

void Storm::kill() {
    seat().kill();
}

/// A kill in the middle of what somebody does: in one of the moments in which the client shows something.
void Storm::killWithin() {
    Seat& here = seat();
    const int moment = m_dice.bounded(1, latestMoment);
    here.keepFilesAt(moment);
    actAnyhow(here.client());
    calm();
    while (!here.hasKeptFiles() && here.proxy.waiting() > 0) {
        here.proxy.finish(0, FaultProxy::Fault::None, m_dice);
        calm();
    }
    m_detail += here.hasKeptFiles() ? u" at change %1"_s.arg(moment) : u" at the end"_s;
    here.die();
}

void Storm::actAnyhow(Controller& client) {
    const QString email = m_dice.bounded(2) == 0 ? AccountServer::eli() : AccountServer::dana();
    const std::array<std::pair<const char*, std::function<void()>>, 7> acts{{
        {"manual", [&] { addManual(client); }},
        {"start", [&] { client.start(freshText(), anyProject(client), false); }},
        {"stop", [&] { client.stop(); }},
        {"toggle", [&] { client.toggleTimer(freshText(), {}, false); }},
        {"sync", [&] { client.synchronize(); }},
        {"sign-in", [&] { client.loginAccount(email, AccountServer::password()); }},
        {"resend", [&] { client.resendRetained(); }},
    }};
    const auto& [name, act] =
        acts.at(static_cast<std::size_t>(m_dice.bounded(static_cast<int>(acts.size()))));
    m_detail = QString::fromLatin1(name);
    act();
}

/// It gets nothing of the vault that is in use, and all of it when the first has ended.
void Storm::startSecondProgram() {
    Seat& here = seat();
    const QString url = here.proxy.url();
    if (!here.client().secureStorage()) {
        return skip();
    }
    const QByteArray record = sealedRecord(url);
    auto second = std::make_unique<Controller>();
    second->connectServer(url);
    const bool answered = QTest::qWaitFor([&] { return !second->busy() || second->secureStorage(); });
    addManual(*second);
    second->synchronize();
    const bool asked = !networkOf(*second).findChildren<QNetworkReply*>().isEmpty();
    if (!answered || asked || second->secureStorage() || second->pending() > 0 ||
        sealedRecord(url) != record) {
        m_ledger->blame(u"two programs have one vault"_s);
    }
    if (m_dice.bounded(2) == 0) {
        m_detail = u"takes over"_s;
        here.leave();
        here.begin(std::move(second));
        here.connectServer();
        calm();
        if (!here.client().secureStorage() && !m_keyringLocked) {
            m_ledger->blame(u"the vault of a program that has ended is not the next one's"_s);
        }
    }
}

void Storm::startSecondDevice() {
    if (m_seatCount > 1) {
        return skip();
    }
    m_seatCount = 2;
    connectAnew(*m_seats[1]);
    flowEverywhere();
    if (m_dice.bounded(3) > 0) {
        m_seats[1]->client().loginAccount(AccountServer::dana(), AccountServer::password());
    }
}

// The device and the server

void Storm::refuseSaves() {
    Seat& here = seat();
    if (here.blocker || !here.client().secureStorage()) {
        return skip();
    }
    here.blocker = std::make_unique<SaveBlocker>(here.proxy.url());
}

void Storm::allowSaves() {
    Seat& here = seat();
    if (!here.blocker) {
        return skip();
    }
    here.blocker.reset();
}

void Storm::loseKey() {
    Seat& here = seat();
    if (m_keyringLocked || !here.client().secureStorage() || sealedRecord(here.proxy.url()).isEmpty()) {
        return skip();
    }
    const QByteArray key = here.witness().key();
    const bool deleted = VaultHome::deleteKey(here.proxy.url());
    here.restart();
    calm();
    const bool opened = here.client().secureStorage();
    const bool made = !VaultHome::storedKey(here.proxy.url()).isEmpty();
    if (!deleted || opened || made || !VaultHome::storeKey(here.proxy.url(), key)) {
        m_ledger->blame(u"a record without its key was given another"_s);
    }
    here.restart();
}

bool Storm::takesWrite(Controller& client) {
    client.start(freshText(), {}, false);
    return client.pending() > 0 || client.message() == savedSentence();
}

void Storm::lockKeyring() {
    Seat& here = seat();
    if (m_keyringLocked || !here.client().secureStorage()) {
        return skip();
    }
    m_keyringLocked = keyring::lock();
    here.restart();
    calm();
    if (!m_keyringLocked || here.client().secureStorage() || takesWrite(here.client())) {
        m_ledger->blame(u"a locked keyring was opened"_s);
    }
}

void Storm::unlockKeyring() {
    if (!m_keyringLocked) {
        return skip();
    }
    if (!keyring::unlock()) {
        m_ledger->blame(u"the keyring cannot be unlocked"_s);
    }
    m_keyringLocked = false;
}

void Storm::jumpClock() {
    const qint64 error = WrongClock::errors().at(m_dice.bounded(WrongClock::errors().size()));
    m_detail = QString::number(error);
    WrongClock::set(error);
}

void Storm::damageRecord() {
    Seat& here = seat();
    const QString url = here.proxy.url();
    if (!here.client().secureStorage() || here.blocker || sealedRecord(url).isEmpty()) {
        return skip();
    }
    const QByteArray record = sealedRecord(url);
    QByteArray damaged = record;
    const qsizetype at = m_dice.bounded(4, static_cast<int>(record.size()));
    damaged[at] = static_cast<char>(damaged.at(at) ^ (1 << m_dice.bounded(8)));
    here.leave();
    replaceSealedRecord(url, damaged);
    here.begin();
    here.connectServer();
    calm();
    if (here.client().queueReady() || takesWrite(here.client()) || sealedRecord(url) != damaged) {
        m_ledger->blame(u"a record that cannot be read was taken or replaced"_s);
    }
    here.leave();
    replaceSealedRecord(url, record);
    here.begin();
    here.connectServer();
}

/// What it has answered it has kept, whether the answer still comes or not.
void Storm::killServer() {
    Seat* here = seatWithRequests();
    const int index = here ? m_dice.bounded(static_cast<int>(here->proxy.waiting())) : 0;
    if (here) {
        m_detail = here->proxy.at(index).path();
        here->proxy.serve(index);
    }
    if (!m_world.restart()) {
        m_ledger->blame(u"the server does not start again"_s);
    }
    if (here && m_dice.bounded(2) == 0) {
        m_detail += u" lost"_s;
        here->proxy.finish(index, FaultProxy::Fault::LostReply, m_dice);
    }
}

void Storm::editElsewhere() {
    const QStringList entities = m_world.entities();
    if (entities.isEmpty()) {
        return skip();
    }
    m_world.editEntry(entities.at(m_dice.bounded(static_cast<int>(entities.size()))));
}

void Storm::startElsewhere() {
    withWorkspaces(&World::startTimer);
}

void Storm::closePeriods() {
    withWorkspaces(&World::closePeriods);
}

void Storm::withWorkspaces(void (World::*act)(const QString& user)) {
    const QString user = seat().client().accountId();
    if (m_world.workspacesOf(user).isEmpty()) {
        return skip();
    }
    (m_world.*act)(user);
}

void Storm::reopenPeriods() {
    m_world.reopenPeriods();
}

void Storm::endSessions() {
    m_world.endSessions();
}
