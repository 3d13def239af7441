// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "controller/files.h"
#include "controller/replies.h"
#include "state/reportranges.h"
#include "state/reporttable.h"

#include <QClipboard>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

constexpr int maxRows = 500;

/// The answer, with what was asked where it does not say that itself.
QJsonObject withQuestion(QJsonObject answer, const QJsonObject& asked, const QString& kind) {
    for (auto key = asked.begin(); key != asked.end(); ++key) {
        if (!answer.contains(key.key())) {
            answer.insert(key.key(), key.value());
        }
    }
    answer.insert(u"kind"_s, answer.value(u"kind").toString(kind));
    return answer;
}

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
    send("POST", path, body, [this, body, kind](const QJsonObject& reply, int status) {
        if (status != 200) {
            failAsToldBy(reply, u"Report request failed"_s);
            return;
        }
        m_personal.report = reply;
        m_personal.reportRows = reply.value(u"rows").toArray();
        const QJsonObject& snapshot = m_document.snapshot; // a constant one is read without adding to it
        m_personal.reportView.update(withQuestion(reply, body, kind),
                                     snapshot[u"catalog"][u"projects"].toArray(), weekday());
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

QVariantList Controller::reportRows() const {
    return m_personal.reportRows.toVariantList();
}

QVariantMap Controller::reportTotals() const {
    return m_personal.report.value(u"totals").toObject().toVariantMap();
}

QVariantList Controller::reportFigures() const {
    return m_personal.reportView.rows();
}

QVariantList Controller::reportColumns() const {
    return m_personal.reportView.columns();
}

QVariantList Controller::reportSeries() const {
    return m_personal.reportView.series();
}

QVariantMap Controller::reportAbout() const {
    return m_personal.reportView.about();
}

QVariantMap Controller::reportRange(const QString& name) const {
    const QDate today = QDateTime::currentDateTimeUtc().toTimeZone(zone()).date();
    const ReportRange range = ReportRange::named(name, today, weekday());
    return {{u"from"_s, range.from.toString(Qt::ISODate)}, {u"to"_s, range.to.toString(Qt::ISODate)}};
}

void Controller::copyReport(const QStringList& titles, bool rightToLeft) {
    if (m_personal.reportRows.isEmpty()) {
        return;
    }
    const ReportTable table(titles, m_personal.reportView.figures());
    auto data = std::make_unique<QMimeData>();
    data->setText(table.text());
    data->setHtml(table.html(rightToLeft));
    QGuiApplication::clipboard()->setMimeData(data.release());
    say(m_personal.report.value(u"has_more").toBool()
            ? u"The first 500 rows are on the clipboard. Exports contain the complete snapshot."_s
            : u"The rows of the report are on the clipboard."_s);
}
