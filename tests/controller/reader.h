// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"

#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// Someone who reads reports: connected, without secure storage, and with a
/// folder of their own. Dialogs choose `target` until told otherwise.
struct Reader {
    static QString queryPath();
    static QString exportPath();
    static QString token();
    static QJsonObject reportReply(int rowCount = 2, const QString& snapshotId = u"report-1"_s);

    ScriptedPeer peer;
    Controller controller;
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"report.csv"_s);

    [[nodiscard]] bool connectAndSettle();
    void signIn();
    void query();
    [[nodiscard]] bool loadReport();

    [[nodiscard]] bool writeTarget(const QByteArray& bytes) const;
    [[nodiscard]] QByteArray readTarget() const;
    /// All files of the folder, temporary ones included.
    [[nodiscard]] QStringList files() const;
};
