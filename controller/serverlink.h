// SPDX-License-Identifier: MIT
#pragma once

#include "controller/replyreader.h"

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QString>
#include <QThreadPool>

#include <functional>

class QNetworkReply;

/// What is asked of the server in JSON.
struct ServerRequest {
    QByteArray method;
    QString path;           ///< behind "/v1"
    QJsonObject body;       ///< a GET carries none
    QString idempotencyKey; ///< a fresh UUID when empty; a GET carries none
    QString token;          ///< of the personal session; empty without one
    QJsonObject alike{};    ///< what a large reply will be much like; it shares the data of what it repeats
    qsizetype largest = ReplyReader::largestBody; ///< in bytes; a reply above that is none
};

/// The one road to a server. Redirects are not followed and cookies neither sent nor
/// kept, so that nothing but the token tells one account's requests from another's.
class ServerLink : public QObject {
    Q_OBJECT

public:
    /// Receives the reply object and the HTTP status; 0 means that no usable reply arrived.
    using Callback = std::function<void(const QJsonObject& reply, int status)>;
    /// Receives what arrived of a reply, nothing when it was given up, and the HTTP status.
    using Answer = std::function<void(const QByteArray& body, int status)>;

    explicit ServerLink(QObject* parent = nullptr);

    /// Scheme, host and port; empty before the first.
    [[nodiscard]] const QString& address() const { return m_address; }
    void setAddress(const QString& address) { m_address = address; }

    /// Changes when dropReplies() is called.
    [[nodiscard]] qint64 generation() const { return m_generation; }
    /// Every reply still under way belongs to the past from now on, and its request is not sent again; but
    /// for those that somebody waits for in any case.
    void dropReplies();

    /// Without an address nothing is sent, and `callback` is called at once, with 0; after
    /// dropReplies() it is not called at all. `afterwards`, when given, then gets the reply to what
    /// was sent as it came, in any case; no GET has one. A sign-in ("/auth/login") carries no token, and the
    /// network layer does not send it again when its connection breaks before an answer.
    ///
    /// A large reply to a GET is read beside the main thread, and remembered: while the server says that it
    /// still holds (`ETag` and 304, RFC 9110), or sends the same bytes again, `callback` gets the same shared
    /// object, with 200.
    void send(const ServerRequest& request, const Callback& callback, const Answer& afterwards = {});

    /// Fetches a file of any size, asking for it once. `answer` is called in any case, also after
    /// dropReplies(), with the status 0 for a file that is not whole.
    void download(const QString& path, const QString& token, const Answer& answer);

    /// Ends a session that `server` opened and nobody keeps; its answer is not waited for.
    void revoke(const QString& server, const QString& token);

    /// The request whose reply is being delivered ended by a time-out.
    [[nodiscard]] bool timedOut() const { return m_timedOut; }
    /// The HTTP status that it came with, also where nothing in it is usable; 0 without an answer.
    [[nodiscard]] int answeredStatus() const { return m_answeredStatus; }

Q_SIGNALS:
    /// The server answered 401 to a request with a token; comes before that request's callback.
    void sessionRefused();
    /// For the requests under way.
    void repliesDropped();

private:
    /// The last large reply to a GET.
    struct Remembered {
        QString path;
        QByteArray tag; ///< its ETag; empty without one
        QByteArray digest;
        QJsonObject object;
    };
    /// What has arrived of a large reply to a GET.
    struct Received {
        QString path;
        QByteArray tag;
        QByteArray body;
        QJsonObject alike;
    };

    [[nodiscard]] QNetworkReply* issue(const QNetworkRequest& request, const ServerRequest& asked,
                                       const QByteArray& body);
    /// `known` is what the request named as known already; it has no tag when it named nothing.
    static void deliver(const QByteArray& body, int status, const Remembered& known,
                        const Callback& callback);
    /// `reply` stays for as long as its callback waits.
    void readBeside(QNetworkReply* reply, const Received& received, const Callback& callback);

    QNetworkAccessManager m_network;
    QString m_address;
    qint64 m_generation = 0;
    bool m_timedOut = false;
    int m_answeredStatus = 0;
    Remembered m_remembered;
    /// One thread, which reads what is large. The last member: nobody reads any more when the others go.
    QThreadPool m_reading;
};
