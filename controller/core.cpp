// SPDX-License-Identifier: MIT
#include "controller/controller.h"

#include <QSettings>
#include <QUuid>

namespace {

constexpr int tickMs = 1000;
constexpr int syncMs = 15000;

QString installationId() {
    const QString key = QStringLiteral("device");
    QSettings settings;
    QString id = settings.value(key).toString();
    if (id.isEmpty()) {
        id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        settings.setValue(key, id);
        settings.sync();
    }
    return id;
}

} // namespace

Controller::Controller(QObject* parent)
    : QObject(parent), m_network(this), m_vault(this), m_tickTimer(this), m_syncTimer(this),
      m_deviceId(installationId()), m_reloadPause(this) {
    m_reloadPause.setSingleShot(true);
    connect(this, &Controller::changed, this, &Controller::noticeIdle);
    connect(&m_tickTimer, &QTimer::timeout, this, &Controller::tick);
    m_tickTimer.start(tickMs);
    connect(&m_syncTimer, &QTimer::timeout, this, &Controller::syncPeriodically);
    m_syncTimer.start(syncMs);
    connect(&m_vault, &Vault::unavailable, this, &Controller::fail);
    connect(&m_vault, &Vault::ready, this, &Controller::vaultReady);
}

void Controller::setReadOnly(bool readOnly) {
    m_readOnly = readOnly;
}

void Controller::vaultReady() {
    if (m_vault.recordMissing()) {
        fail(
            QStringLiteral("The encrypted record for this server is missing on this device. Connect again to "
                           "begin anew with the server's data."));
        return;
    }
    bool read = false;
    const QJsonObject state = m_vault.load(&read);
    if (!read) {
        fail(QStringLiteral(
            "Encrypted account/queue could not be authenticated; no identity fallback was attempted"));
        return;
    }
    applyDurable(state);
    Q_EMIT changed();
    if (m_signedOut) {
        fail(QStringLiteral(
            "Signed out. Use personal login, or explicitly reconnect for private development."));
        return;
    }
    fetchIdentity();
}

void Controller::refresh() {
    if (!m_busy) {
        loadWorkspace();
    }
}

void Controller::fail(const QString& text) {
    m_busy = false;
    say(text);
}

void Controller::say(const QString& text) {
    m_message = text;
    Q_EMIT changed();
}

QString Controller::server() const {
    return m_server;
}

QString Controller::message() const {
    return m_message;
}

QString Controller::workspace() const {
    return m_workspace;
}

QString Controller::timezone() const {
    return m_timezone;
}

QVariantList Controller::workspaces() const {
    return m_workspaces.toVariantList();
}

QVariantList Controller::projects() const {
    // The snapshot outlives a change of workspace while the server is away.
    if (m_snapshotWorkspace != m_workspace) {
        return {};
    }
    return m_snapshot.value(u"catalog").toObject().value(u"projects").toArray().toVariantList();
}

QVariantList Controller::reportRows() const {
    return m_reportRows.toVariantList();
}

QVariantMap Controller::timer() const {
    return m_timerView.toVariantMap();
}

QVariantMap Controller::reportTotals() const {
    return m_report.value(u"totals").toObject().toVariantMap();
}

QVariantMap Controller::importPreview() const {
    return m_importPreview.toVariantMap();
}

int Controller::pending() const {
    return static_cast<int>(m_queue.size());
}

bool Controller::syncing() const {
    return m_syncing;
}

bool Controller::busy() const {
    return m_busy;
}

bool Controller::accountSignedIn() const {
    return !m_auth.value(u"token").toString().isEmpty();
}

QString Controller::accountName() const {
    const QJsonValue email = m_me.value(u"email");
    return email.isString() ? email.toString() : m_me.value(u"display_name").toString();
}

QVariantList Controller::periods() const {
    return m_snapshot.value(u"timesheet_periods").toArray().toVariantList();
}

bool Controller::secureStorage() const {
    return m_vault.isReady();
}

bool Controller::queueReady() const {
    return m_vault.acceptsWrites();
}

QString Controller::accountId() const {
    return m_me.value(u"id").toString();
}
