// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QStringList>

class Controller;

/// Every status that a controller shows from now on, without repetitions.
class Messages : public QObject {
    Q_OBJECT

public:
    explicit Messages(const Controller& controller);

    [[nodiscard]] QStringList startingWith(const QString& prefix) const;

private:
    QStringList m_texts;
};
