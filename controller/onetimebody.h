// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QIODevice>

/// The body of a request that must not be sent twice. The network layer sends a
/// request again by itself when its connection breaks before an answer; it cannot
/// when it is unable to rewind the body.
class OneTimeBody : public QIODevice {
public:
    explicit OneTimeBody(const QByteArray& bytes);

    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 bytesAvailable() const override;
    bool reset() override { return false; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    const QByteArray m_bytes;
    qint64 m_read = 0;
};
