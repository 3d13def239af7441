// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/devserver.h"
#include "tests/support/scriptedpeer.h"

#include <QByteArray>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// Someone who moves their history to the real development server, through a
/// peer that passes everything on and counts. Dialogs choose `source` until told
/// otherwise.
struct Mover {
    /// As many records, "work 0" and so on, each an hour of its own from 2025-06-01 on.
    static QByteArray history(int count);
    /// The first line of such a file.
    static QByteArray header();

    DevServer server;
    ScriptedPeer peer;
    Controller controller;
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString source = folder.filePath(u"history.csv"_s);

    /// Starts the server and connects, through the peer or else straight.
    [[nodiscard]] bool connectAndSettle(bool throughPeer = true);
    [[nodiscard]] bool writeSource(const QByteArray& bytes) const;
    /// Previews the source in UTC and waits for the outcome.
    [[nodiscard]] bool preview();
    /// Writes a source and previews it; whether all of it can be imported.
    [[nodiscard]] bool stage(const QByteArray& bytes);

    /// The property `importPreview`.
    [[nodiscard]] QJsonObject shown() const;
    /// The address that its steps are sent to.
    [[nodiscard]] QString applyPath() const;
    [[nodiscard]] qsizetype steps() const;
    [[nodiscard]] qsizetype reloads() const;
    /// The descriptions that the client lists, in alphabetical order.
    [[nodiscard]] QStringList listed() const;
    /// Whether client and server have exactly the records of `history(count)`, each once.
    [[nodiscard]] bool hasOnce(int count) const;
};
