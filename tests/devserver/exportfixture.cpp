// SPDX-License-Identifier: MIT
#include "tests/devserver/exportfixture.h"

#include "devserver/store/schema.h"

#include <QFile>
#include <QJsonDocument>
#include <QVariant>

using namespace Qt::StringLiterals;
using devserver::Connection;

namespace {

QString compact(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace

QJsonObject reportHeader(const QString& kind, const QString& language, const QString& group) {
    return {{u"kind"_s, kind},
            {u"group_by"_s, group},
            {u"from_date"_s, u"2026-01-01"_s},
            {u"to_date"_s, u"2026-12-31"_s},
            {u"timezone"_s, u"Asia/Jerusalem"_s},
            {u"workspace"_s, u"סטודיו גל & Sons <Ltd>"_s},
            {u"language"_s, language},
            {u"currency"_s, u"ILS"_s},
            {u"totals"_s, reportTotals(360'061, u"1234567.50"_s, 3)}};
}

QJsonObject reportTotals(int seconds, const QJsonValue& amount, int entries) {
    const int rounded = (seconds + 899) / 900 * 900;
    return {{u"raw_duration_seconds"_s, seconds},
            {u"rounded_duration_seconds"_s, rounded},
            {u"billable_duration_seconds"_s, rounded / 2},
            {u"amount"_s, amount},
            {u"entry_count"_s, entries}};
}

QJsonObject labelledRow(const QJsonArray& labels, const QJsonObject& totals) {
    return {{u"labels"_s, labels}, {u"totals"_s, totals}};
}

QJsonObject detailedRow(const QString& description, const QJsonObject& change) {
    QJsonObject entry{{u"id"_s, World::newId()},
                      {u"workspace_id"_s, devserver::developmentWorkspace},
                      {u"user_id"_s, devserver::developmentUser},
                      {u"description"_s, description},
                      {u"project_id"_s, World::newId()},
                      {u"tag_ids"_s, QJsonArray()},
                      {u"billable"_s, true},
                      {u"start_at"_s, u"2026-03-05T07:08:09Z"_s},
                      {u"stop_at"_s, u"2026-03-05T08:00:00Z"_s},
                      {u"deleted_at"_s, QJsonValue::Null},
                      {u"version"_s, 1},
                      {u"duration_seconds"_s, 3111},
                      {u"project_name"_s, u"Website"_s},
                      {u"client_name"_s, u"מרפאת הדר"_s},
                      {u"task_name"_s, u"Design"_s},
                      {u"user_name"_s, u"נועה לוי"_s},
                      {u"tags"_s, QJsonArray{u"urgent"_s, u"דחוף"_s}}};
    for (auto field = change.begin(); field != change.end(); ++field) {
        entry.insert(field.key(), field.value());
    }
    return {{u"entry"_s, entry}, {u"totals"_s, reportTotals(3111, u"172.83"_s)}};
}

QString ExportFixture::Export::errorCode() const {
    return Reply{status, {}, QJsonDocument::fromJson(body).object()}.errorCode();
}

QByteArray ExportFixture::Export::header(const char* name) const {
    const auto [first, last] = headers.equal_range(name);
    return std::distance(first, last) == 1 ? QByteArray::fromStdString(first->second) : QByteArray();
}

bool ExportFixture::start() {
    return server.start(database);
}

QString ExportFixture::store(const QJsonObject& header, const QJsonArray& rows) {
    return storeFor(world.developer, world.workspace, header, rows);
}

QString ExportFixture::storeFor(const QString& user, const QString& workspace, const QJsonObject& header,
                                const QJsonArray& rows) {
    m_snapshot = World::newId();
    Connection connection(database.address());
    connection.run(u"INSERT INTO report_snapshots (id, workspace_id, user_id, created_at, header)"
                   " VALUES (?, ?, ?, 1790000000, ?)"_s,
                   {m_snapshot, workspace, user, compact(header)});
    for (qsizetype i = 0; i < rows.size(); ++i) {
        connection.run(u"INSERT INTO report_rows (snapshot_id, position, content) VALUES (?, ?, ?)"_s,
                       {m_snapshot, i, compact(rows[i].toObject())});
    }
    return m_snapshot;
}

void ExportFixture::fill(const QJsonObject& row, int from, int count) {
    database.run(u"INSERT INTO report_rows (snapshot_id, position, content)"
                 " WITH RECURSIVE numbers(n) AS (SELECT %1 UNION ALL SELECT n + 1 FROM numbers WHERE n < %2)"
                 " SELECT '%3', n, REPLACE(?, '#', CAST(n AS TEXT)) FROM numbers"_s.arg(from)
                     .arg(from + count - 1)
                     .arg(m_snapshot),
                 {compact(row)});
}

ExportFixture::Export ExportFixture::get(const QString& format, const QByteArray& token) const {
    return get(world.workspace, m_snapshot, format, token);
}

ExportFixture::Export ExportFixture::get(const QString& workspace, const QString& snapshot,
                                         const QString& format, const QByteArray& token) const {
    httplib::Client client("127.0.0.1", server.port());
    client.set_read_timeout(std::chrono::minutes(2));
    const QString path =
        u"/v1/workspaces/%1/report-snapshots/%2/export?format=%3"_s.arg(workspace, snapshot, format);
    httplib::Headers headers;
    if (!token.isEmpty()) {
        headers.emplace("Authorization", "Bearer " + token.toStdString());
    }
    const httplib::Result result = client.Get(path.toStdString(), headers);
    if (!result) {
        return {};
    }
    return {result->status, QByteArray::fromStdString(result->body), result->headers};
}

QString ExportFixture::save(const QString& name, const QByteArray& bytes) const {
    QFile file(m_folder.filePath(name));
    const bool saved = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush();
    return saved ? file.fileName() : QString();
}
