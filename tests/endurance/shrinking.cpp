// SPDX-License-Identifier: MIT
#include "tests/endurance/shrinking.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Ids and texts differ from run to run; how a sentence begins does not.
QString kindOf(const QString& problem) {
    constexpr qsizetype tellingLength = 24;
    return problem.section(u':', 0, 0).left(tellingLength);
}

History without(const History& history, qsizetype from, qsizetype count) {
    History rest = history;
    rest.remove(from, std::min(count, history.size() - from));
    return rest;
}

} // namespace

History shrunk(const History& history, const QString& problem,
               const std::function<QString(const History& part)>& run) {
    History shortest = history;
    for (qsizetype count = std::max<qsizetype>(1, history.size() / 2); count > 0;) {
        bool shorter = false;
        for (qsizetype from = shortest.size() - count; from >= 0;
             from = std::min(from, shortest.size()) - count) {
            const History candidate = without(shortest, from, count);
            if (kindOf(run(candidate)) == kindOf(problem)) {
                shortest = candidate;
                shorter = true;
            }
        }
        if (!shorter || count > 1) {
            count = count == 1 ? 0 : std::max<qsizetype>(1, count / 2);
        }
    }
    return shortest;
}
