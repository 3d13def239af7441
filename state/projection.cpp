// SPDX-License-Identifier: MIT
#include "state/projection.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

QJsonObject ProjectedEntry::toJson() const {
    QJsonObject json = entry;
    json.insert("period_locked"_L1, locked);
    return json;
}

QJsonObject Projection::toJson() const {
    QJsonArray array;
    for (const ProjectedEntry& entry : entries) {
        array.append(entry.toJson());
    }
    return {{"entries"_L1, array}, {"timer"_L1, timer}};
}
