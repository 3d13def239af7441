// SPDX-License-Identifier: MIT
#include "state/reportpicture.h"

#include "state/reportfigures.h"
#include "state/weeks.h"

#include <QHash>
#include <QList>
#include <QMap>

#include <algorithm>
#include <numeric>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 daysOfWeek = 7;
constexpr qint64 mostDays = 62;
constexpr qint64 mostColumns = 600;
constexpr qsizetype mostSeries = 8;

/// When and for whom the time of a row was worked.
struct Piece {
    QDate day;
    QString name;
    QString color;
    qint64 seconds = 0;
};

struct Series {
    QString name;
    QString what;
    QString color;
    qint64 seconds = 0;
};

/// Whether the first label, or the last, names a day, and whether that is a whole week's first.
struct Shape {
    bool isEntry = false;
    bool byWeek = false;
    bool named = false; ///< the last label names a series
    bool hasDays = true;
};

Shape shapeOf(const QJsonObject& report) {
    const QString kind = report[u"kind"].toString();
    const QString group = ReportFigures::groupOf(report);
    if (kind == u"detailed") {
        return {.isEntry = true, .named = true};
    }
    if (group == u"day") {
        return {};
    }
    if (kind == u"weekly" || group == u"week") {
        return {.byWeek = true, .named = group != u"week"};
    }
    return {.hasDays = false};
}

/// Nothing when a row does not say when.
std::optional<QList<Piece>> piecesOf(const QJsonArray& rows, const Shape& shape) {
    QList<Piece> pieces;
    for (const auto& value : rows) {
        const QJsonObject row = value.toObject();
        const QJsonArray labels = row[u"labels"].toArray();
        const QString day = shape.isEntry                 ? row[u"day"].toString()
                            : shape.byWeek && shape.named ? labels.first().toString()
                                                          : labels.last().toString();
        Piece piece{QDate::fromString(day, Qt::ISODate), {}, {}, ReportFigures::rawSeconds(row)};
        if (!piece.day.isValid()) {
            return std::nullopt;
        }
        if (shape.named) {
            piece.name = shape.isEntry ? row[u"entry"][u"project_name"].toString() : labels.last().toString();
            piece.color = row[u"color"].toString();
        }
        pieces.append(piece);
    }
    return pieces;
}

/// The largest first. What has no place of its own is one more, at the end.
QList<Series> seriesOf(const QList<Piece>& pieces, bool named) {
    QMap<QString, Series> found;
    for (const Piece& piece : pieces) {
        const QString what = !named ? u"all"_s : piece.name.isEmpty() ? u"none"_s : u"named"_s;
        Series& series = found.insert(piece.name, found.value(piece.name, {piece.name, what, {}, 0})).value();
        series.color = series.color.isEmpty() ? piece.color : series.color;
        series.seconds += piece.seconds;
    }
    QList<Series> all = found.values();
    std::stable_sort(all.begin(), all.end(),
                     [](const Series& left, const Series& right) { return left.seconds > right.seconds; });
    if (all.size() > mostSeries) {
        Series others{{}, u"others"_s, {}, 0};
        std::for_each(all.begin() + mostSeries - 1, all.end(),
                      [&](const Series& series) { others.seconds += series.seconds; });
        all.resize(mostSeries - 1);
        all.append(others);
    }
    return all;
}

QJsonArray written(const QList<Series>& all) {
    QJsonArray list;
    for (const Series& series : all) {
        list.append(QJsonObject{{u"name"_s, series.name},
                                {u"what"_s, series.what},
                                {u"color"_s, series.color},
                                {u"seconds"_s, series.seconds}});
    }
    return list;
}

/// One column for each step from the first day to the last.
class Columns {
public:
    Columns(QDate first, QDate last, qint64 step, qsizetype series)
        : m_first(first), m_step(step),
          m_sums(static_cast<qsizetype>(first.daysTo(last) / step + 1), QList<qint64>(series, 0)) {}

    /// False when the day is none of the period's.
    [[nodiscard]] bool add(QDate day, qsizetype series, qint64 seconds) {
        const qint64 days = m_first.daysTo(day);
        if (days < 0 || days / m_step >= m_sums.size()) {
            return false;
        }
        m_sums[days / m_step][series] += seconds;
        return true;
    }
    [[nodiscard]] qint64 highest() const {
        qint64 highest = 0;
        for (const QList<qint64>& column : m_sums) {
            highest = std::max(highest, sumOf(column));
        }
        return highest;
    }
    /// Each part is told with what its series is.
    [[nodiscard]] QJsonArray written(const QJsonArray& series) const {
        QJsonArray columns;
        const auto scale = static_cast<double>(std::max<qint64>(highest(), 1));
        for (qsizetype i = 0; i < m_sums.size(); ++i) {
            columns.append(QJsonObject{{u"day"_s, m_first.addDays(i * m_step).toString(Qt::ISODate)},
                                       {u"seconds"_s, sumOf(m_sums[i])},
                                       {u"parts"_s, partsOf(m_sums[i], series, scale)}});
        }
        return columns;
    }

private:
    static qint64 sumOf(const QList<qint64>& column) {
        return std::accumulate(column.begin(), column.end(), qint64{0});
    }
    static QJsonArray partsOf(const QList<qint64>& column, const QJsonArray& series, double scale) {
        QJsonArray parts;
        qint64 base = 0;
        for (qsizetype i = 0; i < column.size(); ++i) {
            if (column[i] > 0) {
                QJsonObject part = series[i].toObject();
                part.insert(u"series"_s, i);
                part.insert(u"seconds"_s, column[i]);
                part.insert(u"base"_s, static_cast<double>(base) / scale);
                part.insert(u"height"_s, static_cast<double>(column[i]) / scale);
                parts.append(part);
                base += column[i];
            }
        }
        return parts;
    }

    QDate m_first;
    qint64 m_step;
    QList<QList<qint64>> m_sums;
};

/// By what a summary adds up more than `shape`, of which the server sent only a part.
QString coarser(const Shape& shape) {
    if (shape.named) {
        return u"day"_s;
    }
    return shape.byWeek ? QString() : u"week"_s;
}

QJsonObject missing(const QString& reason, const QString& instead = {}) {
    return {{u"missing"_s, reason}, {u"instead"_s, instead},     {u"unit"_s, u"day"_s},
            {u"highest"_s, 0},      {u"series"_s, QJsonArray()}, {u"columns"_s, QJsonArray()}};
}

/// Where a day cannot be read off an entry here, the server may still add up by it.
QJsonObject withoutDays(const Shape& shape) {
    return missing(u"days"_s, shape.isEntry ? u"day"_s : u"detailed"_s);
}

/// The period in columns of a day or a week each.
struct Period {
    QDate first;
    QDate last;
    qint64 step;
};

Period periodOf(QDate first, QDate last, const QList<Piece>& pieces, bool byWeek, int weekday) {
    if (byWeek) {
        return {startOfWeek(first, pieces.first().day.dayOfWeek()), last, daysOfWeek};
    }
    if (first.daysTo(last) < mostDays) {
        return {first, last, 1};
    }
    return {startOfWeek(first, weekday), last, daysOfWeek};
}

} // namespace

QJsonObject ReportPicture::of(const QJsonObject& report, const QJsonArray& rows, int weekday) {
    const Shape shape = shapeOf(report);
    if (rows.isEmpty()) {
        return missing(u"rows"_s);
    }
    if (!shape.hasDays) {
        return withoutDays(shape);
    }
    if (report[u"has_more"].toBool()) {
        return missing(u"cut"_s, coarser(shape));
    }
    const auto pieces = piecesOf(rows, shape);
    const QDate first = QDate::fromString(report[u"from_date"].toString(), Qt::ISODate);
    const QDate last = QDate::fromString(report[u"to_date"].toString(), Qt::ISODate);
    if (!pieces || !first.isValid() || !last.isValid() || last < first) {
        return withoutDays(shape);
    }
    const Period period = periodOf(first, last, *pieces, shape.byWeek, weekday);
    if (period.first.daysTo(period.last) / period.step >= mostColumns) {
        return missing(u"long"_s);
    }
    const QList<Series> series = seriesOf(*pieces, shape.named);
    QHash<QString, qsizetype> numbers;
    for (qsizetype i = 0; i < series.size(); ++i) {
        if (series[i].what != u"others") {
            numbers.insert(series[i].name, i);
        }
    }
    Columns columns(period.first, period.last, period.step, series.size());
    for (const Piece& piece : *pieces) {
        if (!columns.add(piece.day, numbers.value(piece.name, series.size() - 1), piece.seconds)) {
            return withoutDays(shape);
        }
    }
    const QJsonArray told = written(series);
    return {{u"missing"_s, QString()},
            {u"instead"_s, QString()},
            {u"named"_s, shape.named},
            {u"unit"_s, period.step == 1 ? u"day"_s : u"week"_s},
            {u"highest"_s, columns.highest()},
            {u"series"_s, told},
            {u"columns"_s, columns.written(told)}};
}
