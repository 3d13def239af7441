// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/exports/exportfile.h"
#include "devserver/reports/snapshots.h"

namespace devserver {

class Router;

/// `GET /workspaces/{id}/report-snapshots/{id}/export?format=`.
void addExportRoutes(Router& router);

/// One form that a report can be exported in.
struct ReportFormat {
    QString name;    ///< "csv", "xlsx", "json", "html"; also the file's suffix
    QByteArray type; ///< for the Content-Type header
    qint64 largest;  ///< how many rows it can hold; 0: any number
    void (*write)(SnapshotReader& report, ExportFile& to);
};

/// RFC 4180 in UTF-8 with a byte-order mark, each text `harmless`.
void writeCsv(SnapshotReader& report, ExportFile& to);

/// A workbook of one sheet with typed cells.
void writeXlsx(SnapshotReader& report, ExportFile& to);
constexpr qint64 largestSheet = 1048576 - 2; // beside the header and the totals

/// The header, and in "rows" every row as it was stored.
void writeJson(SnapshotReader& report, ExportFile& to);

/// One page that needs nothing but itself, for printing on A4.
void writeHtml(SnapshotReader& report, ExportFile& to);

} // namespace devserver
