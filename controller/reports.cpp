// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/files.h"
#include "controller/replies.h"

#include <QFileDialog>

using namespace Qt::StringLiterals;

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
        {u"from_date"_s, fromDate},         {u"to_date"_s, toDate}, {u"timezone"_s, zone},
        {u"group_by"_s, QJsonArray{group}}, {u"limit"_s, maxRows},
    };
    const QString path = u"/workspaces/"_s + m_document.workspace + u"/reports/"_s + kind + u"/query"_s;
    send("POST", path, body, [this](const QJsonObject& reply, int status) {
        if (status != 200) {
            failAsToldBy(reply, u"Report request failed"_s);
            return;
        }
        m_personal.report = reply;
        m_personal.reportRows = reply.value(u"rows").toArray();
        finish(reply.value(u"has_more").toBool()
                   ? u"First 500 rows shown. Exports contain the complete snapshot."_s
                   : u"Server snapshot loaded"_s);
    });
}

void Controller::downloadReport(const QString& format) {
    const QString snapshotId = m_personal.report.value(u"snapshot_id").toString();
    if (snapshotId.isEmpty()) {
        return;
    }
    const QString path = u"/workspaces/"_s + m_document.workspace + u"/report-snapshots/"_s + snapshotId +
                         u"/export?format="_s + format;
    const qint64 generation = m_link.generation();
    const QString fileName =
        QFileDialog::getSaveFileName(nullptr, u"Save report"_s, u"timer-report."_s + format);
    if (fileName.isEmpty()) {
        return;
    }
    // The dialog stood open while the account changed: the report is not this one's.
    if (generation != m_link.generation()) {
        say(u"Export failed"_s);
        return;
    }
    m_link.download(path, token(), [this, fileName](const QByteArray& body, int status) {
        saveExport(fileName, body, status);
    });
}

void Controller::saveExport(const QString& fileName, const QByteArray& body, int status) {
    if (status != 200) {
        fail(u"Export failed"_s);
        return;
    }
    if (!replaceFile(fileName, body)) {
        fail(u"Unable to save the export"_s);
        return;
    }
    say(u"Report exported from its server snapshot"_s);
}
