// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"

#include <QCoreApplication>
#include <QSettings>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

constexpr int tickMs = 1000;
constexpr int syncMs = 15000;

QString installationId() {
    const QString key = u"device"_s;
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
    : QObject(parent), m_link(this), m_vault(this), m_tickTimer(this), m_syncTimer(this), m_reloadPause(this),
      m_timezone(u"Asia/Jerusalem"_s), m_deviceId(installationId()) {
    m_reloadPause.setSingleShot(true);
    connect(this, &Controller::changed, this, &Controller::noticeAccount);
    connect(this, &Controller::changed, this, &Controller::noticeIdle);
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &Controller::recordWaiting);
    connect(&m_tickTimer, &QTimer::timeout, this, &Controller::tick);
    m_tickTimer.start(tickMs);
    connect(&m_syncTimer, &QTimer::timeout, this, &Controller::syncPeriodically);
    m_syncTimer.start(syncMs);
    connect(&m_vault, &Vault::unavailable, this, &Controller::fail);
    connect(&m_link, &ServerLink::sessionRefused, this, [this] { m_personal.sessionRefused = true; });
    connect(&m_vault, &Vault::ready, this, &Controller::vaultReady);
}

void Controller::setReadOnly(bool readOnly) {
    m_readOnly = readOnly;
}

void Controller::begin(bool unasked) {
    m_busy = true;
    m_unasked = unasked;
    Q_EMIT changed();
}

void Controller::begin(const QString& text) {
    m_busy = true;
    m_unasked = false;
    say(text);
}

void Controller::finish(const QString& text, bool quotesServer) {
    m_busy = false;
    say(text, quotesServer);
}

void Controller::fail(const QString& text) {
    finish(text);
}

void Controller::failAsToldBy(const QJsonObject& reply, const QString& fallback) {
    const QString text = errorText(reply, fallback);
    finish(text, text != fallback);
}

void Controller::say(const QString& text, bool quotesServer) {
    m_message = text;
    m_quotesServer = quotesServer;
    Q_EMIT changed();
}

void Controller::send(const QByteArray& method, const QString& path, const QJsonObject& body,
                      const Callback& callback, const QString& idempotencyKey) {
    m_link.send({method, path, body, idempotencyKey, token()}, callback);
}

void Controller::dropReplies() {
    m_link.dropReplies();
    m_signingOut = false;
    m_syncing = false; // its end would be such a reply
    resumeReloads();
}

QString Controller::server() const {
    return m_link.address();
}

QString Controller::message() const {
    return m_message;
}

bool Controller::messageQuotesServer() const {
    return m_quotesServer;
}

QString Controller::workspace() const {
    return m_document.workspace;
}

QString Controller::timezone() const {
    return m_timezone;
}

QVariantList Controller::workspaces() const {
    return m_document.workspaces.toVariantList();
}

QJsonObject Controller::ownSnapshot() const {
    // It outlives a change of workspace while the server is away.
    return m_snapshotWorkspace == m_document.workspace ? m_document.snapshot : QJsonObject();
}

QVariantList Controller::projects() const {
    return ownSnapshot().value(u"catalog").toObject().value(u"projects").toArray().toVariantList();
}

QVariantMap Controller::timer() const {
    return m_view.timer().toVariantMap();
}

int Controller::pending() const {
    return static_cast<int>(m_document.queue.size());
}

bool Controller::syncing() const {
    return m_syncing;
}

bool Controller::busy() const {
    return m_busy;
}

bool Controller::accountSignedIn() const {
    return !token().isEmpty();
}

QString Controller::token() const {
    return m_document.auth.value(u"token").toString();
}

QString Controller::accountName() const {
    const QJsonValue email = m_document.me.value(u"email");
    return email.isString() ? email.toString() : m_document.me.value(u"display_name").toString();
}

bool Controller::secureStorage() const {
    return m_vault.isReady();
}

bool Controller::queueReady() const {
    return m_vault.acceptsWrites();
}

bool Controller::recordStuck() const {
    return m_vault.recordStuck();
}

bool Controller::busyUnasked() const {
    return m_busy && m_unasked;
}

QString Controller::accountId() const {
    return m_document.me.value(u"id").toString();
}
