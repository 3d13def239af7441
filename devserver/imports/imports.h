// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

class Router;

/// The preview of a CSV, as `previewImport` says, and the steps in which it is
/// written: `POST /imports/{id}/apply` {"preview_checksum","limit"} writes the next
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
