// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <optional>

/// One program per person and session bus. The first one holds a name on the bus
/// and answers there as org.freedesktop.Application; every later one hands its
/// start over and ends. Without a bus, or on one that gives nobody the name, each is the first.
class Instance : public QObject {
    Q_OBJECT

public:
    /// What a start asks for.
    struct Start {
        QVariantMap platformData;      ///< As platformData() gives it.
        std::optional<QString> server; ///< The address from the command line, as it is.
    };

    enum class Role {
        First,      ///< Nobody was there: go on.
        HandedOver, ///< The first program has carried the start out.
        Unanswered, ///< There is a first program, and it does not answer.
    };

    using QObject::QObject;

    /// What the desktop gave this process to bring a window to the front with. Read it
    /// before the application object is made, which takes it from the environment.
    [[nodiscard]] static QVariantMap platformData();

    /// Takes the name, or hands the start over to who has it; waits 3.5 s at most.
    [[nodiscard]] Role claim(const Start& start);

    /// The name on the bus, which is that of the desktop entry as well.
    [[nodiscard]] static const QString& name();

Q_SIGNALS:
    /// Someone started the program again.
    void activated(const QVariantMap& platformData);
    /// ... and named a server.
    void serverGiven(const QString& address);
};
