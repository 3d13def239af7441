// SPDX-License-Identifier: MIT
#include "patternfill.h"

#include <QPainter>

#include <algorithm>
#include <array>

namespace {

constexpr std::array patterns{Qt::NoBrush,      Qt::BDiagPattern, Qt::HorPattern,   Qt::Dense6Pattern,
                              Qt::FDiagPattern, Qt::VerPattern,   Qt::CrossPattern, Qt::DiagCrossPattern};

/// Dark on light colours and light on dark ones.
QColor inkOn(const QColor& color) {
    constexpr int middle = 140;
    return qGray(color.rgb()) > middle ? QColor(0, 0, 0, 120) : QColor(255, 255, 255, 150);
}

} // namespace

PatternFill::PatternFill(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &PatternFill::lookChanged, this, [this] { update(); });
}

void PatternFill::paint(QPainter* painter) {
    const QRectF all = boundingRect();
    painter->fillRect(all, m_color);
    const auto number = static_cast<std::size_t>(std::max(m_pattern, 0)) % patterns.size();
    painter->fillRect(all, QBrush(inkOn(m_color), patterns.at(number)));
}
