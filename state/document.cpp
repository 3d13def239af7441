// SPDX-License-Identifier: MIT
#include "state/document.h"

Document Document::fromJson(const QJsonObject& object) {
    return {
        .auth = object.value(documentkey::auth).toObject(),
        .signedOut = object.value(documentkey::signedOut).toBool(),
        .me = object.value(documentkey::me).toObject(),
        .workspaces = object.value(documentkey::workspaces).toArray(),
        .workspace = object.value(documentkey::workspace).toString(),
        .snapshot = object.value(documentkey::snapshot).toObject(),
        .timer = object.value(documentkey::timer).toObject(),
        .queue = object.value(documentkey::queue).toArray(),
    };
}

QJsonObject Document::toJson() const {
    return {
        {documentkey::auth, auth},
        {documentkey::signedOut, signedOut},
        {documentkey::me, me},
        {documentkey::workspaces, workspaces},
        {documentkey::workspace, workspace},
        {documentkey::snapshot, snapshot},
        {documentkey::timer, timer},
        {documentkey::queue, queue},
    };
}
