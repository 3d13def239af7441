// SPDX-License-Identifier: MIT
#pragma once

#include <QQuickItem>
#include <QString>
#include <qqmlintegration.h>

/// Lets assistive technology speak a text at once, wherever the person is. Give
/// it the role of a notification and `text` as its accessible name.
class Announcer : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString text READ text NOTIFY textChanged)

public:
    using QQuickItem::QQuickItem;

    [[nodiscard]] QString text() const { return m_text; }
    Q_INVOKABLE void say(const QString& text);

Q_SIGNALS:
    void textChanged();

private:
    QString m_text;
};
