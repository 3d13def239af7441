// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/wire.h"

#include <QFileDialog>
#include <QNetworkReply>

namespace {

constexpr int maxRows = 500;

} // namespace

void Controller::queryReport(const QString& kind, const QString& fromDate, const QString& toDate,
                             const QString& zone, const QString& group) {
    if (m_busy || m_workspace.isEmpty()) {
        return;
    }
    m_busy = true;
    Q_EMIT changed();
    const QJsonObject body{
        {QStringLiteral("from_date"), fromDate}, {QStringLiteral("to_date"), toDate},
        {QStringLiteral("timezone"), zone},      {QStringLiteral("group_by"), QJsonArray{group}},
        {QStringLiteral("limit"), maxRows},
    };
    const QString path = QStringLiteral("/workspaces/") + m_workspace + QStringLiteral("/reports/") + kind +
                         QStringLiteral("/query");
    send("POST", path, body, [this](const QJsonObject& reply, int status) {
        m_busy = false;
        if (status != 200) {
            say(errorText(reply, QStringLiteral("Report request failed")));
            return;
        }
        m_report = reply;
        m_reportRows = reply.value(u"rows").toArray();
        say(reply.value(u"has_more").toBool()
                ? QStringLiteral("First 500 rows shown. Exports contain the complete snapshot.")
                : QStringLiteral("Server snapshot loaded"));
    });
}

void Controller::downloadReport(const QString& format) {
    const QString snapshotId = m_report.value(u"snapshot_id").toString();
    if (snapshotId.isEmpty()) {
        return;
    }
    const QString path = QStringLiteral("/workspaces/") + m_workspace + QStringLiteral("/report-snapshots/") +
                         snapshotId + QStringLiteral("/export?format=") + format;
    const qint64 generation = m_requestGeneration;
    const QString fileName = QFileDialog::getSaveFileName(nullptr, QStringLiteral("Save report"),
                                                          QStringLiteral("timer-report.") + format);
    if (fileName.isEmpty()) {
        return;
    }
    // The dialog stood open while the account changed: the report is not this one's.
    if (generation != m_requestGeneration) {
        say(QStringLiteral("Export failed"));
        return;
    }
    QNetworkRequest request = plainRequest(m_server + QStringLiteral("/v1") + path);
    if (accountSignedIn()) {
        request.setRawHeader("Authorization", "Bearer " + m_auth.value(u"token").toString().toUtf8());
    }
    QNetworkReply* reply = m_network.get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, fileName] {
        reply->deleteLater();
        // A body that breaks off still has the status 200; half a report must not pass for a whole one.
        const bool whole = reply->error() == QNetworkReply::NoError;
        saveExport(fileName, replyBody(*reply), whole ? httpStatus(*reply) : 0);
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
