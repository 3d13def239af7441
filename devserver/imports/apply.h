// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/request.h"
#include "devserver/imports/store.h"

namespace devserver {

/// `POST /imports/{id}/apply` {"preview_checksum","limit"}: writes the next
/// `limit` records of the caller's staged import, 1 to 500, skipping those that
/// were imported meanwhile, and answers with `progressOf`. The same
/// Idempotency-Key hears the same answer again and writes nothing; a completed
/// import writes nothing. Runs inside a write transaction.
///
/// Throws ApiError 400 without a key, 404 for an import that is not the
/// caller's, 409 for another checksum, an import with invalid rows, and for
/// records that can no longer be written, none of which are then; 422 for a
/// body that cannot be used.
[[nodiscard]] Answer applyImport(Request& request);

/// {"id","checksum","state","checkpoint","total","has_more","invalid","written","skipped"}
[[nodiscard]] QJsonObject progressOf(const StagedImport& import);

} // namespace devserver
