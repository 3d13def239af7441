// SPDX-License-Identifier: MIT
#pragma once

#include "controllertype.h"

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <qqmlintegration.h>

/// An entry as it is by now, for a form that was filled with it earlier.
class PresentEntry : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Controller* controller MEMBER m_controller REQUIRED)

public:
    using QObject::QObject;

    /// Those fields of `changes` in which the entry has got something else since it was `before`, and
    /// something else than they say: the "name" of each and its present "value" as a person reads it, a
    /// project by its name and null for none. Empty when there is no such entry any more.
    Q_INVOKABLE [[nodiscard]] QVariantList otherwise(const QVariantMap& before,
                                                     const QVariantMap& changes) const;

    /// Whether it is still to be seen, listed or running.
    Q_INVOKABLE [[nodiscard]] bool isThere(const QString& id) const;

private:
    [[nodiscard]] QVariantMap present(const QString& id) const;
    [[nodiscard]] QVariant readable(const QString& name, const QVariant& value) const;

    Controller* m_controller = nullptr;
};
