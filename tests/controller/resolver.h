// SPDX-License-Identifier: MIT
#pragma once

#include "tests/controller/filedialogs.h"
#include "tests/support/desk.h"

#include <QJsonArray>
#include <QStringList>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// Somebody at a client whose change the server refused, and the file that a copy goes to. The server has the
/// entries "e1" and "e2".
struct Resolver {
    /// The status message of a queue that does not move.
    static QString blocked();
    /// A closed entry as the server has it.
    static QJsonObject theirs(const QString& id, int version = 7);
    static QJsonObject edit(const QString& entity, const QString& status = u"pending"_s);
    static QJsonObject start(const QString& entity, const QString& status = u"pending"_s);
    static QJsonObject stop(const QString& entity);

    Desk desk{sample::snapshot({theirs(u"e1"_s), theirs(u"e2"_s)})};
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"copy.json"_s);

    Resolver();

    [[nodiscard]] Controller& controller() { return *desk.controller; }
    /// Connects, and takes this queue as the one that waits.
    [[nodiscard]] bool hold(const QJsonArray& queue);
    /// The queue items in the file.
    [[nodiscard]] QJsonArray copied() const;
    [[nodiscard]] QStringList files() const;
};
