// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;

// Small pieces that several operations of the controller share.

/// A request that stalls this long is given up.
inline constexpr int transferTimeoutMs = 12000;

/// A request that follows no redirect and neither sends nor keeps a cookie, so
/// that nothing but the token tells one account's requests from another's.
[[nodiscard]] QNetworkRequest plainRequest(const QString& address, int timeoutMs = transferTimeoutMs);

inline const QString loginPath = QStringLiteral("/auth/login");

/// Sends a request that the network layer does not repeat by itself.
[[nodiscard]] QNetworkReply* sendOnce(QNetworkAccessManager& network, QNetworkRequest request,
                                      const QByteArray& method, const QByteArray& body);

/// 0 when no HTTP answer arrived.
[[nodiscard]] int httpStatus(const QNetworkReply& reply);

/// Empty when no answer arrived.
[[nodiscard]] QByteArray replyBody(QNetworkReply& reply);

/// Whether a value can name somebody or something: a text that is not empty.
[[nodiscard]] bool isId(const QJsonValue& value);

/// The server's own sentence in `error`.`message`, else `fallback`.
[[nodiscard]] QString errorText(const QJsonObject& reply, const QString& fallback);

/// Replaces the file as a whole or not at all.
[[nodiscard]] bool replaceFile(const QString& fileName, const QByteArray& bytes);

/// Writes queue items as a file for people to keep: {`format`, `queue`}.
[[nodiscard]] bool writePendingChanges(const QString& fileName, const QJsonArray& items);

/// Writes the file's folder to the disk: only then does a new file's name outlive a power failure.
[[nodiscard]] bool syncFolderOf(const QString& fileName);
