// SPDX-License-Identifier: MIT
#include "tests/endurance/reporting.h"

#include "controller/controller.h"

#include <QDate>

using namespace Qt::StringLiterals;

namespace {

/// Further than any clock of the storms is wrong.
constexpr int yearsAround = 2;

} // namespace

void askForReport(Controller& client, const QString& kind) {
    const int year = QDate::currentDate().year();
    const QDate from(year - yearsAround, 1, 1);
    const QDate to(year + yearsAround, 12, 31);
    client.queryReport(kind, from.toString(Qt::ISODate), to.toString(Qt::ISODate), u"UTC"_s, u"project"_s);
}
