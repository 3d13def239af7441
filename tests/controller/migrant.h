// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/controller/filedialogs.h"
#include "tests/support/scriptedpeer.h"

#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// Someone who moves their history here. The scripted server stages it as
/// "import-1" with 60 records and commits what is asked for, under a new checksum
/// "sum-N" each time. Dialogs choose `source` until told otherwise.
struct Migrant {
    static QString previewPath();
    static QString applyPath();
    /// The status after a preview.
    static QString previewed();
    static QJsonObject record(int checkpoint, int total, const QString& state,
                              const QString& checksum = u"sum-0"_s);
    static PeerReply refusal(const QJsonValue& message, int status);

    ScriptedPeer peer;
    Controller controller;
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString source = folder.filePath(u"history.csv"_s);

    [[nodiscard]] bool connectAndSettle();
    /// Answers every chunk as promised above, until the script says otherwise.
    void serveImport();
    [[nodiscard]] bool writeSource(const QByteArray& bytes) const;
    void preview();
    [[nodiscard]] bool loadPreview();

    /// The property `importPreview`.
    [[nodiscard]] QJsonObject shown() const;
    [[nodiscard]] qsizetype chunks() const;
    [[nodiscard]] qsizetype reloads() const;

private:
    [[nodiscard]] PeerReply commit(const PeerRequest& request);

    int m_committed = 0;
};
