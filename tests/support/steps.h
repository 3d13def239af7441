// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

#include <functional>
#include <initializer_list>
#include <type_traits>

/// Takes the steps of a story in their order; none follows one that failed.
template <typename Story>
void takeSteps(std::type_identity_t<std::initializer_list<std::function<void(Story*)>>> steps, Story* story) {
    for (const auto& step : steps) {
        step(story);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
}
