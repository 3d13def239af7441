// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/database.h"
#include "devserver/reportquery.h"

#include <QByteArray>

namespace devserver {

/// Runs a report over the closed entries of all members of a workspace and
/// freezes it in a snapshot of the user's. Returns {"snapshot_id","kind",
/// "group_by","from_date","to_date","timezone","currency","totals","has_more",
/// "rows"}; the rows are {"labels","totals"}, in a detailed report
/// {"entry","totals"}.
///
/// The snapshot's header is {"kind","group_by" as text,"from_date","to_date",
/// "timezone","workspace" by name,"language","currency","totals"}.
[[nodiscard]] QByteArray reportReply(Connection& connection, const QString& userId,
                                     const QString& workspaceId, const ReportQuery& query);

} // namespace devserver
