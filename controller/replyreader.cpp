// SPDX-License-Identifier: MIT
#include "controller/replyreader.h"

#include "vault/wipe.h"

#include <QNetworkReply>
#include <QTimer>

#include <algorithm>

namespace {

/// What the network layer may hold of a body that nobody has read yet.
constexpr qint64 unreadBytes = 1048576;
/// The transfer time-out starts anew with each byte, this one does not. Three years
/// of entries, 3.4 MB, come through in it at a quarter of a megabit a second.
constexpr int deadlineMs = 120000;

/// Qt 6.4 to 6.8 call a transfer time-out what they call an end that was asked for; its own name means no
/// less.
bool isGivenUp(QNetworkReply::NetworkError error) {
    return error == QNetworkReply::OperationCanceledError || error == QNetworkReply::TimeoutError;
}

} // namespace

ReplyReader::ReplyReader(QNetworkReply& reply, qsizetype largest)
    : QObject(&reply), m_reply(reply), m_largest(largest) {
    m_reply.setReadBufferSize(unreadBytes);
    connect(&m_reply, &QNetworkReply::readyRead, this, &ReplyReader::read);
    connect(&m_reply, &QNetworkReply::finished, this, &ReplyReader::read);
    auto* deadline = new QTimer(this);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, &m_reply, &QNetworkReply::abort);
    deadline->start(deadlineMs);
}

ReplyReader::~ReplyReader() {
    forget();
}

bool ReplyReader::timedOut() const {
    return isGivenUp(m_reply.error()) && !m_tooLarge;
}

void ReplyReader::read() {
    if (isGivenUp(m_reply.error())) {
        forget();
        return;
    }
    if (!m_reply.isOpen()) {
        return;
    }
    // Straight to its place, and no room for more than there is: a reply comes in many pieces.
    const qsizetype before = m_body.size();
    const qint64 room = std::min<qint64>(m_largest + 1 - before, m_reply.bytesAvailable());
    m_body.resize(before + qsizetype(room));
    m_body.resize(before + qsizetype(std::max<qint64>(m_reply.read(m_body.data() + before, room), 0)));
    if (m_body.size() > m_largest) {
        m_tooLarge = true;
        m_reply.abort();
    }
}

void ReplyReader::forget() {
    wipe(m_body); // a token may be in it
}
