// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testworld.h"
#include "tests/support/exportreader.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

/// The header of a snapshot of the year 2026, as its query stores it.
[[nodiscard]] QJsonObject reportHeader(const QString& kind, const QString& language = u"en"_s,
                                       const QString& group = u"project"_s);

/// Totals of `seconds`, rounded up to a quarter of an hour, half of it billable.
[[nodiscard]] QJsonObject reportTotals(int seconds, const QJsonValue& amount, int entries = 1);

/// A row of a summary or weekly report.
[[nodiscard]] QJsonObject labelledRow(const QJsonArray& labels, const QJsonObject& totals);

/// A row of a detailed report, from 2026-03-05 07:08:09 UTC on; `change`
/// replaces fields of its entry.
[[nodiscard]] QJsonObject detailedRow(const QString& description, const QJsonObject& change = {});

/// The server with one snapshot at a time, asked for exports of it. Snapshots
/// are written past the server, straight into the database.
class ExportFixture {
public:
    struct Export {
        int status = 0; ///< 0: no reply
        QByteArray body;
        httplib::Headers headers;

        [[nodiscard]] QString errorCode() const;
        [[nodiscard]] QByteArray header(const char* name) const;
    };

    [[nodiscard]] bool start();

    /// The developer's, in the shared workspace; the rest replaces it.
    QString store(const QJsonObject& header, const QJsonArray& rows);
    QString storeFor(const QString& user, const QString& workspace, const QJsonObject& header,
                     const QJsonArray& rows);
    /// Adds the same row `count` times behind the `from` that are there; "#" in it becomes the position.
    void fill(const QJsonObject& row, int from, int count);

    [[nodiscard]] Export get(const QString& format, const QByteArray& token = {}) const;
    [[nodiscard]] Export get(const QString& workspace, const QString& snapshot, const QString& format,
                             const QByteArray& token = {}) const;
    /// Writes the bytes to a file of this name in a folder of the test's own; its path.
    [[nodiscard]] QString save(const QString& name, const QByteArray& bytes) const;

    TestDatabase database;
    World world{database};
    TestServer server;

private:
    QTemporaryDir m_folder;
    QString m_snapshot;
};
