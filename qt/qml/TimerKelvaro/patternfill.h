// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <qqmlintegration.h>

/// A surface in one colour with a pattern on it, by which it is told from others where colours are not seen.
class PatternFill : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY lookChanged)
    /// Its number among the patterns, of which the first is none.
    Q_PROPERTY(int pattern MEMBER m_pattern NOTIFY lookChanged)

public:
    explicit PatternFill(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void lookChanged();

private:
    QColor m_color;
    int m_pattern = 0;
};
