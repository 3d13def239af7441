// SPDX-License-Identifier: MIT
#pragma once

#include "controllertype.h"

#include <QObject>
#include <QString>
#include <qqmlintegration.h>

/// What somebody who helps has to know of this program and its surroundings.
/// Made to be shown to strangers: nothing that a person recorded, and no address or name.
class TechnicalDetails : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Controller* controller MEMBER m_controller REQUIRED)

public:
    using QObject::QObject;

    /// Puts them into the clipboard.
    Q_INVOKABLE void copy() const;

private:
    [[nodiscard]] QString storage() const;
    [[nodiscard]] QString status() const;

    Controller* m_controller = nullptr;
};
