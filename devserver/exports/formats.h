// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/reports/snapshots.h"

namespace devserver {

class Router;

/// `GET /workspaces/{id}/report-snapshots/{id}/export?format=`.
void addExportRoutes(Router& router);

/// The file of an export lies in TMPDIR and ends with its last user. There it has no name, or a
/// random one on a file system that knows no nameless files (O_TMPFILE). Throws as `requireWritten`.
void write(QTemporaryFile& file, const QByteArray& bytes);

/// A workbook of one sheet with typed cells.
void writeXlsx(SnapshotReader& report, QTemporaryFile& to);

/// One page that needs nothing but itself, for printing on A4.
void writeHtml(SnapshotReader& report, QTemporaryFile& to);

} // namespace devserver
