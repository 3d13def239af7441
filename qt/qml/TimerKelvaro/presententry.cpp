// SPDX-License-Identifier: MIT
#include "presententry.h"

#include "state/timestamp.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString idKey = u"id"_s;
const QString projectKey = u"project_id"_s;
const QString billableKey = u"billable"_s;

bool isTime(const QString& name) {
    return name.endsWith(u"_at");
}

/// Whether two values of a field say the same, however they are written.
bool saysTheSame(const QString& name, const QVariant& left, const QVariant& right) {
    if (name == billableKey) {
        return left.toBool() == right.toBool();
    }
    if (!isTime(name)) {
        return left.toString() == right.toString();
    }
    const QDateTime first = stamp(left.toString());
    const QDateTime second = stamp(right.toString());
    return first.isValid() == second.isValid() && first.toSecsSinceEpoch() == second.toSecsSinceEpoch();
}

} // namespace

QVariantList PresentEntry::otherwise(const QVariantMap& before, const QVariantMap& changes) const {
    const QVariantMap now = present(before.value(idKey).toString());
    QVariantList others;
    if (now.isEmpty()) {
        return others;
    }
    for (const QString& name : {u"description"_s, projectKey, billableKey, u"start_at"_s, u"stop_at"_s}) {
        const QVariant value = now.value(name);
        if (changes.contains(name) && !saysTheSame(name, value, before.value(name)) &&
            !saysTheSame(name, value, changes.value(name))) {
            others.append(QVariantMap{{u"name"_s, name}, {u"value"_s, readable(name, value)}});
        }
    }
    return others;
}

bool PresentEntry::isThere(const QString& id) const {
    return !present(id).isEmpty();
}

QVariantMap PresentEntry::present(const QString& id) const {
    QVariantMap timer = m_controller->timer();
    if (!timer.isEmpty() && timer.value(idKey).toString() == id) {
        return timer;
    }
    const ProjectedEntries& entries = m_controller->entryRows();
    const auto found = std::find_if(entries.cbegin(), entries.cend(), [&id](const ProjectedEntry& row) {
        return row.entry.value(idKey).toString() == id;
    });
    return found == entries.cend() ? QVariantMap() : found->entry.toVariantMap();
}

QVariant PresentEntry::readable(const QString& name, const QVariant& value) const {
    const QString text = value.toString();
    if (name == billableKey) {
        return value.toBool();
    }
    if (isTime(name)) {
        return timeText(text, m_controller->timezone());
    }
    if (name != projectKey) {
        return text;
    }
    const QVariantList projects = m_controller->projects();
    const auto found = std::find_if(projects.cbegin(), projects.cend(), [&text](const QVariant& project) {
        return project.toMap().value(idKey).toString() == text;
    });
    const QString known = found == projects.cend() ? text : found->toMap().value(u"name"_s).toString();
    return known.isEmpty() ? QVariant::fromValue(nullptr) : QVariant(known);
}
