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

const QString lastCopy = u"last-copy-%1.json"_s;

QString sizeName(int pending) {
    return pending < 3 ? QString::number(pending) : u"more"_s;
}

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

void Storm::flowEverywhere() {
    for (int i = 0; i < mostRequests; ++i) {
        const auto busy = std::find_if(m_seats.begin(), m_seats.end(),
                                       [](const auto& seat) { return seat->proxy.waiting() > 0; });
        if (busy == m_seats.end()) {
            return;
        }
        (*busy)->proxy.finish(0, FaultProxy::Fault::None, m_dice);
        calm();
    }
    m_ledger->blame(u"the client asks without an end"_s);
}

void Storm::countStates() {
    for (quint32 i = 0; i < m_seatCount; ++i) {
        const Controller& client = m_seats[i]->client();
        const QJsonArray queue = queueOf(client);
        const QString head = queue.isEmpty() ? u"-"_s : queue.first()[u"status"].toString();
        QStringList words{u"queue "_s + sizeName(client.pending()), u"head "_s + head};
        const auto add = [&words](bool holds, const QString& word) {
            if (holds) {
                words.append(word);
            }
        };
        add(client.busy(), u"busy"_s);
        add(client.syncing(), u"syncing"_s);
        add(client.accountSignedIn(), u"signed in"_s);
        add(client.durableState().value(u"signed_out").toBool(), u"signed out"_s);
        add(client.sessionRefused(), u"session refused"_s);
        add(!client.queueReady(), u"no storage"_s);
        add(!client.timer().isEmpty(), u"timer runs"_s);
        ++m_states[words.join(u", "_s)];
    }
}

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
        seat.connectServer();
        break;
    case Button::SignInAgain:
        client.renewSession(email, AccountServer::password());
        break;
    case Button::ResendRetained:
        client.resendRetained();
        break;
    case Button::RemoveRetained:
        setAside(seat, lastCopy, &Controller::removeRetained);
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
    const QJsonObject state = seat.client().durableState();
    const QJsonObject head = mutationOf(state.value(u"queue").toArray().first());
    if (m_world.takes(seat.client().accountId(), state.value(u"auth")[u"token"].toString(), head)) {
        m_ledger->blame(u"the client sends no more what the server takes, with the status: "_s +
                        seat.client().message());
    }
    ++m_states[u"left by file at the end"_s];
    setAside(seat, lastCopy, &Controller::removePending);
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
