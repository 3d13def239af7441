// SPDX-License-Identifier: MIT
#include "state/sharing.h"

#include <QHash>
#include <QJsonArray>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

using Places = QHash<QString, qsizetype>;

/// Whether both have the same text. Bare values are more lenient: as such, 2^63 equals 2^63 - 1.
bool isSame(const QJsonValue& before, const QJsonValue& now) {
    if (before.isObject() && now.isObject()) {
        return before.toObject() == now.toObject();
    }
    return QJsonArray{before} == QJsonArray{now};
}

QString idOf(const QJsonValue& value) {
    return value["id"_L1].toString();
}

Places placesOf(const QJsonArray& list, qsizetype from) {
    Places places;
    places.reserve(list.size() - from);
    for (qsizetype place = from; place < list.size(); ++place) {
        places.insert(idOf(list.at(place)), place);
    }
    return places;
}

/// Nothing where it is the list of before.
std::optional<QJsonArray> changedList(const QJsonArray& before, const QJsonArray& now) {
    QJsonArray shared;
    bool same = before.size() == now.size();
    std::optional<Places> places;
    qsizetype next = 0; // most stand in the order of before
    for (const auto& value : now) {
        if (next < before.size() && isSame(before.at(next), value)) {
            shared.append(before.at(next));
            ++next;
            continue;
        }
        same = false;
        if (!places) {
            places = placesOf(before, next);
        }
        const qsizetype stood = places->value(idOf(value), before.size());
        const bool kept = stood < before.size() && isSame(before.at(stood), value);
        shared.append(kept ? before.at(stood) : QJsonValue(value));
        next = stood < before.size() ? stood + 1 : next;
    }
    return same ? std::nullopt : std::optional(shared);
}

} // namespace

QJsonObject sharingWith(const QJsonObject& before, const QJsonObject& now) {
    QJsonObject shared = before;
    for (auto member = before.begin(); member != before.end(); ++member) {
        if (!now.contains(member.key())) {
            shared.remove(member.key());
        }
    }
    for (auto member = now.begin(); member != now.end(); ++member) {
        const QJsonValue known = before.value(member.key());
        const QJsonValue value = member.value();
        if (known.isArray() && value.isArray()) {
            if (const auto list = changedList(known.toArray(), value.toArray())) {
                shared.insert(member.key(), *list);
            }
        } else if (known.isUndefined() || !isSame(known, value)) {
            shared.insert(member.key(), value);
        }
    }
    return shared;
}
