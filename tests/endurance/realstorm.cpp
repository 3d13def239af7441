// SPDX-License-Identifier: MIT
#include "tests/endurance/realstorm.h"

#include "tests/endurance/importfile.h"
#include "tests/endurance/witness.h"
#include "tests/endurance/wrongclock.h"
#include "tests/support/keyring.h"
#include "tests/vault/vaulthome.h"

#include <QByteArrayList>
#include <QDir>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonDocument>
#include <QTest>
#include <QThread>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int fewestSteps = 12;
constexpr int mostSteps = 40;
/// A save takes some milliseconds, a push and its answer as well.
constexpr int longestBeforeAKillMs = 25;
constexpr quint32 usPerMs = 1000;
/// What the window lets a request take.
constexpr int requestMs = 12000;
constexpr int requestsForAFault = 8;

const QString loginPath = u"/v1/auth/login"_s;
const QString logoutPath = u"/v1/auth/logout"_s;

/// Those items that both queues have, in the order of the first and whatever the server said of them.
QJsonArray common(const QJsonArray& queue, const QJsonArray& other) {
    QJsonArray items;
    for (const auto& item : queue) {
        if (contains(other, item)) {
            items.append(QJsonObject{{u"mutation"_s, mutationOf(item)}});
        }
    }
    return items;
}

/// The removed item of which this change was made; the end when there is none.
QJsonArray::const_iterator formerOf(const QJsonObject& mutation, const QJsonArray& removed) {
    return std::find_if(removed.begin(), removed.end(), [&mutation](const QJsonValue& other) {
        return isSameWish(mutationOf(other), mutation);
    });
}

} // namespace

RealStorm::RealStorm(World& world) : m_world(world) {
    for (Place& place : m_places) {
        place.front.forwardTo(world.url());
        place.front.namePeople(world.people());
        place.front.arrived = [this, &place](const PeerRequest& request) { seeRequest(place, request); };
        place.front.told = [&place](const PeerRequest& request, int status, const QJsonObject&) {
            place.signedOut = place.signedOut && (request.path != loginPath || status != 200);
        };
    }
}

QMap<QString, int> RealStorm::faults() const {
    QMap<QString, int> all;
    for (const Place& place : m_places) {
        const QMap<QString, int>& some = place.front.counts();
        for (auto it = some.begin(); it != some.end(); ++it) {
            all[it.key()] += it.value();
        }
    }
    return all;
}

QString RealStorm::run(quint32 seed) {
    m_dice.seed(seed);
    begin();
    for (Place& place : m_places) {
        place.weather.change(m_dice.generate(), requestsForAFault);
    }
    const int steps = m_dice.bounded(fewestSteps, mostSteps);
    for (int i = 0; i < steps && m_ledger->problem().isEmpty(); ++i) {
        takeStep();
    }
    if (m_ledger->problem().isEmpty()) {
        settle();
    }
    m_writes += m_ledger->size();
    for (Place& place : m_places) {
        place.device.reset();
    }
    return m_ledger->problem();
}

void RealStorm::begin() {
    m_story.clear();
    m_texts = 0;
    m_world.empty();
    m_ledger = std::make_unique<Ledger>(m_world);
    m_folder = std::make_unique<QTemporaryDir>();
    for (Place& place : m_places) {
        place.queue = {};
        place.message.clear();
        place.weather.change(0, 0);
        place.front.beginAnew();
        place.requests.clear();
        place.signedOut = false;
        place.device = std::make_unique<Device>(place.front.url());
        place.device->told = [this, &place](const DeviceView& view) { see(place, view); };
        place.device->start();
        // A key without its record is told of first.
        static_cast<void>(place.device->isCalm());
        place.device->act(u"connect "_s + place.front.url());
        static_cast<void>(place.device->isCalm());
    }
}

void RealStorm::note(const QString& event) {
    m_story.append(event);
    ++m_events[event.section(u' ', 0, 0)];
}

QString RealStorm::draw() {
    const QString text = u"real-%1-%2"_s.arg(++m_texts).arg(m_dice.bounded(20));
    const QString place = QString::number(m_dice.bounded(20));
    const QString email = m_dice.bounded(3) == 0 ? AccountServer::eli() : AccountServer::dana();
    const QString file = m_folder->filePath(u"copy-%1.json"_s.arg(m_texts));
    const QStringList all{
        u"manual "_s + text,
        u"manual "_s + text,
        u"manual "_s + text,
        u"start "_s + text,
        u"start "_s + text,
        u"stop"_s,
        u"stop"_s,
        u"toggle "_s + text,
        u"edit "_s + text,
        u"edit "_s + text,
        u"delete "_s + place,
        u"undo"_s,
        u"continue "_s + place,
        u"sync"_s,
        u"sync"_s,
        u"refresh"_s,
        u"sign-in "_s + email,
        u"sign-in "_s + email,
        u"sign-out"_s,
        u"renew "_s + email,
        u"resend"_s,
        u"remove-retained "_s + file,
        u"remove-pending "_s + file,
        u"move "_s + place,
        u"workspace "_s + place,
        u"report summary"_s,
        u"report detailed"_s,
        u"download "_s + file + u".csv"_s,
        u"import"_s,
        u"apply-import"_s,
        u"apply-import"_s,
        u"pause-import"_s,
    };
    return all.at(m_dice.bounded(int(all.size())));
}

void RealStorm::takeStep() {
    Place& place = m_places.at(m_dice.bounded(3) == 0 ? 1 : 0);
    Device& device = *place.device;
    const bool befalls = m_dice.bounded(4) == 0;
    // What is worth a kill is a write.
    QString what = befalls && m_dice.bounded(2) == 0 ? u"manual real-%1-0"_s.arg(++m_texts) : draw();
    if (what == u"import"_s) {
        what = importFor(device);
    }
    note(what);
    device.act(what);
    if (befalls) {
        QTest::qWait(m_dice.bounded(longestBeforeAKillMs)); // requests go on meanwhile
        QThread::usleep(m_dice.bounded(usPerMs));
        befall(device);
    } else if (!device.hasAnswered()) {
        m_ledger->blame(u"the client does not answer"_s);
    }
    if (m_dice.bounded(3) > 0 && !device.isCalm()) {
        m_ledger->blame(u"the client does not come to rest: "_s + device.view().message);
    }
    if (!device.isRunning()) {
        m_ledger->blame(u"the client has ended by itself: "_s + device.end());
    }
    ++m_states[device.view().state().join(u", "_s)];
}

void RealStorm::kill(Device& device) {
    if (!device.kill()) {
        m_ledger->blame(u"the client has ended by itself: "_s + device.end());
    }
}

QString RealStorm::importFor(Device& device) {
    // Whose it is must not change until it is read.
    if (!device.isCalm() || !m_world.workspacesOf(device.view().account).contains(device.view().workspace)) {
        return u"sync"_s;
    }
    const QString label = World::importLabel(device.view().account, device.view().workspace) +
                          QString::number(m_dice.bounded(2));
    const QString fileName = m_folder->filePath(label + u".csv"_s);
    if (!writeImport(fileName, label)) {
        m_ledger->blame(u"no file can be written"_s);
    }
    return u"import "_s + fileName;
}

void RealStorm::befall(Device& device) {
    const int which = m_dice.bounded(24);
    if (which < 9) {
        note(u"kill-client"_s);
        kill(device);
        m_ledger->checkFiles({});
        device.start();
    } else if (which < 15) {
        restartServer();
    } else if (which < 16) {
        lockKeyring(device);
    } else if (which < 18 && Device::canSetClock()) {
        const qint64 error = WrongClock::errors().at(m_dice.bounded(int(WrongClock::errors().size())));
        note(u"clock %1"_s.arg(error));
        device.setClock(error);
    } else {
        befallElsewhere(device.view().account);
    }
}

void RealStorm::befallElsewhere(const QString& account) {
    const int which = m_dice.bounded(6);
    const QStringList entities = m_world.entities();
    if (which < 2) {
        if (!entities.isEmpty()) {
            note(u"edit-elsewhere"_s);
            m_world.editEntry(entities.at(m_dice.bounded(int(entities.size()))));
        }
    } else if (which < 4) {
        note(u"end-sessions"_s);
        m_world.endSessions();
    } else if (which < 5) {
        if (!m_world.workspacesOf(account).isEmpty()) {
            note(u"close-periods"_s);
            m_world.closePeriods(account);
        }
    } else {
        note(u"reopen-periods"_s);
        m_world.reopenPeriods();
    }
}

void RealStorm::restartServer() {
    if (!m_stopped) {
        note(u"kill-server"_s);
        m_world.kill();
        m_stopped = true;
    }
    // It stays away for a while as often as not.
    if (m_dice.bounded(2) == 0) {
        note(u"start-server"_s);
        m_stopped = !m_world.startAgain();
    }
}

void RealStorm::lockKeyring(Device& device) {
    note(u"lock-keyring"_s);
    if (!keyring::lock()) {
        m_ledger->blame(u"the keyring cannot be locked"_s);
    }
    kill(device);
    device.start();
    const QString text = u"manual real-locked-%1"_s.arg(++m_texts);
    device.act(text);
    const bool calm = device.isCalm();
    if (!calm || device.view().storage || !device.view().queue.isEmpty()) {
        m_ledger->blame(u"a locked keyring was opened, with the status: "_s + device.view().message);
    }
    if (!keyring::unlock()) {
        m_ledger->blame(u"the keyring cannot be unlocked"_s);
    }
    device.act(u"connect "_s + device.server());
}

void RealStorm::see(Place& place, const DeviceView& view) {
    const bool saidSaved = view.message == savedSentence() && view.message != place.message;
    place.signedOut = place.signedOut || (saysSignedOut(view.message) && view.message != place.message);
    place.message = view.message;
    if (!view.storage) { // not read yet, or not to be read now
        if (saidSaved) {
            m_ledger->blame(u"something was recorded though the record was not read"_s);
        }
        return;
    }
    const QJsonArray before = place.queue;
    place.queue = view.queue;
    bool grew = false;
    QJsonObject again;
    QJsonArray removed;
    std::copy_if(before.begin(), before.end(), std::back_inserter(removed),
                 [&view](const QJsonValue& item) { return !contains(view.queue, item); });
    for (const auto& item : std::as_const(view.queue)) {
        if (!contains(before, item)) {
            grew = true;
            if (formerOf(mutationOf(item), removed) != removed.end()) {
                again = mutationOf(item);
            }
            seeNewItem(place, item.toObject(), removed);
        }
    }
    if (saidSaved && !grew) {
        m_ledger->blame(u"somebody was told that something was saved, but nothing was"_s);
    }
    if (!isInOrder(common(view.queue, before), common(before, view.queue), again)) {
        m_ledger->blame(u"the queue is not in the order in which it was recorded"_s);
    }
}

void RealStorm::seeRequest(Place& place, const PeerRequest& request) {
    place.requests.append(request);
    if (place.signedOut && request.path != loginPath && request.path != logoutPath) {
        m_ledger->blame(u"a request after the sign-out: "_s + request.path);
    }
}

void RealStorm::seeNewItem(const Place& place, const QJsonObject& item, const QJsonArray& removed) {
    const QJsonObject mutation = mutationOf(item);
    if (m_ledger->knows(idOf(mutation))) {
        m_ledger->blame(u"a change waits again that had left the queue: "_s + idOf(mutation));
        return;
    }
    const auto former = formerOf(mutation, removed);
    if (former != removed.end()) {
        m_ledger->recordAgain(*former, mutation);
    } else {
        const QString& account = place.device->view().account;
        m_ledger->record(account, mutation, place.front.misnamed(account));
    }
}

void RealStorm::readFiles() {
    const QFileInfoList files = QDir(m_folder->path()).entryInfoList({u"*.json"_s}, QDir::Files);
    for (const QFileInfo& info : files) {
        const QJsonArray copied = queueIn(info.filePath());
        for (const auto& item : copied) {
            m_ledger->recordInFile(mutationOf(item));
        }
    }
}

void RealStorm::checkPushes(const Place& place) {
    for (const PeerRequest& request : place.requests) {
        if (request.path == u"/v1/sync/push"_s) {
            m_ledger->recordPush(request);
        }
    }
}

void RealStorm::checkSessions(const Place& place) {
    QByteArrayList sessions;
    for (const PeerRequest& request : place.requests) {
        const QByteArray session = request.headers.value("authorization");
        if (session.isEmpty() || request.path == logoutPath || sessions.value(0) == session) {
            continue;
        }
        if (sessions.contains(session)) {
            m_ledger->blame(u"a request of a former session: "_s + request.path);
        }
        sessions.prepend(session);
    }
}

QString RealStorm::token(const Device& device) {
    const QString& server = device.server();
    return storedState(server, VaultHome::storedKey(server)).value(u"auth")[u"token"].toString();
}

void RealStorm::checkFiles(const Place& place) {
    const QString secret = token(*place.device);
    m_ledger->checkFiles(secret.isEmpty() ? QStringList() : QStringList{secret});
}

void RealStorm::settle() {
    if (m_stopped && !m_world.startAgain()) {
        m_ledger->blame(u"the server does not start again"_s);
    }
    m_stopped = false;
    for (Place& place : m_places) {
        place.weather.change(0, 0);
        place.device->setClock(0);
        place.person = {};
    }
    for (bool empty = false; !empty && m_ledger->problem().isEmpty();) {
        empty = true;
        for (Place& place : m_places) {
            empty = isEmpty(place) && empty;
        }
    }
    for (Place& place : m_places) {
        checkFiles(place);
        if (!place.device->quit()) {
            m_ledger->blame(u"the client does not end"_s);
        }
        checkPushes(place);
        checkSessions(place);
    }
    readFiles();
    m_ledger->settle();
}

bool RealStorm::isEmpty(Place& place) {
    Device& device = *place.device;
    const DeviceView& view = device.view();
    QElapsedTimer clock;
    clock.start();
    if (!device.isCalm()) {
        m_ledger->blame(u"the client does not come to rest: "_s + view.message);
    }
    if (clock.hasExpired(requestMs)) {
        place.person.waitedInVain();
    }
    if (!device.isRunning()) {
        m_ledger->blame(u"the client has ended by itself: "_s + device.end());
        return false;
    }
    if (view.storage && view.queue.isEmpty()) {
        return true;
    }
    if (place.person.isTired()) {
        m_ledger->blame(u"no way to an empty queue, with the status: "_s + view.message);
        return false;
    }
    const QString email = m_world.emailOf(view.account);
    const QString copy = m_folder->filePath(u"last-copy-%1.json"_s.arg(++m_texts));
    const QHash<Button, QString> acts{
        {Button::Connect, u"connect "_s + device.server()},
        {Button::SignInAgain, u"renew "_s + email},
        {Button::ResendRetained, u"resend"_s},
        {Button::RemoveRetained, u"remove-retained "_s + copy},
        {Button::RemovePending, u"remove-pending "_s + copy},
        {Button::Synchronize, u"sync"_s},
    };
    const Button button = place.person.next(view, !email.isEmpty());
    if (button == Button::RemovePending) {
        if (m_world.takes(view.account, token(device), mutationOf(view.queue.first()))) {
            m_ledger->blame(u"the client sends no more what the server takes, with the status: "_s +
                            view.message);
        }
        ++m_events[u"left-by-file-at-the-end"_s];
    }
    if (acts.contains(button)) {
        device.act(acts.value(button));
    }
    return false;
}
