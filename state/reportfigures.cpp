// SPDX-License-Identifier: MIT
#include "state/reportfigures.h"

#include "state/projectcolors.h"
#include "state/timestamp.h"

#include <QTimeZone>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 thousand = 1000;
/// More than anybody has worked; all rows of a report together still fit into a number.
constexpr qint64 mostSeconds = 1'000'000'000'000;

QString colorOf(const QJsonObject& row, const QString& group, const ProjectColors& colors) {
    if (row[u"entry"].isObject()) {
        const QString color = colors.ofId(row[u"entry"][u"project_id"].toString());
        return color.isEmpty() ? colors.ofName(row[u"entry"][u"project_name"].toString()) : color;
    }
    const QString label = row[u"labels"].toArray().last().toString();
    if (group == u"task") {
        return colors.ofTask(label);
    }
    return group == u"project" ? colors.ofName(label) : QString();
}

QString amountOf(const QJsonValue& amount) {
    return amount.isDouble() ? QString::number(amount.toDouble(), 'f', 2) : amount.toString();
}

QString dayOf(const QJsonObject& row, const QTimeZone& zone) {
    const QDateTime start = stamp(row[u"entry"][u"start_at"]);
    return start.isValid() && zone.isValid() ? start.toTimeZone(zone).date().toString(Qt::ISODate)
                                             : QString();
}

} // namespace

QJsonArray ReportFigures::rows(const QJsonObject& report, const QJsonArray& projects) {
    const ProjectColors colors(projects);
    const QString group = groupOf(report);
    const QString currency = report[u"currency"].toString();
    const QTimeZone zone = knownZone(report[u"timezone"].toString());
    const QJsonArray plain = report[u"rows"].toArray();
    QList<qint64> parts;
    std::transform(plain.begin(), plain.end(), std::back_inserter(parts),
                   [](const QJsonValue& row) { return rawSeconds(row.toObject()); });
    const QList<int> all = shares(parts, report[u"has_more"].toBool() ? rawSeconds(report) : 0);
    QJsonArray rows;
    for (qsizetype i = 0; i < plain.size(); ++i) {
        QJsonObject row = plain[i].toObject();
        row.insert(u"share"_s, all[i]);
        row.insert(u"color"_s, colorOf(row, group, colors));
        const QString amount = amountOf(row[u"totals"][u"amount"]);
        row.insert(u"amount_text"_s, amount);
        row.insert(u"currency"_s, amount.isEmpty() ? QString() : currency);
        row.insert(u"day"_s, dayOf(row, zone));
        rows.append(row);
    }
    return rows;
}

QList<int> ReportFigures::shares(const QList<qint64>& parts, qint64 whole) {
    const auto counted = [](qint64 part) { return std::max<qint64>(part, 0); };
    const qint64 sum = std::accumulate(parts.begin(), parts.end(), qint64{0},
                                       [&](qint64 all, qint64 part) { return all + counted(part); });
    const qint64 base = std::max({sum, whole, qint64{1}});
    QList<int> shares;
    QList<qsizetype> order(parts.size());
    std::iota(order.begin(), order.end(), 0);
    for (const qint64 part : parts) {
        shares.append(static_cast<int>(counted(part) * thousand / base));
    }
    // What rounding down took goes to those that lost the most by it.
    const auto lost = [&](qsizetype at) { return counted(parts[at]) * thousand % base; };
    std::stable_sort(order.begin(), order.end(),
                     [&](qsizetype left, qsizetype right) { return lost(left) > lost(right); });
    const qint64 together = (2 * sum * thousand + base) / (2 * base);
    const auto missing = together - std::accumulate(shares.begin(), shares.end(), qint64{0});
    for (qsizetype i = 0; i < missing; ++i) {
        ++shares[order[i]];
    }
    return shares;
}

qint64 ReportFigures::rawSeconds(const QJsonObject& row) {
    return std::clamp<qint64>(row[u"totals"][u"raw_duration_seconds"].toInteger(), 0, mostSeconds);
}

QString ReportFigures::groupOf(const QJsonObject& report) {
    return report[u"group_by"].toArray().first().toString();
}
