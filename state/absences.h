// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

/// Time of the running timer that may not have been work, and what a person is still to be asked about it.
/// Decides nothing by itself, and knows no clock.
class Absences {
public:
    enum class Kind {
        Sleep, ///< the machine slept
        Rest,  ///< keyboard and mouse rested
        Age,   ///< the timer has run for more than ten hours; `since` and `until` are when that was seen
    };
    struct Absence {
        Kind kind;
        QDateTime since;
        QDateTime until;
    };

    /// The running entry as it is now, {} for none. What was noted while another one ran is forgotten.
    void follow(const QJsonObject& timer);

    /// Nobody was there. Whether that is to be asked about: not without a timer, and not when the timer
    /// started later. An absence that began before the timer began with it; one that meets another, not
    /// yet answered one is the same.
    [[nodiscard]] bool note(const Absence& absence);
    /// Looks how old the timer is. Whether that is to be asked about: once for each timer, and not when
    /// there was an absence to ask about by then.
    [[nodiscard]] bool noteAge(const QDateTime& now);

    /// What is to be asked next, the oldest first.
    [[nodiscard]] std::optional<Absence> question() const;
    /// The time of question() is kept.
    void keep();

private:
    QString m_timer;
    QDateTime m_start;
    QString m_old; ///< the timer whose age was asked about
    QList<Absence> m_open;
};
