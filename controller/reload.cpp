// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/logging.h"
#include "vault/sealedblob.h"

#include <QNetworkInformation>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

/// How long the periodic reloads pause after one, two, three and more of them in
/// a row were given up. Each of those keeps a person from starting a timer for the
/// 12 s of its time-out: with these pauses less than a tenth of the time.
constexpr std::array pausesMs{30000, 60000, 150000, 300000};

/// A longer one would fill the record: no change could be saved beside it any more.
constexpr qsizetype largestSnapshot = largestReadableText - 2'097'152;

} // namespace

void Controller::synchronize() {
    resumeReloads();
    takeSyncStep(false);
}

void Controller::syncPeriodically() {
    const bool paused = !hasPendingHead() && m_reloadPause.isActive();
    if (!m_syncing && !paused) {
        takeSyncStep(true);
    }
}

void Controller::takeSyncStep(bool periodic) {
    if (m_busy || m_link.address().isEmpty() || m_document.signedOut || m_readOnly) {
        qCDebug(controllerLog) << "sync step skipped: busy" << m_busy << "address"
                               << !m_link.address().isEmpty() << "signed out" << m_document.signedOut
                               << "read-only" << m_readOnly;
        return;
    }
    qCDebug(controllerLog) << "sync step: waiting" << m_document.queue.size() << "head pending"
                           << hasPendingHead() << "storage" << queueReady();
    // Work that waits long must not be the last to learn that its file has gone.
    if (periodic && !m_document.queue.isEmpty() && secureStorage() && !persist()) {
        return;
    }
    if (!m_document.queue.isEmpty()) {
        nextMutation();
    }
    // What stands against a refused change goes on changing at the server.
    if (!hasPendingHead()) {
        reload(periodic);
    }
}

void Controller::refresh() {
    if (!m_busy) {
        loadWorkspace();
    }
}

void Controller::loadWorkspace() {
    reload(false);
}

void Controller::reload(bool periodic) {
    if (m_document.workspace.isEmpty()) {
        return;
    }
    begin(periodic);
    const Load load{m_document.workspace, ++m_loads, m_acknowledgements, periodic};
    const QString path = u"/sync/snapshot?workspace_id="_s + m_document.workspace;
    const auto take = [this, load](const QJsonObject& reply, int status) {
        if (isOvertaken(load)) {
            return;
        }
        if (status != 200) {
            noteReload(load, false);
            projectQueue();
            fail(u"Server unavailable. Encrypted cached data retained."_s);
            return;
        }
        if (isOutdated(load)) {
            reload(load.periodic);
            return;
        }
        const QJsonObject shownTimer = m_view.timer();
        m_document.snapshot = reply;
        m_snapshotWorkspace = reply.value(u"workspace_id").toString(load.workspace);
        projectQueue();
        if (m_view.timer() != shownTimer) {
            Q_EMIT changed(); // who presses to stop or start means the timer on the screen
        }
        loadTimer(load);
    };
    m_link.send({"GET", path, {}, {}, token(), m_document.snapshot, largestSnapshot}, take);
}

void Controller::loadTimer(const Load& load) {
    send("GET", u"/me/timer"_s, {}, [this, load](const QJsonObject& reply, int status) {
        if (isOvertaken(load)) {
            return;
        }
        if (isOutdated(load)) {
            reload(load.periodic);
            return;
        }
        if (status == 200) {
            m_document.timer = reply.value(u"timer").toObject();
        }
        noteReload(load, !m_link.timedOut());
        finishLoading();
    });
}

bool Controller::isOvertaken(const Load& load) const {
    return load.number != m_loads || load.workspace != m_document.workspace;
}

bool Controller::isOutdated(const Load& load) const {
    return load.acknowledgements != m_acknowledgements;
}

void Controller::finishLoading() {
    m_busy = false;
    projectQueue();
    m_message =
        m_document.queue.isEmpty() ? u"Connected to PostgreSQL"_s : u"Local changes await acknowledgement"_s;
    m_quotesServer = false;
    // Told only after the save: that can fail, and it can bring the storage back.
    persist();
    Q_EMIT changed();
    Q_EMIT ready();
    if (!m_syncing) {
        nextMutation();
    }
}

void Controller::noteReload(const Load& load, bool succeeded) {
    if (succeeded) {
        resumeReloads();
    } else if (load.periodic && m_link.timedOut()) {
        m_reloadPause.start(pausesMs.at(std::min(m_silentReloads, pausesMs.size() - 1)));
        ++m_silentReloads;
        watchNetwork();
    }
}

void Controller::resumeReloads() {
    m_silentReloads = 0;
    m_reloadPause.stop();
}

void Controller::watchNetwork() {
    // Asked for only now: most programs never need to know.
    if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) {
        return;
    }
    const QNetworkInformation* network = QNetworkInformation::instance();
    connect(network, &QNetworkInformation::reachabilityChanged, this, &Controller::resumeReloads,
            Qt::UniqueConnection);
    connect(network, &QNetworkInformation::transportMediumChanged, this, &Controller::resumeReloads,
            Qt::UniqueConnection);
}
