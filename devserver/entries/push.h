// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/accounts/accounts.h"
#include "devserver/entries/rules.h"

namespace devserver {

/// Reads {"mutations":[RECORD]} with exactly one record, whose `mutation_id`
/// must equal `idempotencyKey`. Throws ApiError 400. Whatever else is
/// wrong inside the record is the mutation's own rejection, not a malformed
/// push: a client would send that again for ever.
[[nodiscard]] Mutation readPush(const QByteArray& body, const QString& idempotencyKey);

/// Applies the mutation and answers {"results":[RESULT]}; RESULT is
/// {"mutation_id","status"[,"message"][,"canonical"]}, where `canonical` is the
/// entry when it exists and is the caller's. The answer is stored with the
/// change, and a repeated push hears it again. Runs inside a write transaction;
/// throws ApiError 422 when the id was used for another content.
[[nodiscard]] QByteArray pushReply(Connection& connection, const Caller& caller, const Mutation& mutation);

} // namespace devserver
