// SPDX-License-Identifier: MIT
#include "benchmarks/data.h"

#include <QDateTime>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QTimeZone>
#include <QUuid>

namespace {

const QString user = QStringLiteral("7d0f6c1e-8f55-4f0e-9d5e-3a2b1c0d4e5f");
const QString workspace = QStringLiteral("2b9d8c7e-1f4a-4b3c-8d2e-5f6a7b8c9d0e");

QString uuid(QRandomGenerator& random) {
    std::array<quint32, 4> bits{};
    random.fillRange(bits.data(), 4);
    return QUuid(bits[0], static_cast<ushort>(bits[1]), static_cast<ushort>(bits[1] >> 16),
                 static_cast<uchar>(bits[2]), static_cast<uchar>(bits[2] >> 8),
                 static_cast<uchar>(bits[2] >> 16), static_cast<uchar>(bits[2] >> 24),
                 static_cast<uchar>(bits[3]), static_cast<uchar>(bits[3] >> 8),
                 static_cast<uchar>(bits[3] >> 16), static_cast<uchar>(bits[3] >> 24))
        .toString(QUuid::WithoutBraces);
}

QString text(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

QJsonArray makeEntries(int count, const QDateTime& first) {
    QRandomGenerator random(2026);
    QJsonArray entries;
    for (int i = 0; i < count; ++i) {
        const QDateTime start = first.addSecs(qint64(i) * 9000 + random.bounded(1800));
        const int seconds = 600 + random.bounded(6000);
        entries.append(QJsonObject{
            {QStringLiteral("id"), uuid(random)},
            {QStringLiteral("workspace_id"), workspace},
            {QStringLiteral("user_id"), user},
            {QStringLiteral("description"), QStringLiteral("פגישת תכנון, review of change %1").arg(i)},
            {QStringLiteral("project_id"), uuid(random)},
            {QStringLiteral("tag_ids"), QJsonArray()},
            {QStringLiteral("billable"), i % 3 != 0},
            {QStringLiteral("start_at"), text(start)},
            {QStringLiteral("stop_at"), text(start.addSecs(seconds))},
            {QStringLiteral("deleted_at"), QJsonValue()},
            {QStringLiteral("version"), 1 + i % 4},
            {QStringLiteral("duration_seconds"), seconds},
        });
    }
    return entries;
}

QJsonArray makePeriods(int count, const QDateTime& first) {
    QJsonArray periods;
    for (int i = 0; i < count; ++i) {
        periods.append(QJsonObject{
            {QStringLiteral("workspace_id"), workspace},
            {QStringLiteral("user_id"), user},
            {QStringLiteral("status"), i % 2 == 0 ? QStringLiteral("approved") : QStringLiteral("open")},
            {QStringLiteral("start_at"), text(first.addDays(7 * qint64(i)))},
            {QStringLiteral("end_at"), text(first.addDays(7 * (qint64(i) + 1)))},
        });
    }
    return periods;
}

} // namespace

QJsonObject makeState(int entries, int periods) {
    const QDateTime first(QDate(2023, 1, 1), QTime(6, 0), QTimeZone::utc());
    const QJsonObject snapshot{
        {QStringLiteral("workspace_id"), workspace},
        {QStringLiteral("catalog"), QJsonObject{{QStringLiteral("projects"), QJsonArray()}}},
        {QStringLiteral("time_entries"), makeEntries(entries, first)},
        {QStringLiteral("timesheet_periods"), makePeriods(periods, first)},
    };
    return {
        {QStringLiteral("auth"), QJsonObject()},
        {QStringLiteral("signed_out"), false},
        {QStringLiteral("me"), QJsonObject{{QStringLiteral("id"), user},
                                           {QStringLiteral("email"), QStringLiteral("a@example.org")}}},
        {QStringLiteral("workspaces"),
         QJsonArray{
             QJsonObject{{QStringLiteral("id"), workspace}, {QStringLiteral("name"), QStringLiteral("W")}}}},
        {QStringLiteral("workspace"), workspace},
        {QStringLiteral("snapshot"), snapshot},
        {QStringLiteral("timer"), QJsonObject()},
        {QStringLiteral("queue"), QJsonArray()},
    };
}

QJsonObject makeEdit(const QJsonObject& state, int index) {
    const QJsonArray entries = state.value(u"snapshot").toObject().value(u"time_entries").toArray();
    const QJsonObject entry = entries.at(entries.size() - 1 - index).toObject();
    const QJsonObject mutation{
        {QStringLiteral("mutation_id"), QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {QStringLiteral("device_id"), QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {QStringLiteral("workspace_id"), workspace},
        {QStringLiteral("entity_id"), entry.value(u"id")},
        {QStringLiteral("base_version"), entry.value(u"version")},
        {QStringLiteral("operation"), QStringLiteral("entry.update")},
        {QStringLiteral("payload"),
         QJsonObject{{QStringLiteral("description"), QStringLiteral("edited %1").arg(index)}}},
    };
    return {{QStringLiteral("status"), QStringLiteral("pending")}, {QStringLiteral("mutation"), mutation}};
}
