// SPDX-License-Identifier: MIT
#include "announcer.h"

#include <QAccessible>

void Announcer::say(const QString& text) {
    m_text = text;
    Q_EMIT textChanged();
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(this, text);
#else
    // A notification that comes to the screen is what screen readers speak unasked.
    QAccessibleEvent event(this, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}
