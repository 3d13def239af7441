// SPDX-License-Identifier: MIT
#include "tests/endurance/damage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>

#include <array>
#include <utility>

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

/// The ways to all that stands in a value.
void collect(const QJsonValue& value, const QStringList& path, QList<QStringList>& all) {
    const auto add = [&path, &all](const QString& step, const QJsonValue& member) {
        const QStringList further = path + QStringList(step);
        all.append(further);
        collect(member, further, all);
    };
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        add(member.key(), member.value());
    }
    const QJsonArray array = value.toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        add(u"[%1]"_s.arg(i), array.at(i));
    }
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

QJsonObject Damage::done(const QJsonObject& object) {
    QMap<QString, QList<Path>> all;
    QMap<QString, QList<Path>> read;
    QList<Path> paths;
    collect(object, {}, paths);
    for (const Path& path : std::as_const(paths)) {
        const QString name = nameOfMember(path);
        all[name].append(path);
        if (readMembers().contains(name)) {
            read[name].append(path);
        }
    }
    const bool anyOne = read.isEmpty() || m_dice.bounded(6) == 0;
    const QMap<QString, QList<Path>>& choice = anyOne ? all : read;
    m_member = choice.keys().at(m_dice.bounded(static_cast<int>(choice.size())));
    const QList<Path>& places = choice[m_member];
    const Path& path = places.at(m_dice.bounded(static_cast<int>(places.size())));
    const QJsonObject result = damaged(object, path).toObject();
    m_detail = path.join(u'.') + u' ' + (m_missing ? u"is missing"_s : m_detail);
    return result;
}

QString Damage::nameOf(QString request) {
    static const QRegularExpression id(u"[0-9a-f]{8}-[0-9a-f-]{27}"_s);
    return request.replace(id, u"*"_s);
}

QString Damage::nameOfMember(const Path& path) const {
    static const QRegularExpression index(u"\\.\\[[0-9]+\\]"_s);
    return nameOf(m_request) + u' ' + path.join(u'.').replace(index, u"[]"_s);
}

QJsonValue Damage::damaged(const QJsonValue& value, const Path& path) {
    const QString& step = path.first();
    const bool here = path.size() == 1;
    if (value.isArray()) {
        QJsonArray array = value.toArray();
        const qsizetype index = step.mid(1).chopped(1).toInt();
        if (here && m_missing) {
            array.removeAt(index);
        } else {
            array.replace(index, here ? replaced(array.at(index)) : damaged(array.at(index), path.mid(1)));
        }
        return array;
    }
    QJsonObject object = value.toObject();
    if (here && m_missing) {
        object.remove(step);
    } else {
        object.insert(step, here ? replaced(object.value(step)) : damaged(object.value(step), path.mid(1)));
    }
    return object;
}

QJsonValue Damage::replaced(const QJsonValue& value) {
    const QJsonValue other = ofAnotherType(value, m_dice);
    m_detail = QString::fromUtf8(QJsonDocument(QJsonArray{other}).toJson(QJsonDocument::Compact));
    return other;
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
