// SPDX-License-Identifier: MIT
#include "benchmarks/data.h"

#include <QDateTime>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QTimeZone>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

const QString user = u"7d0f6c1e-8f55-4f0e-9d5e-3a2b1c0d4e5f"_s;
const QString workspace = u"2b9d8c7e-1f4a-4b3c-8d2e-5f6a7b8c9d0e"_s;

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
            {u"id"_s, uuid(random)},
            {u"workspace_id"_s, workspace},
            {u"user_id"_s, user},
            {u"description"_s, u"פגישת תכנון, review of change %1"_s.arg(i)},
            {u"project_id"_s, uuid(random)},
            {u"tag_ids"_s, QJsonArray()},
            {u"billable"_s, i % 3 != 0},
            {u"start_at"_s, text(start)},
            {u"stop_at"_s, text(start.addSecs(seconds))},
            {u"deleted_at"_s, QJsonValue()},
            {u"version"_s, 1 + i % 4},
            {u"duration_seconds"_s, seconds},
        });
    }
    return entries;
}

QJsonArray makePeriods(int count, const QDateTime& first) {
    QJsonArray periods;
    for (int i = 0; i < count; ++i) {
        periods.append(QJsonObject{
            {u"workspace_id"_s, workspace},
            {u"user_id"_s, user},
            {u"status"_s, i % 2 == 0 ? u"approved"_s : u"open"_s},
            {u"start_at"_s, text(first.addDays(7 * qint64(i)))},
            {u"end_at"_s, text(first.addDays(7 * (qint64(i) + 1)))},
        });
    }
    return periods;
}

} // namespace

QJsonObject makeState(int entries, int periods) {
    const QDateTime first(QDate(2023, 1, 1), QTime(6, 0), QTimeZone::utc());
    const QJsonObject snapshot{
        {u"workspace_id"_s, workspace},
        {u"catalog"_s, QJsonObject{{u"projects"_s, QJsonArray()}}},
        {u"time_entries"_s, makeEntries(entries, first)},
        {u"timesheet_periods"_s, makePeriods(periods, first)},
    };
    return {
        {u"auth"_s, QJsonObject()},
        {u"signed_out"_s, false},
        {u"me"_s, QJsonObject{{u"id"_s, user}, {u"email"_s, u"a@example.org"_s}}},
        {u"workspaces"_s, QJsonArray{QJsonObject{{u"id"_s, workspace}, {u"name"_s, u"W"_s}}}},
        {u"workspace"_s, workspace},
        {u"snapshot"_s, snapshot},
        {u"timer"_s, QJsonObject()},
        {u"queue"_s, QJsonArray()},
    };
}

QJsonObject makeEdit(const QJsonObject& state, int index) {
    const QJsonArray entries = state.value(u"snapshot").toObject().value(u"time_entries").toArray();
    const QJsonObject entry = entries.at(entries.size() - 1 - index).toObject();
    const QJsonObject mutation{
        {u"mutation_id"_s, QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {u"device_id"_s, QUuid::createUuid().toString(QUuid::WithoutBraces)},
        {u"workspace_id"_s, workspace},
        {u"entity_id"_s, entry.value(u"id")},
        {u"base_version"_s, entry.value(u"version")},
        {u"operation"_s, u"entry.update"_s},
        {u"payload"_s, QJsonObject{{u"description"_s, u"edited %1"_s.arg(index)}}},
    };
    return {{u"status"_s, u"pending"_s}, {u"mutation"_s, mutation}};
}
