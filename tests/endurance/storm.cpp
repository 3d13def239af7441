// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/endurance/damage.h"
#include "tests/endurance/wrongclock.h"
#include "tests/support/client.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int stepsBetweenLooks = 10;
/// A network that answers everything comes to an end long before.
constexpr int mostRequests = 500;
/// Rounds of the event loop in which nothing moved.
constexpr int restfulRounds = 3;
/// Longer than any history takes on a busy machine.
constexpr int longestMs = 300000;

} // namespace

Storm::Storm(World& world) : m_world(world) {
    for (auto& seat : m_seats) {
        seat = std::make_unique<Seat>(world);
    }
}

QString Storm::run(const History& history) {
    begin();
    for (const Step& step : history) {
        take(step);
        if (!m_ledger->problem().isEmpty()) {
            break;
        }
    }
    if (m_ledger->problem().isEmpty()) {
        settle();
    }
    m_writes += m_ledger->size();
    for (const auto& seat : m_seats) {
        seat->leave();
    }
    return m_ledger->problem();
}

void Storm::begin() {
    startClean();
    m_world.empty();
    m_ledger = std::make_unique<Ledger>(m_world);
    m_folder = std::make_unique<QTemporaryDir>();
    m_seatCount = 1;
    m_texts = 0;
    m_files = 0;
    m_taken = 0;
    m_end.setRemainingTime(longestMs);
    WrongClock::set(0);
    unlockKeyring();
    for (auto& seat : m_seats) {
        seat->empty(*m_ledger);
        static_cast<void>(seat->witness().key()); // where there is one, it stays
    }
    connectAnew(*m_seats[0]);
}

void Storm::connectAnew(Seat& seat) {
    for (int i = 0; i < 2; ++i) {
        seat.connectServer();
        calm();
    }
    static_cast<void>(seat.witness().key());
}

void Storm::take(const Step& step) {
    const Action& action = actions().at(static_cast<std::size_t>(step.action));
    m_dice.seed(step.chance);
    m_detail.clear();
    m_skipped = false;
    (this->*action.act)();
    calm();
    if (++m_taken % stepsBetweenLooks == 0) {
        lookForClearText();
    }
    if (!m_skipped) {
        ++m_steps[QString::fromLatin1(action.name)];
    }
    countStates();
    if (m_tellsAll) {
        QTextStream(stderr) << action.name << ':' << step.chance << "  "
                            << (m_skipped ? u"nothing"_s : m_detail) << "  " << m_seats[0]->client().message()
                            << "  [" << requests().join(u' ') << "]\n";
    }
}

QStringList Storm::requests() const {
    QStringList all;
    for (const auto& seat : m_seats) {
        for (qsizetype i = 0; i < seat->proxy.waiting(); ++i) {
            all.append(Damage::nameOf(seat->proxy.at(i).path()));
        }
    }
    return all;
}

bool Storm::isAtRest() const {
    return std::all_of(m_seats.begin(), m_seats.end(), [](const auto& seat) { return seat->isAtRest(); });
}

void Storm::calm() {
    int restful = 0;
    while (restful < restfulRounds) {
        if (m_end.hasExpired()) {
            m_ledger->blame(u"the client does not come to rest"_s);
            return;
        }
        QCoreApplication::processEvents();
        // No event loop runs that would do it.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (isAtRest()) {
            ++restful;
        } else {
            restful = 0;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }
    for (const auto& seat : m_seats) {
        seat->noteRest();
    }
}

void Storm::flowOn(Seat& here) {
    for (qsizetype i = 0; i < here.proxy.waiting(); ++i) {
        if (!here.proxy.at(i).stalled) {
            here.proxy.finish(i, FaultProxy::Fault::None, m_dice);
            return;
        }
    }
    static_cast<void>(here.passTimeout()); // what has stalled the client has to end
}

void Storm::flowEverywhere() {
    for (int i = 0; i < mostRequests; ++i) {
        const auto busy = std::find_if(m_seats.begin(), m_seats.end(),
                                       [](const auto& seat) { return seat->proxy.waiting() > 0; });
        if (busy == m_seats.end()) {
            return;
        }
        flowOn(**busy);
        calm();
    }
    m_ledger->blame(u"the client asks without an end"_s);
}

void Storm::countStates() {
    for (quint32 i = 0; i < m_seatCount; ++i) {
        const Controller& client = m_seats[i]->client();
        QStringList words = DeviceView::of(client, 0).state();
        if (client.durableState().value(u"signed_out").toBool()) {
            words.append(u"signed out"_s);
        }
        if (!client.timer().isEmpty()) {
            words.append(u"timer runs"_s);
        }
        ++m_states[words.join(u", "_s)];
    }
}

QMap<QString, int> Storm::sumOf(const QMap<QString, int>& (FaultProxy::*counts)() const) const {
    QMap<QString, int> all;
    for (const auto& seat : m_seats) {
        const QMap<QString, int>& some = (seat->proxy.*counts)();
        for (auto it = some.begin(); it != some.end(); ++it) {
            all[it.key()] += it.value();
        }
    }
    return all;
}
