// SPDX-License-Identifier: MIT
#include "state/accountstate.h"

#include "state/hosts.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype minTokenLength = 32;
constexpr qsizetype maxTokenLength = 4096;

const QString invalidSession = u"Invalid native session response; existing account retained"_s;
const QString sessionNotSaved = u"The new session could not be saved securely; previous account retained"_s;

bool isUuid(const QString& text) {
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(u"^[a-fA-F0-9]{8}-(?:[a-fA-F0-9]{4}-){3}[a-fA-F0-9]{12}$"_s));
    return pattern.match(text).hasMatch();
}

bool isToken(const QString& text) {
    static const QRegularExpression forbidden(u"[\r\n\t ]"_s);
    return text.size() >= minTokenLength && text.size() <= maxTokenLength && !text.contains(forbidden);
}

bool refuse(QString* error, const QString& text) {
    if (error) {
        *error = text;
    }
    return false;
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
    return {{u"user_id"_s, userId}, {u"session_id"_s, sessionId}, {u"token"_s, token}};
}

bool hasQueuedWork(const QJsonObject& state) {
    return !state.value(documentkey::queue).toArray().isEmpty();
}

} // namespace

bool AccountState::transportAllowed(const QString& server) {
    const QUrl url(server, QUrl::TolerantMode);
    if (!url.isValid() || !url.userInfo().isEmpty() || url.hasQuery() || url.hasFragment()) {
        return false;
    }
    if (url.scheme() == u"https"_s) {
        return true;
    }
    return url.scheme() == u"http"_s && isLoopbackHost(url.host(QUrl::FullyDecoded));
}

bool AccountState::login(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                         QString* error) {
    if (hasQueuedWork(state)) {
        return refuse(error, u"Pending work must be acknowledged or explicitly resolved before "
                             "changing accounts"_s);
    }
    const QJsonObject auth = sessionIn(reply);
    if (auth.isEmpty()) {
        return refuse(error, invalidSession);
    }
    Document candidate; // of no account
    candidate.auth = auth;
    candidate.me = {{u"id"_s, auth.value(u"user_id")}, {u"auth_mode"_s, u"session"_s}};
    return replaceState(state, candidate.toJson(), persist, error, sessionNotSaved);
}

bool AccountState::renew(QJsonObject& state, const QJsonObject& reply, const PersistState& persist,
                         QString* error) {
    QJsonObject auth = sessionIn(reply);
    if (auth.isEmpty()) {
        return refuse(error, invalidSession);
    }
    const QString userId = state.value(documentkey::auth).toObject().value(u"user_id").toString();
    if (auth.value(u"user_id").toString().compare(userId, Qt::CaseInsensitive) != 0) {
        return refuse(error, u"This is another account; the waiting work stays with its own."_s);
    }
    auth.insert(u"user_id", userId);
    QJsonObject candidate = state;
    candidate.insert(documentkey::auth, auth);
    return replaceState(state, candidate, persist, error, sessionNotSaved);
}

bool AccountState::logout(QJsonObject& state, const PersistState& persist, QString* error) {
    if (hasQueuedWork(state)) {
        return refuse(error, u"Pending work prevents logout"_s);
    }
    Document candidate; // of no account
    candidate.signedOut = true;
    return replaceState(state, candidate.toJson(), persist, error,
                        u"Secure local logout failed; encrypted data was not erased"_s);
}
