// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/request.h"

namespace devserver {

/// `POST /workspaces/{id}/imports/csv/preview` {"content","timezone",
/// "source_namespace","assign_to_me"}: judges every row of a detailed CSV for
/// the caller and stages it, writing no entry. Answers 201 with what
/// `progressOf` tells, and {"about" as one sentence,"valid","duplicates","problems","sample",
/// "new_projects","new_project_count","new_clients","new_client_count",
/// "source_users"}; its lists end at 50 problems, 5 examples and 100 names.
/// Opens its own transactions, so that no writer waits while a file is read.
///
/// Throws ApiError 404 when the caller is not a member of the workspace, 422
/// for a body or a file that cannot be used as a whole.
[[nodiscard]] Answer previewImport(Request& request);

} // namespace devserver
