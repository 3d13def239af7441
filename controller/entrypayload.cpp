// SPDX-License-Identifier: MIT
#include "controller/entrypayload.h"

#include <QJsonArray>
#include <QUuid>

using namespace Qt::StringLiterals;

QString utcText(const QDateTime& time) {
    return time.toUTC().toString(Qt::ISODate);
}

bool hasUtcText(const QDateTime& time) {
    const int year = time.toUTC().date().year();
    return time.isValid() && year >= 1 && year <= 9999;
}

bool isAfter(const QDateTime& end, const QDateTime& start) {
    return start.secsTo(end) > 0;
}

QString invalidTimes() {
    return u"Enter valid ISO timestamps with an explicit offset; end must be after start."_s;
}

QJsonObject newEntry(const QString& description, const QString& projectId, bool billable) {
    return {
        {u"description"_s, description},
        {u"project_id"_s, projectId.isEmpty() ? QJsonValue() : QJsonValue(projectId)},
        {u"tag_ids"_s, QJsonArray()},
        {u"billable"_s, billable},
    };
}

QString newEntryId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}
