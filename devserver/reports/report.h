// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// `POST /workspaces/{id}/reports/{kind}/query`, its body as `readReportQuery`
/// says: runs a report over the closed entries of all members of a workspace and
/// freezes it in a snapshot of the caller's. Answers {"snapshot_id","kind",
/// "group_by","from_date","to_date","timezone","currency","totals","has_more",
/// "rows"}; the rows are {"labels","totals"}, in a detailed report
/// {"entry","totals"}.
///
/// The snapshot's header is {"kind","group_by" as text,"from_date","to_date",
/// "timezone","workspace" by name,"language","currency","totals"}.
///
/// Opens its own transactions, so that no writer waits while entries are read
/// and grouped. Throws ApiError 404 when the caller is not a member of the
/// workspace, 422 for a query that makes no sense.
void addReportRoutes(Router& router);

} // namespace devserver
