// SPDX-License-Identifier: MIT
#include "tests/endurance/seat.h"

#include "tests/support/client.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <qt6keychain/keychain.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int periodMs = 15000;
constexpr int shortestTimeoutMs = 10000;
constexpr int longestTimeoutMs = 12000;
constexpr int deadlineMs = 120000;
/// Nothing that a storm does takes so long: time passes when it says so.
constexpr int neverMs = 86400000;

QList<QNetworkReply*> openReplies(const Controller& controller) {
    QList<QNetworkReply*> replies = networkOf(controller).findChildren<QNetworkReply*>();
    replies.removeIf([](const QNetworkReply* reply) { return reply->isFinished(); });
    return replies;
}

void fire(QTimer* timer) {
    QMetaObject::invokeMethod(timer, "timeout");
}

} // namespace

Seat::Seat(const World& world) {
    proxy.forwardTo(world.url());
    proxy.namePeople(world.people());
    proxy.arrived = [this](const PeerRequest& request) { m_witness->seeRequest(request); };
    proxy.told = [this](const PeerRequest& request, int status, const QJsonObject& reply) {
        m_witness->seeReply(request, status, reply);
    };
}

QStringList Seat::files() const {
    const QString file = vaultFile(proxy.url());
    return {file, file + u"-wal"_s, file + u"-shm"_s};
}

void Seat::empty(Ledger& ledger) {
    leave();
    proxy.beginAnew();
    const QStringList all = files();
    for (const QString& file : all) {
        QFile::remove(file);
    }
    m_witness = std::make_unique<Witness>(proxy, ledger);
    begin();
}

void Seat::leave() {
    blocker.reset();
    m_controller.reset();
}

void Seat::begin() {
    begin(std::make_unique<Controller>());
}

void Seat::begin(std::unique_ptr<Controller> program) {
    m_controller = std::move(program);
    const QList<QTimer*> timers = m_controller->findChildren<QTimer*>(Qt::FindDirectChildrenOnly);
    m_period = *std::find_if(timers.begin(), timers.end(),
                             [](const QTimer* timer) { return timer->interval() == periodMs; });
    m_period->setInterval(neverMs);
    m_witness->watch(m_controller.get());
}

void Seat::restart() {
    leave();
    begin();
    connectServer();
}

void Seat::kill() {
    keepFilesAt(0);
    die();
}

void Seat::keepFilesAt(int change) {
    blocker.reset(); // its trigger is none of what a kill would leave
    m_changesLeft = change;
    const auto count = [this] {
        if (m_changesLeft > 0 && --m_changesLeft == 0) {
            keepFiles();
        }
    };
    QObject::connect(m_controller.get(), &Controller::changed, m_controller.get(), count);
    if (change == 0) {
        keepFiles();
    }
}

void Seat::keepFiles() {
    m_changesLeft = 0;
    const QStringList all = files();
    for (const QString& file : all) {
        QFile::remove(file + u".kept"_s);
        QFile::copy(file, file + u".kept"_s);
    }
    m_witness->lookAway();
}

void Seat::die() {
    if (!hasKeptFiles()) {
        keepFiles();
    }
    leave();
    const QStringList all = files();
    for (const QString& file : all) {
        QFile::remove(file);
        QFile::rename(file + u".kept"_s, file);
    }
    begin();
    connectServer();
}

void Seat::connectServer() {
    m_controller->connectServer(proxy.url());
}

void Seat::reconnect() {
    if (!m_controller->busy() && !m_controller->syncing()) {
        m_witness->seeConnect();
    }
    connectServer();
}

bool Seat::isAtRest() const {
    if (!m_controller) {
        return proxy.waiting() == 0;
    }
    const QList<QNetworkReply*> open = openReplies(*m_controller);
    const auto wereOpen = std::count_if(
        open.begin(), open.end(), [this](const QNetworkReply* reply) { return m_waited.contains(reply); });
    // One that was given up is still there until its connection has ended.
    // Nor is there rest while one that has arrived is being read.
    const qsizetype all = networkOf(*m_controller).findChildren<QNetworkReply*>().size();
    return all == open.size() && open.size() == proxy.waiting() && proxy.arranged() <= wereOpen &&
           !m_controller->findChild<QKeychain::Job*>();
}

void Seat::noteRest() {
    m_waited.clear();
    if (m_controller) {
        const QList<QNetworkReply*> open = openReplies(*m_controller);
        m_waited = QSet<const QNetworkReply*>(open.begin(), open.end());
    }
    proxy.arrange();
    m_witness->seeRest(proxy.waiting());
}

void Seat::passPeriod() {
    fire(m_period);
}

int Seat::passTimers(int shortestMs, int longestMs) {
    int passed = 0;
    const QList<QNetworkReply*> replies = openReplies(*m_controller);
    for (const QNetworkReply* reply : replies) {
        const QList<QTimer*> timers = reply->findChildren<QTimer*>();
        const auto timer = std::find_if(timers.begin(), timers.end(), [&](const QTimer* candidate) {
            return candidate->interval() >= shortestMs && candidate->interval() <= longestMs;
        });
        if (timer != timers.end()) {
            fire(*timer);
            ++passed;
        }
    }
    return passed;
}

bool Seat::passTimeout() {
    const qsizetype open = openReplies(*m_controller).size();
    if (passTimers(shortestTimeoutMs, longestTimeoutMs) < open) {
        m_witness->blame(u"a request would wait without an end"_s);
    }
    return open > 0;
}

bool Seat::passDeadline() {
    return passTimers(deadlineMs, deadlineMs) > 0;
}

bool Seat::passPause() {
    bool passed = false;
    const QList<QTimer*> timers = m_controller->findChildren<QTimer*>(Qt::FindDirectChildrenOnly);
    for (QTimer* timer : timers) {
        if (timer->isSingleShot() && timer->isActive()) {
            timer->stop();
            passed = true;
        }
    }
    return passed;
}
