// SPDX-License-Identifier: MIT
// A document as it could lie in a record, taken and shown.
#include "controller/controller.h"
#include "state/projector.h"
#include "state/retained.h"
#include "state/syncstate.h"
#include "tests/fuzz/fuzz.h"

using namespace Qt::StringLiterals;

namespace {

Controller& controller() {
    fuzz::needApplication();
    static auto* const client = new Controller; // stays, as the application does
    return *client;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QJsonObject object = fuzz::objectIn(fuzz::bytesOf(data, size));
    Controller& client = controller();
    client.applyDurable(object);
    const QJsonObject state = client.durableState();
    fuzz::require(Document::fromJson(state).toJson() == state, "what was taken is taken again as it is");

    static Projector remembering;
    const QJsonObject shown = SyncState::project(state);
    fuzz::require(remembering.project(state).toJson() == shown, "what is remembered changes nothing");
    fuzz::require(client.timer() == shown.value(u"timer").toObject().toVariantMap(), "one timer is shown");
    fuzz::require(client.entries().size() <= shown.value(u"entries").toArray().size(), "no entry is made up");
    fuzz::require(Retained::leaving(state.value(u"queue").toArray()).isEmpty() == client.retained().isEmpty(),
                  "what is refused can leave");
    static_cast<void>(client.projects());
    static_cast<void>(client.periods());
    static_cast<void>(client.elapsed());
    static_cast<void>(client.conflictDetails());
    static_cast<void>(client.manualNotice(u"2026-03-01T08:00:00Z"_s, u"2026-03-01T09:00:00Z"_s));
    return 0;
}
