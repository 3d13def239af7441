// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testserver.h"

/// A small world beside the development user and their workspace: a second
/// user who shares it, a second workspace of the developer's, a workspace of
/// the other's alone, and projects and periods in them. It is written past the
/// server, straight into the database.
struct World {
    explicit World(const TestDatabase& database);

    QString developer;
    QString workspace;
    QString other = newId();
    QByteArray otherToken = "token of the other user";
    QByteArray revokedToken = "token that was revoked";
    QString secondWorkspace = newId();
    QString foreignWorkspace = newId();
    QString project = newId();
    QString archivedProject = newId();
    QString foreignProject = newId(); ///< of the second workspace

    [[nodiscard]] static QString newId();
};

/// A mutation record under a fresh id.
[[nodiscard]] QJsonObject mutation(const QString& workspace, const QString& operation, const QString& entity,
                                   int baseVersion, const QJsonObject& payload = {});

/// The payload of a closed entry.
[[nodiscard]] QJsonObject closed(const QString& start, const QString& stop, const QString& description = {});

/// The payload of a timer that starts at a time.
[[nodiscard]] QJsonObject started(const QString& start);
