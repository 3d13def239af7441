// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/entrypayload.h"
#include "state/timestamp.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString nameOf(Absences::Kind kind) {
    switch (kind) {
    case Absences::Kind::Sleep:
        return u"sleep"_s;
    case Absences::Kind::Rest:
        return u"rest"_s;
    case Absences::Kind::Age:
        return u"age"_s;
    }
    return {};
}

/// A time of day, with its day where that is not the other time's.
QString timeText(const QDateTime& time, const QDateTime& other) {
    return time.toString(time.date() == other.date() ? u"HH:mm"_s : u"yyyy-MM-dd HH:mm"_s);
}

} // namespace

void Controller::noteAbsence(Absences::Kind kind, qint64 milliseconds) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (m_personal.absences.note({kind, now.addMSecs(-milliseconds), now})) {
        Q_EMIT changed();
    }
}

void Controller::noteAge() {
    if (m_personal.absences.noteAge(QDateTime::currentDateTimeUtc())) {
        Q_EMIT changed();
    }
}

QVariantMap Controller::absence() const {
    const std::optional<Absences::Absence> asked = m_personal.absences.question();
    // What can be answered only in the timer's own workspace waits for that.
    const QString home = m_view.timer().value(u"workspace_id").toString();
    if (!asked || (!home.isEmpty() && home != m_document.workspace)) {
        return {};
    }
    const bool isAge = asked->kind == Absences::Kind::Age;
    const QDateTime started = stamp(m_view.timer().value(u"start_at"));
    const QDateTime since = (isAge ? started : asked->since).toTimeZone(zone());
    const QDateTime until = asked->until.toTimeZone(zone());
    return {
        {u"kind"_s, nameOf(asked->kind)},
        {u"moment"_s, isAge ? QString() : utcText(asked->since)},
        {u"since"_s, timeText(since, until)},
        {u"until"_s, timeText(until, since)},
        {u"time"_s, since.toString(u"HH:mm"_s)},
        {u"description"_s, m_view.timer().value(u"description").toString()},
    };
}

void Controller::keepTime() {
    if (m_personal.press && m_personal.press->moment.isValid()) {
        m_personal.press.reset(); // the last press counts
    }
    m_personal.absences.keep();
    Q_EMIT changed();
}

void Controller::stopTimerAt(const QString& moment) {
    leaveTimer(moment, false);
}

void Controller::restartTimerFrom(const QString& moment) {
    leaveTimer(moment, true);
}

void Controller::leaveTimer(const QString& moment, bool anew) {
    if (m_view.timer().isEmpty()) {
        return;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime stopAt = moment.isEmpty() ? now : stamp(moment);
    if (!stopAt.isValid()) {
        fail(invalidTimes());
        return;
    }
    Press stop{m_document.workspace, m_view.timer().value(u"id").toString(), {}, {}, false};
    stop.moment = std::min(stopAt, now);
    stop.anew = anew;
    press(stop);
}

void Controller::carryOutLeave(const Press& press) {
    const QJsonObject timer = m_view.timer();
    if (press.anew && !isStartable(timer.value(u"project_id"))) {
        return;
    }
    const auto stopped = stopChange(press.moment);
    if (!stopped) {
        return;
    }
    QList<Change> changes{*stopped};
    if (press.anew) {
        changes.append(startChange(timer.value(u"description").toString(),
                                   timer.value(u"project_id").toString(), timer.value(u"billable").toBool()));
    }
    enqueue(changes);
}
