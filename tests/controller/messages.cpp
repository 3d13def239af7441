// SPDX-License-Identifier: MIT
#include "tests/controller/messages.h"

#include "controller/controller.h"

#include <algorithm>
#include <iterator>

Messages::Messages(const Controller& controller) {
    connect(&controller, &Controller::changed, this, [this, &controller] {
        if (m_texts.isEmpty() || m_texts.last() != controller.message()) {
            m_texts.append(controller.message());
        }
    });
}

QStringList Messages::startingWith(const QString& prefix) const {
    QStringList found;
    std::copy_if(m_texts.begin(), m_texts.end(), std::back_inserter(found),
                 [&](const QString& text) { return text.startsWith(prefix); });
    return found;
}
