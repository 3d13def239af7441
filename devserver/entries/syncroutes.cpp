// SPDX-License-Identifier: MIT
#include "devserver/entries/syncroutes.h"

#include "devserver/base/apierror.h"
#include "devserver/entries/push.h"
#include "devserver/entries/snapshot.h"
#include "devserver/http/router.h"

namespace devserver {

void addSyncRoutes(Router& router) {
    router.get("/v1/me/timer", Work::Read,
               [](Request& request) { return timerReply(request.connection(), request.caller()); });
    router.get("/v1/sync/snapshot", Work::Read, [](Request& request) {
        const QString workspace = request.parameter("workspace_id");
        if (workspace.isEmpty()) {
            throw ApiError{400, QStringLiteral("malformed"),
                           QStringLiteral("The request names no workspace_id.")};
        }
        return snapshotReply(request.connection(), request.caller(), workspace);
    });
    router.post("/v1/sync/push", Work::Write, [](Request& request) {
        const QString key = QString::fromUtf8(request.header("Idempotency-Key"));
        return pushReply(request.connection(), request.caller(), readPush(request.body(), key));
    });
}

} // namespace devserver
