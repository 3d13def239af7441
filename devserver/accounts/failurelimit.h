// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <deque>

namespace devserver {

/// Counts failed sign-ins: ten within ten minutes, of one account or from one
/// address, are enough, whatever succeeded meanwhile. Kept in memory and
/// bounded. For one thread at a time.
class FailureLimit {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int most = 10;
    static constexpr std::chrono::minutes window{10};
    /// Of more failures than this the oldest are forgotten.
    static constexpr size_t capacity = 10'000;

    /// Whether one more attempt may be made.
    [[nodiscard]] bool allows(const QString& account, const QString& address, Time now);
    void failed(const QString& account, const QString& address, Time now);

    [[nodiscard]] size_t remembered() const { return m_failures.size(); }

private:
    struct Failure {
        Time time;
        QByteArray account; ///< A hash, of one size whatever is typed.
        QString address;
    };

    std::deque<Failure> m_failures; // the oldest first
};

} // namespace devserver
