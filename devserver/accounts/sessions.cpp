// SPDX-License-Identifier: MIT
#include "devserver/accounts/sessions.h"

#include "devserver/base/timestamps.h"
#include "devserver/base/wipe.h"

#include <QUuid>
#include <QVariant>

namespace devserver {
namespace {

// A token holds 256 random bits, so a plain hash is enough to keep it out of the database.
QString tokenHash(const QByteArray& token) {
    QByteArray hash(crypto_generichash_BYTES, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), static_cast<size_t>(hash.size()),
                       reinterpret_cast<const unsigned char*>(token.constData()),
                       static_cast<unsigned long long>(token.size()), nullptr, 0);
    return QString::fromLatin1(hash.toHex());
}

QByteArray newToken() {
    QByteArray random(32, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(random.size()));
    QByteArray token = random.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    wipe(random);
    return token;
}

} // namespace

OpenedSession openSession(Connection& connection, const QString& userId, const QString& client,
                          const QString& deviceName) {
    OpenedSession session{QUuid::createUuid().toString(QUuid::WithoutBraces), newToken(), currentInstant()};
    connection.run(QStringLiteral("INSERT INTO sessions (id, user_id, token_hash, client, device_name,"
                                  " created_at) VALUES (?, ?, ?, ?, ?, ?)"),
                   {session.id, userId, tokenHash(session.token), client, deviceName, session.createdAt});
    return session;
}

std::optional<QString> sessionUser(Connection& connection, const QByteArray& token) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT user_id FROM sessions WHERE token_hash = ? AND revoked_at IS NULL"),
        {tokenHash(token)});
    return connection.next(query) ? std::optional(query.value(0).toString()) : std::nullopt;
}

void endSession(Connection& connection, const QByteArray& token) {
    connection.run(
        QStringLiteral("UPDATE sessions SET revoked_at = ? WHERE token_hash = ? AND revoked_at IS NULL"),
        {currentInstant(), tokenHash(token)});
}

int endAllSessions(Connection& connection) {
    return connection
        .run(QStringLiteral("UPDATE sessions SET revoked_at = ? WHERE revoked_at IS NULL"),
             {currentInstant()})
        .numRowsAffected();
}

} // namespace devserver
