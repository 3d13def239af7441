// SPDX-License-Identifier: MIT
#include "state/absences.h"

#include "state/timestamp.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longSeconds = qint64{10} * 3600;

bool meet(const Absences::Absence& left, const Absences::Absence& right) {
    return left.since <= right.until && right.since <= left.until;
}

} // namespace

void Absences::follow(const QJsonObject& timer) {
    const QString id = timer.value("id"_L1).toString();
    if (id != m_timer) {
        m_open.clear();
    }
    m_timer = id;
    m_start = stamp(timer.value("start_at"_L1));
}

bool Absences::note(const Absence& absence) {
    if (m_timer.isEmpty() || absence.until < absence.since ||
        (m_start.isValid() && absence.until <= m_start)) {
        return false;
    }
    Absence whole = absence;
    if (m_start.isValid()) {
        whole.since = std::max(whole.since, m_start);
    }
    // Nobody was there to be asked how old the timer is, and now there is a better question.
    m_open.removeIf([](const Absence& open) { return open.kind == Kind::Age; });
    const auto met = std::stable_partition(m_open.begin(), m_open.end(),
                                           [&](const Absence& open) { return !meet(open, whole); });
    for (auto same = met; same != m_open.end(); ++same) {
        if (same->since <= whole.since) {
            whole.kind = same->kind;
            whole.since = same->since;
        }
        whole.until = std::max(whole.until, same->until);
    }
    m_open.erase(met, m_open.end());
    m_open.append(whole);
    return true;
}

bool Absences::noteAge(const QDateTime& now) {
    if (m_timer.isEmpty() || m_old == m_timer || !m_start.isValid() || m_start.secsTo(now) <= longSeconds) {
        return false;
    }
    m_old = m_timer;
    if (!m_open.isEmpty()) {
        return false;
    }
    m_open.append({Kind::Age, now, now});
    return true;
}

std::optional<Absences::Absence> Absences::question() const {
    return m_open.isEmpty() ? std::nullopt : std::optional(m_open.first());
}

void Absences::keep() {
    if (!m_open.isEmpty()) {
        m_open.removeFirst();
    }
}
