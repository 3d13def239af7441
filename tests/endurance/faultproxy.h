// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/scriptedpeer.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QRandomGenerator>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTcpServer>

#include <functional>
#include <memory>
#include <optional>

class QTcpSocket;

/// Stands between one client and the server, and lets nothing through by itself:
/// each request waits until it is told what becomes of it. So the order of all
/// events is the caller's, and the same decisions give the same run.
class FaultProxy : public QObject {
public:
    /// What can become of a request besides the server's reply.
    enum class Fault {
        None,
        LostRequest,   ///< The connection ends before the server saw it.
        LostReply,     ///< The server has acted, the connection ends without a byte.
        Cut,           ///< The reply ends at any byte.
        Stall,         ///< The reply stops at any byte, and the connection stays open.
        Trickle,       ///< The reply comes in small pieces, one in each turn of the event loop.
        Repeat,        ///< The server gets the request twice.
        Twice,         ///< The client gets the reply twice.
        ErrorBefore,   ///< 500, and the server saw nothing.
        ErrorAfter,    ///< 500, but the server has acted.
        BadGateway,    ///< 502 with a page; this one and the next three before or after the server has acted.
        Redirect,      ///< 302
        NoContent,     ///< 204
        Unauthorized,  ///< 401 by something in between.
        Garbage,       ///< A body that is no JSON.
        GarbageHead,   ///< No HTTP at all.
        Array,         ///< JSON, but no object.
        WrongType,     ///< One member of the reply is of another type.
        Missing,       ///< One member of the reply is not there.
        TooLong,       ///< More than a client takes.
        OtherIdentity, ///< Somebody else is said to ask.
        ForeignResult, ///< The answer to another change.
        NoResult,      ///< An acknowledgement of nothing.
    };

    struct Answer {
        int status = 0; ///< 0 when the server could not be reached
        QByteArray body = {};
        QByteArray tag = {}; ///< its ETag
        QByteArray type = "application/json";
    };

    /// A request that waits.
    struct Waiting {
        PeerRequest request;
        QPointer<QTcpSocket> socket;
        std::optional<Answer> answer = {}; ///< what the server said, when it was asked
        bool stalled = false;              ///< the reply has begun and does not go on
        bool arranged = false;

        /// Behind "/v1", without the query.
        [[nodiscard]] QString path() const { return request.path.mid(3); }
    };

    static QString nameOf(Fault fault);
    /// One of the faults that fit the request, the plain ones most often.
    static Fault draw(const Waiting& waiting, QRandomGenerator& dice);

    /// On a port of its own, by which a client's vault is known.
    FaultProxy();

    [[nodiscard]] QString url() const;
    void forwardTo(const QString& server) { m_behind = server; }
    /// Who else a client can be told to be, besides nobody.
    void namePeople(const QStringList& people) { m_people = people; }
    /// The client that was told last to be this person was somebody else.
    [[nodiscard]] bool misnamed(const QString& person) const { return m_misnamed.contains(person); }

    [[nodiscard]] qsizetype waiting() const { return m_waiting.size(); }
    [[nodiscard]] const Waiting& at(qsizetype index) const { return *m_waiting.at(index); }

    /// Those that came together on several connections came in no order: puts them in one.
    void arrange();
    [[nodiscard]] qsizetype arranged() const;
    /// The server gets the request, and the reply waits; false when the server had it.
    bool serve(qsizetype index);
    /// The request ends; a server that has not been asked yet is asked where the fault is later.
    void finish(qsizetype index, Fault fault, QRandomGenerator& dice);

    /// Online, and what was answered before counts no more.
    void beginAnew();
    /// Refuses connections and ends the open ones, until goOnline(); false when it is so already.
    bool goOffline();
    bool goOnline();

    /// How often each fault was injected, and which members were damaged how often.
    [[nodiscard]] const QMap<QString, int>& counts() const { return m_counts; }
    [[nodiscard]] const QMap<QString, int>& damages() const { return m_damages; }
    /// What finish() has done last besides passing it on: where the reply ends, which member is damaged.
    [[nodiscard]] const QString& detail() const { return m_detail; }

    std::function<void(const PeerRequest& request)> arrived = [](const PeerRequest&) {};
    /// What the client was told, whole and as an object; status 0 when it was told nothing.
    std::function<void(const PeerRequest& request, int status, const QJsonObject& reply)> told =
        [](const PeerRequest&, int, const QJsonObject&) {};

private:
    void accept();
    void read(QTcpSocket* socket);
    void forget(QTcpSocket* socket);
    [[nodiscard]] Answer ask(const PeerRequest& request);
    /// What the client gets in the place of the reply; nothing where there is nothing to make wrong.
    [[nodiscard]] std::optional<Answer> falsified(const Waiting& waiting, Fault fault,
                                                  QRandomGenerator& dice);
    [[nodiscard]] std::optional<Answer> damaged(const Waiting& waiting, bool missing, QRandomGenerator& dice);
    void count(Fault fault, const QString& when = {});
    void deliver(const std::shared_ptr<Waiting>& waiting, const Answer& reply, Fault fault,
                 QRandomGenerator& dice);
    void trickle(QTcpSocket* socket, QList<QByteArray> pieces);
    /// Somebody else's id in the place of this one.
    [[nodiscard]] QString otherThan(const QString& person, QRandomGenerator& dice) const;
    void end(const Waiting& waiting, const Answer& answer);
    void drop(const Waiting& waiting);

    QTcpServer m_server;
    quint16 m_port = 0;
    QString m_behind;
    QStringList m_people;
    QSet<QString> m_misnamed;
    QHash<QTcpSocket*, QByteArray> m_inputs;
    QList<std::shared_ptr<Waiting>> m_waiting;
    QMap<QString, int> m_counts;
    QMap<QString, int> m_damages;
    QString m_detail;
    /// The server's last answer to a push, for ForeignResult.
    QByteArray m_lastResult;
    QNetworkAccessManager m_network;
};
