// SPDX-License-Identifier: MIT
// {"state", "item", "result"}: a server's answer to any change, on any document.
#include "state/syncstate.h"
#include "tests/fuzz/fuzz.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

qsizetype waitingIn(const QJsonObject& state) {
    return state.value(u"queue").toArray().size();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QJsonObject input = fuzz::objectIn(fuzz::bytesOf(data, size));
    const QJsonObject before = input.value(u"state").toObject();
    const QJsonObject head = before.value(u"queue").toArray().first().toObject();
    const QJsonObject item = input.value(u"item").toObject(head);
    const QJsonObject result = input.value(u"result").toObject();
    for (const bool keeps : {true, false}) {
        QJsonObject state = before;
        QJsonObject kept;
        QString error;
        const bool taken = SyncState::acknowledge(
            state, item, result,
            [&kept, keeps](const QJsonObject& candidate) {
                kept = candidate;
                return keeps;
            },
            &error);
        fuzz::require(taken ? state == kept && keeps : state == before, "only what is kept counts");
        fuzz::require(taken == error.isEmpty(), "a refusal says why");
        const bool accepted = taken && result.value(u"status") == u"accepted"_s;
        fuzz::require(waitingIn(state) == waitingIn(before) - (accepted ? 1 : 0),
                      "nothing but what was accepted leaves the queue");
        fuzz::require(!taken || result.value(u"mutation_id") == item.value(u"mutation")[u"mutation_id"],
                      "an answer is to its change");
    }
    return 0;
}
