// SPDX-License-Identifier: MIT
#pragma once

#include "tests/controller/filedialogs.h"
#include "tests/support/desk.h"

#include <QJsonArray>
#include <QStringList>
#include <QTemporaryDir>

/// Somebody at a client whose change the server refused, and the file that a copy goes to. The server has the
/// entries "e1" and "e2".
struct Resolver {
    /// The status message of a queue that does not move.
    static QString blocked();
    /// A closed entry as the server has it.
    static QJsonObject theirs(const QString& id, int version = 7);
    static QJsonObject edit(const QString& entity, const QString& status = QStringLiteral("pending"));
    static QJsonObject start(const QString& entity, const QString& status = QStringLiteral("pending"));
    static QJsonObject stop(const QString& entity);

    Desk desk{sample::snapshot({theirs(QStringLiteral("e1")), theirs(QStringLiteral("e2"))})};
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(QStringLiteral("copy.json"));

    Resolver();

    [[nodiscard]] Controller& controller() { return *desk.controller; }
    /// Connects, and takes this queue as the one that waits.
    [[nodiscard]] bool hold(const QJsonArray& queue);
    /// The queue items in the file.
    [[nodiscard]] QJsonArray copied() const;
    [[nodiscard]] QStringList files() const;
};
