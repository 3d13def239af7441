// SPDX-License-Identifier: MIT
#include "controller/onetimebody.h"

#include <algorithm>

OneTimeBody::OneTimeBody(const QByteArray& bytes) : m_bytes(bytes) {
    // Unbuffered: no copy of what may be a password.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 OneTimeBody::bytesAvailable() const {
    return m_bytes.size() - m_read + QIODevice::bytesAvailable();
}

qint64 OneTimeBody::readData(char* data, qint64 maxSize) {
    const qint64 size = std::min(maxSize, m_bytes.size() - m_read);
    if (size == 0) {
        return -1; // the end
    }
    std::copy_n(m_bytes.constData() + m_read, size, data);
    m_read += size;
    return size;
}

qint64 OneTimeBody::writeData(const char*, qint64) {
    return -1;
}
