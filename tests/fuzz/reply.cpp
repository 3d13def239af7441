// SPDX-License-Identifier: MIT
// The body of any reply: what of it is kept can be loaded again.
#include "controller/replies.h"
#include "state/document.h"
#include "state/sharing.h"
#include "tests/fuzz/fuzz.h"
#include "vault/documenttext.h"

using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<QJsonObject> object = objectIn(fuzz::bytesOf(data, size));
    if (usableStatus(object.has_value(), 200) != 200) {
        return 0;
    }
    const QJsonObject& reply = *object;
    static_cast<void>(errorText(reply, u"failed"_s));
    static_cast<void>(isId(reply.value(u"id")));
    // What a reply shares with the one before is not seen in it.
    static QJsonObject before;
    fuzz::require(sharingWith(before, reply) == reply, "the shared reply is the reply");
    before = reply;

    Document document;
    document.me = reply;
    document.snapshot = reply;
    document.timer = reply.value(u"timer").toObject();
    document.queue.append(
        QJsonObject{{u"status"_s, u"conflict"_s}, {u"mutation"_s, QJsonObject()}, {u"result"_s, reply}});
    const QJsonObject state = document.toJson();

    static DocumentText written;
    written.update(state);
    QByteArray text;
    written.appendTo(text);
    fuzz::require(text == fuzz::textOf(state), "the text is the compact one");
    fuzz::require(fuzz::objectIn(text) == fuzz::objectIn(fuzz::textOf(fuzz::objectIn(text))) &&
                      !fuzz::objectIn(text).isEmpty(),
                  "what is kept can be loaded again");
    return 0;
}
