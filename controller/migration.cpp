// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/replies.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>

#include <optional>

using namespace Qt::StringLiterals;

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
        fail(u"Confirm that source records belong to the current account."_s);
        return;
    }
    const qint64 generation = m_link.generation();
    const QString fileName =
        QFileDialog::getOpenFileName(nullptr, u"Select detailed CSV"_s, {}, u"CSV (*.csv)"_s);
    if (fileName.isEmpty()) {
        return;
    }
    // The dialog stood open while the account changed: nobody said that the records are this one's.
    if (generation != m_link.generation()) {
        say(u"Import preview failed"_s);
        return;
    }
    const std::optional<QByteArray> bytes = readCsv(fileName);
    if (!bytes) {
        fail(u"CSV unavailable or exceeds 900KB limit"_s);
        return;
    }
    const QString content = QString::fromUtf8(*bytes);
    if (content.toUtf8() != *bytes) {
        fail(u"CSV must be UTF-8"_s);
        return;
    }
    begin();
    const QJsonObject body{
        {u"content"_s, content},
        {u"timezone"_s, zone},
        {u"source_namespace"_s, namespaceName},
        {u"assign_to_me"_s, true},
    };
    const QString workspace = m_document.workspace;
    const QString path = u"/workspaces/"_s + workspace + u"/imports/csv/preview"_s;
    send("POST", path, body, [this, workspace](const QJsonObject& reply, int status) {
        if (status != 201) {
            failAsToldBy(reply, u"Import preview failed"_s);
            return;
        }
        adoptPreview(reply, workspace);
        finish(u"Preview only: no time entries have been written"_s);
    });
}

void Controller::adoptPreview(const QJsonObject& preview, const QString& workspace) {
    showPreview(preview);
    m_personal.previewWorkspace = workspace;
    // Nothing of a former import goes on under a preview that nobody has confirmed.
    ++m_previews;
    m_personal.nextChunk = NextChunk::None;
}

void Controller::showPreview(const QJsonObject& preview) {
    m_personal.importPreview = preview;
    m_personal.importView.update(preview, m_timezone, ++m_shownPreviews);
}

QVariantMap Controller::importPreview() const {
    return m_personal.importPreview.toVariantMap();
}

QVariantList Controller::importRows() const {
    return m_personal.importView.rows();
}

QVariantMap Controller::importCounts() const {
    return m_personal.importView.counts();
}

void Controller::applyImport() {
    if (!canApply()) {
        return;
    }
    // Who confirms means the workspace that is shown; the server would write to the other one.
    if (m_personal.previewWorkspace != m_document.workspace) {
        say(u"This preview is for another workspace; choose that one, or choose the file again."_s);
        return;
    }
    applyChunk();
}

bool Controller::canApply() const {
    return !m_busy && !m_personal.importPreview.isEmpty() &&
           m_personal.importPreview.value(u"invalid").toDouble() < 1;
}

void Controller::applyChunk() {
    m_personal.nextChunk = NextChunk::None;
    m_personal.importPaused = false;
    begin();
    const QString path = u"/imports/"_s + m_personal.importPreview.value(u"id").toString() + u"/apply"_s;
    const QJsonObject body{
        {u"preview_checksum"_s, m_personal.importPreview.value(u"checksum").toString()},
        {u"limit"_s, recordsPerChunk},
    };
    send("POST", path, body, [this, preview = m_previews](const QJsonObject& reply, int status) {
        applyImportReply(preview, reply, status);
    });
}

void Controller::applyImportReply(qint64 preview, const QJsonObject& reply, int status) {
    if (status != 200) {
        failAsToldBy(reply, u"Import failed"_s);
        return;
    }
    const bool replaced = preview != m_previews;
    if (!replaced) {
        showPreview(reply);
    }
    finish(u"Import: %1 · %2 / %3"_s.arg(reply.value(u"state").toString(),
                                         QString::number(reply.value(u"checkpoint").toInteger()),
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
    if (canApply()) {
        applyChunk();
    }
}

void Controller::pauseImport() {
    m_personal.importPaused = true;
    say(u"Pausing after the current committed chunk"_s);
}
