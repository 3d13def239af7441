// SPDX-License-Identifier: MIT
#include "controller/controller.h"

#include <QDesktopServices>
#include <QUrl>

using namespace Qt::StringLiterals;

QVariantList Controller::periods() const {
    return m_document.snapshot.value(u"timesheet_periods").toArray().toVariantList();
}

void Controller::openTimesheetWeb() {
    if (!m_link.address().isEmpty()) {
        QDesktopServices::openUrl(QUrl(m_link.address() + u"/#timesheet"_s));
    }
}
