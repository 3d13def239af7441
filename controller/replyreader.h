// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

#include <utility>

class QNetworkReply;

/// Reads the body of a reply while it arrives. A reply that grows above `largest`,
/// or that takes longer than any may in all, is ended: it then has no body. A child
/// of its reply.
class ReplyReader : public QObject {
public:
    /// In bytes, what is ever read.
    static constexpr qsizetype largestBody = 52'428'800;

    explicit ReplyReader(QNetworkReply& reply, qsizetype largest = largestBody);
    ~ReplyReader() override;
    Q_DISABLE_COPY_MOVE(ReplyReader)

    /// Whole once the reply has finished.
    [[nodiscard]] const QByteArray& body() const { return m_body; }
    /// The same, for whoever wipes it instead.
    [[nodiscard]] QByteArray takeBody() { return std::exchange(m_body, {}); }
    /// The reply was ended because it did not arrive in time.
    [[nodiscard]] bool timedOut() const;

private:
    void read();
    void forget();

    QNetworkReply& m_reply;
    qsizetype m_largest;
    QByteArray m_body;
    bool m_tooLarge = false;
};
