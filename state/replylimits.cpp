// SPDX-License-Identifier: MIT
#include "state/replylimits.h"

#include <QJsonArray>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

/// Qt reads no deeper document than this.
constexpr int maxDocumentDepth = 1024;
/// The document holds a reply one level below its own: as `snapshot` or `me`; and
/// `results`, third level of a push reply, as fourth level of the queue.
constexpr int maxReplyDepth = maxDocumentDepth - 1;

/// A number that a change cannot be based on would be read as 0 there.
bool isUsableVersion(const QJsonValue& version) {
    using Version = std::numeric_limits<int>;
    const double number = version.toDouble();
    return number >= Version::min() && number <= Version::max();
}

bool fits(const QJsonValue& value, int levels) {
    if (!value.isObject() && !value.isArray()) {
        return true;
    }
    if (levels == 0) {
        return false;
    }
    const auto below = [levels](const QJsonValue& member) { return fits(member, levels - 1); };
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        return std::all_of(array.begin(), array.end(), below);
    }
    const QJsonObject object = value.toObject();
    return isUsableVersion(object.value("version"_L1)) && std::all_of(object.begin(), object.end(), below);
}

} // namespace

bool canBeKept(const QJsonObject& reply) {
    return fits(reply, maxReplyDepth);
}
