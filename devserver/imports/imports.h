// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// `POST /workspaces/{id}/imports/csv/preview` {"content","timezone",
/// "source_namespace","assign_to_me"}: judges every row of a detailed CSV for
/// the caller and stages it, writing no entry. Answers 201 with what
/// `progressOf` tells, and {"about" as one sentence,"valid","duplicates","problems","sample",
/// "new_projects","new_project_count","new_clients","new_client_count",
/// "source_users"}; its lists end at 50 problems, 5 examples and 100 names.
/// Opens its own transactions, so that no writer waits while a file is read.
/// Throws ApiError 404 when the caller is not a member of the workspace, 422
/// for a body or a file that cannot be used as a whole.
///
/// `POST /imports/{id}/apply` {"preview_checksum","limit"} writes the next
/// `limit` records of the caller's staged import, 1 to 500, skipping those that
/// were imported meanwhile, and answers with `progressOf`. The same
/// Idempotency-Key hears the same answer again and writes nothing; a completed
/// import writes nothing.
///
/// Throws ApiError 400 without a key, 404 for an import that is not the
/// caller's, 409 for another checksum, an import with invalid rows, and for
/// records that can no longer be written, none of which are then; 422 for a
/// body that cannot be used.
void addImportRoutes(Router& router);

} // namespace devserver
