// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>

#include <functional>
#include <utility>

class QTcpSocket;

/// One request as it arrived.
struct PeerRequest {
    QByteArray method;
    QString path; ///< "/v1" included, the query not.
    QString query;
    QHash<QByteArray, QByteArray> headers; ///< Names in lower case.
    QByteArray body;
    int connection = 0; ///< Counts from 1.

    [[nodiscard]] QJsonObject json() const;
};

/// What becomes of a request.
struct PeerReply {
    enum class Delivery {
        Send,
        Hold,  ///< Kept until ScriptedPeer::release().
        Never, ///< The connection stays open and silent.
        Close, ///< The connection ends without a byte.
        Cut,   ///< The connection ends in the middle of the body.
    };

    int status = 200;
    QByteArray body;
    QList<std::pair<QByteArray, QByteArray>> headers;
    Delivery delivery = Delivery::Send;
    bool forwarded = false; ///< Status and body are those of the server behind the peer.

    [[nodiscard]] static PeerReply json(const QJsonObject& object, int status = 200);
    [[nodiscard]] static PeerReply text(const QByteArray& body, int status = 200);
    [[nodiscard]] static PeerReply only(Delivery delivery);
    /// The real server does the work; `delivery` is what becomes of its reply.
    [[nodiscard]] static PeerReply forward(Delivery delivery = Delivery::Send);

    [[nodiscard]] PeerReply with(const QByteArray& header, const QByteArray& value) const;
    [[nodiscard]] PeerReply delivered(Delivery how) const;
};

/// An HTTP/1.1 server on loopback that records every request and answers by
/// script, for the faults that a real server does not produce on demand. What
/// is not scripted is forwarded, or 404 without a server behind.
class ScriptedPeer : public QObject {
public:
    using Handler = std::function<PeerReply(const PeerRequest& request)>;

    ScriptedPeer();

    /// "http://127.0.0.1:PORT"
    [[nodiscard]] QString url() const;

    /// `path` is whole, "/v1" included, without a query.
    void answer(const QByteArray& method, const QString& path, const PeerReply& reply);
    void answer(const QByteArray& method, const QString& path, const Handler& handler);
    /// For one request, before anything that answer() says; several queue up.
    void answerOnce(const QByteArray& method, const QString& path, const PeerReply& reply);
    /// Stands in front of a real server.
    void forwardTo(const QString& server);

    [[nodiscard]] const QList<PeerRequest>& requests() const { return m_requests; }
    [[nodiscard]] QList<PeerRequest> requests(const QByteArray& method, const QString& path) const;
    /// "GET /v1/me" and the like, in the order of arrival.
    [[nodiscard]] QStringList log() const;
    void forgetRequests() { m_requests.clear(); }

    [[nodiscard]] qsizetype held() const { return m_held.size(); }
    /// Sends every held reply, oldest first.
    void release();

    /// Refuses connections and ends the open ones, until goOnline().
    void goOffline();
    void goOnline();

    /// Takes the first request from what arrived; false until it is whole.
    [[nodiscard]] static bool takeRequest(QByteArray& input, PeerRequest& request);

private:
    struct Connection {
        QByteArray input;
        int number = 0;
    };
    struct Held {
        QPointer<QTcpSocket> socket;
        PeerReply reply;
    };

    void accept();
    void read(QTcpSocket* socket);
    [[nodiscard]] PeerReply script(const PeerRequest& request);
    void forward(QTcpSocket* socket, const PeerRequest& request, PeerReply reply);
    void deliver(QTcpSocket* socket, const PeerReply& reply);

    QTcpServer m_server;
    quint16 m_port = 0;
    int m_connectionCount = 0;
    QHash<QTcpSocket*, Connection> m_connections;
    QHash<QString, Handler> m_handlers;
    QHash<QString, QList<PeerReply>> m_once;
    QList<PeerRequest> m_requests;
    QList<Held> m_held;
    QString m_behind;
    QNetworkAccessManager m_network;
};
