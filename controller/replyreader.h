// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

class QNetworkReply;

/// Reads the body of a reply while it arrives. A reply that grows above the largest
/// that is ever read, or that takes longer than any may in all, is ended: it then
/// has no body. A child of its reply.
class ReplyReader : public QObject {
public:
    explicit ReplyReader(QNetworkReply& reply);
    ~ReplyReader() override;
    Q_DISABLE_COPY_MOVE(ReplyReader)

    /// Whole once the reply has finished.
    [[nodiscard]] const QByteArray& body() const { return m_body; }
    /// The reply was ended because it did not arrive in time.
    [[nodiscard]] bool timedOut() const;

private:
    void read();
    void forget();

    QNetworkReply& m_reply;
    QByteArray m_body;
    bool m_tooLarge = false;
};
