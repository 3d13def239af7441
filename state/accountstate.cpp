// SPDX-License-Identifier: MIT
#include "state/accountstate.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QRegularExpression>
#include <QUrl>

namespace {

constexpr qsizetype minTokenLength = 32;
constexpr qsizetype maxTokenLength = 4096;

const QString invalidSession = QStringLiteral("Invalid native session response; existing account retained");
const QString sessionNotSaved =
    QStringLiteral("The new session could not be saved securely; previous account retained");

bool isUuid(const QString& text) {
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(
        QStringLiteral("^[a-fA-F0-9]{8}-(?:[a-fA-F0-9]{4}-){3}[a-fA-F0-9]{12}$")));
    return pattern.match(text).hasMatch();
}

bool isToken(const QString& text) {
    static const QRegularExpression forbidden(QStringLiteral("[\r\n\t ]"));
    return text.size() >= minTokenLength && text.size() <= maxTokenLength && !text.contains(forbidden);
}

bool refuse(QString* error, const QString& text) {
    if (error) {
        *error = text;
    }
    return false;
}

/// A document of no account: the eight keys, all empty.
QJsonObject blankState() {
    return {
        {QStringLiteral("auth"), QJsonObject()},  {QStringLiteral("signed_out"), false},
        {QStringLiteral("me"), QJsonObject()},    {QStringLiteral("workspaces"), QJsonArray()},
        {QStringLiteral("workspace"), QString()}, {QStringLiteral("snapshot"), QJsonObject()},
        {QStringLiteral("timer"), QJsonObject()}, {QStringLiteral("queue"), QJsonArray()},
    };
}

bool replaceState(QJsonObject& state, const QJsonObject& candidate, const PersistState& persist,
                  QString* error, const QString& failure) {
    if (!persist(candidate)) {
        return refuse(error, failure);
    }
    state = candidate;
    if (error) {
        *error = QString();
    }
    return true;
}

/// The `auth` that a sign-in reply opens; {} when it is malformed.
QJsonObject sessionIn(const QJsonObject& reply) {
    const QJsonObject session = reply.value(u"session").toObject();
    const QString userId = session.value(u"user_id").toString();
    const QString sessionId = session.value(u"id").toString();
    const QString token = reply.value(u"session_token").toString();
    if (!isUuid(userId) || !isUuid(sessionId) || !isToken(token)) {
        return {};
    }
    return {{QStringLiteral("user_id"), userId},
            {QStringLiteral("session_id"), sessionId},
            {QStringLiteral("token"), token}};
}

bool hasQueuedWork(const QJsonObject& state) {
    return !state.value(u"queue").toArray().isEmpty();
}

} // namespace

bool isLoopbackHost(const QString& host) {
    const QHostAddress address(host);
    // The toolkit takes an IPv4 address inside an IPv6 one for loopback as well.
    const bool loopback = address.protocol() == QAbstractSocket::IPv6Protocol
                              ? address == QHostAddress(QHostAddress::LocalHostIPv6)
                              : address.isLoopback();
    return loopback || host == QStringLiteral("localhost");
}

bool AccountState::transportAllowed(const QString& server) {
    const QUrl url(server, QUrl::TolerantMode);
    if (!url.isValid() || !url.userInfo().isEmpty() || url.hasQuery() || url.hasFragment()) {
        return false;
    }
    if (url.scheme() == QStringLiteral("https")) {
        return true;
    }
    return url.scheme() == QStringLiteral("http") && isLoopbackHost(url.host(QUrl::FullyDecoded));
}

bool AccountState::login(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                         QString* error) {
    if (hasQueuedWork(state)) {
        return refuse(error, QStringLiteral("Pending work must be acknowledged or explicitly resolved before "
                                            "changing accounts"));
    }
    const QJsonObject auth = sessionIn(reply);
    if (auth.isEmpty()) {
        return refuse(error, invalidSession);
    }
    QJsonObject candidate = blankState();
    candidate.insert(u"me", QJsonObject{{QStringLiteral("id"), auth.value(u"user_id")},
                                        {QStringLiteral("auth_mode"), QStringLiteral("session")}});
    candidate.insert(u"auth", auth);
    return replaceState(state, candidate, persist, error, sessionNotSaved);
}

bool AccountState::renew(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                         QString* error) {
    QJsonObject auth = sessionIn(reply);
    if (auth.isEmpty()) {
        return refuse(error, invalidSession);
    }
    const QString userId = state.value(u"auth").toObject().value(u"user_id").toString();
    if (auth.value(u"user_id").toString().compare(userId, Qt::CaseInsensitive) != 0) {
        return refuse(error, QStringLiteral("This is another account; the waiting work stays with its own."));
    }
    auth.insert(u"user_id", userId);
    QJsonObject candidate = state;
    candidate.insert(u"auth", auth);
    return replaceState(state, candidate, persist, error, sessionNotSaved);
}

bool AccountState::logout(QJsonObject& state, const PersistState& persist, QString* error) {
    if (hasQueuedWork(state)) {
        return refuse(error, QStringLiteral("Pending work prevents logout"));
    }
    QJsonObject candidate = blankState();
    candidate.insert(u"signed_out", true);
    return replaceState(state, candidate, persist, error,
                        QStringLiteral("Secure local logout failed; encrypted data was not erased"));
}
