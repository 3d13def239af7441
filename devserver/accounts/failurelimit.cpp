// SPDX-License-Identifier: MIT
#include "devserver/accounts/failurelimit.h"

#include <QCryptographicHash>

#include <algorithm>

namespace devserver {
namespace {

QByteArray keyOf(const QString& account) {
    return QCryptographicHash::hash(account.toUtf8(), QCryptographicHash::Blake2b_256);
}

} // namespace

bool FailureLimit::allows(const QString& account, const QString& address, Time now) {
    while (!m_failures.empty() && now - m_failures.front().time >= window) {
        m_failures.pop_front();
    }
    const QByteArray key = keyOf(account);
    const auto ofAccount = std::count_if(m_failures.begin(), m_failures.end(),
                                         [&key](const Failure& f) { return f.account == key; });
    const auto ofAddress = std::count_if(m_failures.begin(), m_failures.end(),
                                         [&address](const Failure& f) { return f.address == address; });
    return ofAccount < most && ofAddress < most;
}

void FailureLimit::failed(const QString& account, const QString& address, Time now) {
    if (m_failures.size() == capacity) {
        m_failures.pop_front();
    }
    m_failures.push_back({now, keyOf(account), address});
}

} // namespace devserver
