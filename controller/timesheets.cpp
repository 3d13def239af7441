// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "state/timestamp.h"
#include "state/weeks.h"

#include <QDesktopServices>
#include <QUrl>

using namespace Qt::StringLiterals;

QVariantList Controller::periods() const {
    return ownSnapshot().value(u"timesheet_periods").toArray().toVariantList();
}

WorkSums::Owner Controller::owner() const {
    return {m_document.workspace, m_document.me.value(u"id")};
}

QTimeZone Controller::zone() const {
    return zoneNamed(m_timezone);
}

int Controller::weekday() const {
    return firstWeekday(m_document.snapshot.value(u"timesheet_periods").toArray(), m_document.workspace,
                        zone());
}

QVariantList Controller::periodSums() const {
    const QJsonArray periods = ownSnapshot().value(u"timesheet_periods").toArray();
    const QList<qint64> sums = sumsOf(weekNow(), periods);
    QVariantList list;
    for (qsizetype i = 0; i < periods.size(); ++i) {
        const bool isOwn = WorkSums::isOf(periods.at(i).toObject(), owner());
        list.append(isOwn ? QVariant(sums.at(i + 1)) : QVariant());
    }
    return list;
}

WorkSums::Week Controller::weekNow() const {
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone()).date();
    return WorkSums::weekOf(today, weekday());
}

QList<qint64> Controller::sumsOf(const WorkSums::Week& week, const QJsonArray& periods) const {
    // All at once, so that what is remembered serves both.
    QList<WorkSums::Span> spans{WorkSums::days(week, zone())};
    for (const auto& period : periods) {
        spans.append(WorkSums::time(period.toObject()));
    }
    return m_view.secondsIn(spans, owner());
}

QVariantMap Controller::openWeek() const {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const WorkSums::Week week = weekNow();
    const QJsonArray periods = m_document.snapshot.value(u"timesheet_periods").toArray();
    // The running timer counts as if it were stopped now.
    QJsonObject running = timerListed() ? QJsonObject() : m_view.timer();
    running.insert(u"stop_at"_s, now.toString(Qt::ISODate));
    const qint64 seconds = sumsOf(week, periods).first() +
                           WorkSums::inside({WorkSums::days(week, zone())}, {running}, owner()).first();
    return {{u"seconds"_s, seconds}, {u"days_left"_s, int(now.toTimeZone(zone()).date().daysTo(week.last))}};
}

void Controller::openTimesheetWeb() {
    if (m_link.address().isEmpty()) {
        return;
    }
    const QString page = m_link.address() + u"/#timesheet"_s;
    if (!QDesktopServices::openUrl(QUrl(page))) {
        say(u"No browser could be opened; the timesheets are at %1"_s.arg(page), true);
    }
}
