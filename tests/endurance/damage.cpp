// SPDX-License-Identifier: MIT
#include "tests/endurance/damage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <array>

using namespace Qt::StringLiterals;

namespace {

QJsonValue ofAnotherType(const QJsonValue& value, QRandomGenerator& dice) {
    const std::array<QJsonValue, 6> others{
        QJsonValue(),       QJsonValue(true),         QJsonValue(7),
        QJsonValue(u"x"_s), QJsonValue(QJsonArray()), QJsonValue(QJsonObject())};
    QJsonValue other = value;
    while (other.type() == value.type()) {
        other = others.at(dice.bounded(static_cast<quint32>(others.size())));
    }
    return other;
}

/// The members of each of these, behind the prefix.
QStringList membersOf(const QString& prefix, const QString& names) {
    QStringList all;
    const QStringList words = names.split(u' ');
    for (const QString& name : words) {
        all.append(prefix + name);
    }
    return all;
}

} // namespace

QJsonObject Damage::done(QJsonObject object) {
    const QStringList keys = object.keys();
    const QString& key = keys.at(m_dice.bounded(static_cast<int>(keys.size())));
    const QJsonValue member = object.value(key);
    m_path += (m_path.isEmpty() ? QString() : u"."_s) + key;
    if (isDeeper(member)) {
        object.insert(key, within(member));
    } else if (m_missing) {
        object.remove(key);
    } else {
        object.insert(key, replaced(member));
    }
    return object;
}

bool Damage::isDeeper(const QJsonValue& value) {
    const bool deeper = m_dice.bounded(3) > 0;
    return deeper && (!value.toObject().isEmpty() || !value.toArray().isEmpty());
}

QJsonValue Damage::within(const QJsonValue& value) {
    if (value.isObject()) {
        return done(value.toObject());
    }
    QJsonArray array = value.toArray();
    const int index = m_dice.bounded(static_cast<int>(array.size()));
    const QJsonValue item = array.at(index);
    m_path += u"[%1]"_s.arg(index);
    array.replace(index, isDeeper(item) ? within(item) : replaced(item));
    return array;
}

QJsonValue Damage::replaced(const QJsonValue& value) {
    const QJsonValue other = ofAnotherType(value, m_dice);
    m_now = QString::fromUtf8(QJsonDocument(QJsonArray{other}).toJson(QJsonDocument::Compact));
    return other;
}

QString Damage::memberName(const QString& request, const QString& path) {
    static const QRegularExpression id(u"[0-9a-f]{8}-[0-9a-f-]{27}"_s);
    static const QRegularExpression index(u"\\[[0-9]+\\]"_s);
    return QString(request).replace(id, u"*"_s) + u' ' + QString(path).replace(index, u"[]"_s);
}

const QStringList& Damage::readMembers() {
    const QString entry = u"id workspace_id user_id description project_id tag_ids billable start_at stop_at"
                          " deleted_at version duration_seconds"_s;
    const QString report = u"/workspaces/*/reports/%1/query "_s;
    const QString frame =
        u"snapshot_id kind from_date to_date timezone currency group_by has_more rows rows[]"
        " rows[].totals rows[].totals.raw_duration_seconds"
        " rows[].totals.rounded_duration_seconds rows[].totals.amount totals"
        " totals.raw_duration_seconds"_s;
    static const QStringList all =
        membersOf(u"/me "_s, u"id email display_name timezone"_s) +
        membersOf(u"/workspaces "_s, u"items items[] items[].id items[].name"_s) +
        membersOf(u"/auth/login "_s, u"session_token session session.id session.user_id"_s) +
        membersOf(u"/sync/snapshot "_s,
                  u"workspace_id catalog catalog.projects catalog.projects[] time_entries"
                  " time_entries[] timesheet_periods timesheet_periods[]"_s) +
        membersOf(u"/sync/snapshot catalog.projects[]."_s, u"id name color"_s) +
        membersOf(u"/sync/snapshot time_entries[]."_s, entry) +
        membersOf(u"/sync/snapshot timesheet_periods[]."_s,
                  u"workspace_id user_id status from_date to_date timezone start_at end_at"_s) +
        membersOf(u"/me/timer "_s, u"timer"_s) + membersOf(u"/me/timer timer."_s, entry) +
        membersOf(u"/sync/push "_s, u"results results[] results[].mutation_id results[].status"
                                    " results[].message results[].canonical"_s) +
        membersOf(u"/sync/push results[].canonical."_s, entry) +
        membersOf(report.arg(u"summary"_s), frame + u" rows[].labels"_s) +
        membersOf(report.arg(u"detailed"_s), frame + u" rows[].entry"_s) +
        membersOf(report.arg(u"detailed"_s) + u"rows[].entry."_s,
                  u"start_at project_id project_name description"_s) +
        membersOf(
            u"/workspaces/*/imports/csv/preview "_s,
            u"id checksum total invalid duplicates duplicate_rows problems new_clients new_projects sample"
            " sample[] sample[].row sample[].description sample[].start_at sample[].stop_at"_s) +
        membersOf(u"/imports/*/apply "_s, u"state checkpoint total has_more"_s);
    return all;
}
