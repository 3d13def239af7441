// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/files.h"
#include "controller/replies.h"

#include <QFileDialog>

namespace {

constexpr int maxRows = 500;

} // namespace

void Controller::queryReport(const QString& kind, const QString& fromDate, const QString& toDate,
                             const QString& zone, const QString& group) {
    if (m_busy || m_document.workspace.isEmpty()) {
        return;
    }
    begin();
    const QJsonObject body{
        {QStringLiteral("from_date"), fromDate}, {QStringLiteral("to_date"), toDate},
        {QStringLiteral("timezone"), zone},      {QStringLiteral("group_by"), QJsonArray{group}},
        {QStringLiteral("limit"), maxRows},
    };
    const QString path = QStringLiteral("/workspaces/") + m_document.workspace + QStringLiteral("/reports/") +
                         kind + QStringLiteral("/query");
    send("POST", path, body, [this](const QJsonObject& reply, int status) {
        if (status != 200) {
            failAsToldBy(reply, QStringLiteral("Report request failed"));
            return;
        }
        m_personal.report = reply;
        m_personal.reportRows = reply.value(u"rows").toArray();
        finish(reply.value(u"has_more").toBool()
                   ? QStringLiteral("First 500 rows shown. Exports contain the complete snapshot.")
                   : QStringLiteral("Server snapshot loaded"));
    });
}

void Controller::downloadReport(const QString& format) {
    const QString snapshotId = m_personal.report.value(u"snapshot_id").toString();
    if (snapshotId.isEmpty()) {
        return;
    }
    const QString path = QStringLiteral("/workspaces/") + m_document.workspace +
                         QStringLiteral("/report-snapshots/") + snapshotId +
                         QStringLiteral("/export?format=") + format;
    const qint64 generation = m_link.generation();
    const QString fileName = QFileDialog::getSaveFileName(nullptr, QStringLiteral("Save report"),
                                                          QStringLiteral("timer-report.") + format);
    if (fileName.isEmpty()) {
        return;
    }
    // The dialog stood open while the account changed: the report is not this one's.
    if (generation != m_link.generation()) {
        say(QStringLiteral("Export failed"));
        return;
    }
    m_link.download(path, token(), [this, fileName](const QByteArray& body, int status) {
        saveExport(fileName, body, status);
    });
}

void Controller::saveExport(const QString& fileName, const QByteArray& body, int status) {
    if (status != 200) {
        fail(QStringLiteral("Export failed"));
        return;
    }
    if (!replaceFile(fileName, body)) {
        fail(QStringLiteral("Unable to save the export"));
        return;
    }
    say(QStringLiteral("Report exported from its server snapshot"));
}
