// SPDX-License-Identifier: MIT
#include "tests/endurance/history.h"

#include "tests/endurance/storm.h"

#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr int fewestSteps = 20;
constexpr int mostSteps = 90;

int drawAction(QRandomGenerator& dice, int all) {
    int left = dice.bounded(all);
    int index = 0;
    for (const Storm::Action& action : Storm::actions()) {
        left -= action.weight;
        if (left < 0) {
            break;
        }
        ++index;
    }
    return index;
}

} // namespace

History historyOf(quint32 seed) {
    const auto& actions = Storm::actions();
    const int all = std::accumulate(actions.begin(), actions.end(), 0,
                                    [](int sum, const auto& action) { return sum + action.weight; });
    QRandomGenerator dice(seed);
    const int steps = dice.bounded(fewestSteps, mostSteps);
    History history;
    for (int i = 0; i < steps; ++i) {
        const int action = drawAction(dice, all);
        history.append({action, dice.generate()});
    }
    return history;
}

QString textOf(const History& history) {
    QStringList words;
    for (const Step& step : history) {
        const QString name =
            QString::fromLatin1(Storm::actions().at(static_cast<std::size_t>(step.action)).name);
        words.append(name + u':' + QString::number(step.chance));
    }
    return words.join(u' ');
}

std::optional<History> historyFrom(const QString& text) {
    const auto& actions = Storm::actions();
    History history;
    const QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words) {
        const QByteArray name = word.section(u':', 0, 0).toLatin1();
        const auto found = std::find_if(actions.begin(), actions.end(),
                                        [&name](const auto& action) { return action.name == name; });
        bool isNumber = false;
        const uint chance = word.section(u':', 1).toUInt(&isNumber);
        if (found == actions.end() || !isNumber) {
            return std::nullopt;
        }
        history.append({static_cast<int>(found - actions.begin()), chance});
    }
    return history;
}
