// SPDX-License-Identifier: MIT
#pragma once

#include "controllertype.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <qqmlintegration.h>

/// The controller's import record as JSON text, made anew only when it is another record. A long one follows
/// a moment later than the rest that is shown of it, so that the window answers in between.
class ImportText : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        Controller* controller MEMBER m_controller WRITE setController NOTIFY controllerChanged REQUIRED)
    Q_PROPERTY(QString text READ text NOTIFY textChanged)

public:
    explicit ImportText(QObject* parent = nullptr);

    void setController(Controller* controller);
    [[nodiscard]] QString text() const { return m_text; }

    /// As JSON.stringify(value, null, 2) has it.
    [[nodiscard]] static QString indented(const QJsonObject& object);

Q_SIGNALS:
    void controllerChanged();
    void textChanged();

private:
    void follow();
    void read();

    QPointer<Controller> m_controller;
    qint64 m_number = 0; ///< of the record that is shown, or soon will be
    QString m_text;
    QTimer m_later;
};
