// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>

#include <optional>

namespace {

constexpr qint64 maxCsvBytes = 900000;
constexpr int recordsPerChunk = 25;

/// The whole file, or nothing when it cannot be read to its end, is larger than
/// the limit, or changes meanwhile: rows that are missing would never be imported.
std::optional<QByteArray> readCsv(const QString& fileName) {
    QFile file(fileName);
    // Opening a pipe would wait for somebody to write.
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray bytes = file.read(maxCsvBytes + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > maxCsvBytes || bytes.size() != file.size()) {
        return std::nullopt;
    }
    return bytes;
}

} // namespace

void Controller::previewCsv(const QString& namespaceName, const QString& zone, bool assignToMe) {
    if (!assignToMe) {
        fail(QStringLiteral("Confirm that source records belong to the current account."));
        return;
    }
    const qint64 generation = m_link.generation();
    const QString fileName = QFileDialog::getOpenFileName(nullptr, QStringLiteral("Select detailed CSV"), {},
                                                          QStringLiteral("CSV (*.csv)"));
    if (fileName.isEmpty()) {
        return;
    }
    // The dialog stood open while the account changed: nobody said that the records are this one's.
    if (generation != m_link.generation()) {
        say(QStringLiteral("Import preview failed"));
        return;
    }
    const std::optional<QByteArray> bytes = readCsv(fileName);
    if (!bytes) {
        fail(QStringLiteral("CSV unavailable or exceeds 900KB limit"));
        return;
    }
    const QString content = QString::fromUtf8(*bytes);
    if (content.toUtf8() != *bytes) {
        fail(QStringLiteral("CSV must be UTF-8"));
        return;
    }
    begin();
    const QJsonObject body{
        {QStringLiteral("content"), content},
        {QStringLiteral("timezone"), zone},
        {QStringLiteral("source_namespace"), namespaceName},
        {QStringLiteral("assign_to_me"), true},
    };
    const QString path =
        QStringLiteral("/workspaces/") + m_document.workspace + QStringLiteral("/imports/csv/preview");
    send("POST", path, body, [this](const QJsonObject& reply, int status) {
        if (status != 201) {
            failAsToldBy(reply, QStringLiteral("Import preview failed"));
            return;
        }
        adoptPreview(reply);
        finish(QStringLiteral("Preview only: no time entries have been written"));
    });
}

void Controller::adoptPreview(const QJsonObject& preview) {
    m_personal.importPreview = preview;
    // Nothing of a former import goes on under a preview that nobody has confirmed.
    ++m_previews;
    m_personal.nextChunk = NextChunk::None;
}

void Controller::applyImport() {
    if (m_busy || m_personal.importPreview.isEmpty() ||
        m_personal.importPreview.value(u"invalid").toDouble() >= 1) {
        return;
    }
    m_personal.nextChunk = NextChunk::None;
    m_personal.importPaused = false;
    begin();
    const QString path = QStringLiteral("/imports/") + m_personal.importPreview.value(u"id").toString() +
                         QStringLiteral("/apply");
    const QJsonObject body{
        {QStringLiteral("preview_checksum"), m_personal.importPreview.value(u"checksum").toString()},
        {QStringLiteral("limit"), recordsPerChunk},
    };
    send("POST", path, body, [this, preview = m_previews](const QJsonObject& reply, int status) {
        applyImportReply(preview, reply, status);
    });
}

void Controller::applyImportReply(qint64 preview, const QJsonObject& reply, int status) {
    if (status != 200) {
        failAsToldBy(reply, QStringLiteral("Import failed"));
        return;
    }
    const bool replaced = preview != m_previews;
    if (!replaced) {
        m_personal.importPreview = reply;
    }
    finish(QStringLiteral("Import: %1 · %2 / %3")
               .arg(reply.value(u"state").toString(), QString::number(reply.value(u"checkpoint").toInteger()),
                    QString::number(reply.value(u"total").toInteger())),
           true);
    if (reply.value(u"has_more").toBool() && !m_personal.importPaused && !replaced) {
        m_personal.nextChunk = NextChunk::Scheduled;
        QTimer::singleShot(0, this, &Controller::continueImport);
        return;
    }
    loadWorkspace();
}

void Controller::continueImport() {
    if (m_personal.nextChunk == NextChunk::None) {
        return;
    }
    if (m_busy) {
        // A reload came between two chunks; the import goes on when it ends.
        m_personal.nextChunk = NextChunk::Waiting;
        return;
    }
    if (m_personal.nextChunk == NextChunk::Waiting && m_personal.importPaused) {
        m_personal.nextChunk = NextChunk::None;
        loadWorkspace();
        return;
    }
    applyImport();
}

void Controller::pauseImport() {
    m_personal.importPaused = true;
    say(QStringLiteral("Pausing after the current committed chunk"));
}
