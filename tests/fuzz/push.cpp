// SPDX-License-Identifier: MIT
// The body of any push, on a server that has one entry.
#include "devserver/entries/push.h"
#include "devserver/base/apierror.h"
#include "devserver/store/schema.h"
#include "tests/fuzz/fuzz.h"

#include <QJsonArray>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace devserver;

namespace {

/// As the seeds name it.
const QString entry = u"00000000-0000-4000-8000-00000000000e"_s;

/// A server's database; what a push changes in it is rolled back.
class Store {
public:
    Store() {
        migrate(connection());
        connection().run(u"INSERT INTO time_entries (id, workspace_id, user_id, description, tag_ids,"
                         " billable, start_at, stop_at, version) VALUES (?, ?, ?, '', '[]', 0, 10, 20, 1)"_s,
                         {entry, developmentWorkspace, developmentUser});
    }
    [[nodiscard]] Connection& connection() { return m_database.connection(); }

private:
    QTemporaryDir m_folder;
    Database m_database{
        DatabaseAddress{DatabaseAddress::Kind::Sqlite, m_folder.filePath(u"server.sqlite"_s), {}, -1, {}}};
};

Connection& connection() {
    fuzz::needApplication();
    static Store store;
    return store.connection();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray body = fuzz::bytesOf(data, size);
    const QJsonObject first = fuzz::objectIn(body).value(u"mutations").toArray().first().toObject();
    const Caller caller{developmentUser, false};
    Connection& store = connection();
    try {
        const Mutation push = readPush(body, first.value(u"mutation_id").toString());
        const Transaction transaction(store, Transaction::Kind::Write);
        const QByteArray reply = pushReply(store, caller, push);
        const QJsonObject result = fuzz::objectIn(reply).value(u"results").toArray().first().toObject();
        const bool accepted = result.value(u"status") == u"accepted"_s;
        fuzz::require(result.value(u"mutation_id") == first.value(u"mutation_id"), "it is answered");
        fuzz::require(accepted != result.contains(u"message"), "a refusal says why");
        fuzz::require(!accepted || result.value(u"canonical").isObject(), "what is accepted is shown");
        fuzz::require(pushReply(store, caller, push) == reply, "asked again, the same is said again");
    } catch (const ApiError&) {
        // No push at all.
    }
    return 0;
}
