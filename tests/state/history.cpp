// SPDX-License-Identifier: MIT
#include "tests/state/history.h"

#include "state/syncstate.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

QJsonArray json(const char* text) {
    return QJsonDocument::fromJson(text).array();
}

// Small pools, so that ids collide, owners match and times overlap. Repeated
// values are the likelier ones; "-" leaves the key out.
const QJsonArray& ids() {
    static const QJsonArray values = json(R"(["a","b","B","aa","aaaab","aaaac","é","","x","y",5,null,"-"])");
    return values;
}

const QJsonArray& workspaces() {
    static const QJsonArray values = json(R"(["w","w","w","w","w","w","w","v","",5,null,"-"])");
    return values;
}

const QJsonArray& users() {
    static const QJsonArray values = json(R"(["u","u","u","u","u","u","u","t","",5,null,"-"])");
    return values;
}

const QJsonArray& times() {
    static const QJsonArray values = json(R"([
        "2024-01-01T00:00:00Z","2024-01-02T00:00:00Z","2024-01-02T02:00:00+02:00","2024-01-03T12:00:00.500Z",
        "2024-01-05T00:00:00","2024-01-06","2024-01-08T00:00:00Z","2024-01-09T00:00:00Z","2024-02-30T00:00:00Z",
        "soon","",null,null,7,"-","-"])");
    return values;
}

QJsonObject mergedInto(QJsonObject base, const QJsonObject& changes) {
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        base.insert(it.key(), it.value());
    }
    return base;
}

} // namespace

History::History(quint32 seed) : m_random(seed) {
    m_state = {{u"workspace"_s, u"w"_s}, {u"me"_s, QJsonObject{{u"id"_s, u"u"_s}}}};
}

QJsonValue History::pick(const QJsonArray& values) {
    return values.at(below(static_cast<int>(values.size())));
}

QJsonObject History::shaped(const QJsonObject& pools) {
    QJsonObject object;
    for (auto pool = pools.begin(); pool != pools.end(); ++pool) {
        const QJsonValue value = pick(pool.value().toArray());
        if (value != "-"_L1) {
            object.insert(pool.key(), value);
        }
    }
    return object;
}

QJsonValue History::entry() {
    if (below(40) == 0) {
        return pick(json(R"([null,"text",[],{}])"));
    }
    return shaped({{u"id"_s, ids()},
                   {u"workspace_id"_s, workspaces()},
                   {u"user_id"_s, users()},
                   {u"start_at"_s, times()},
                   {u"stop_at"_s, times()},
                   {u"deleted_at"_s, json(R"([null,null,null,"-","2024-01-01T00:00:00Z"])")},
                   {u"version"_s, json(R"([1,2,3])")},
                   {u"period_locked"_s, json(R"(["-","-","-",true])")},
                   {u"description"_s, json(R"(["one","two","שלוש"])")}});
}

QJsonValue History::period() {
    if (below(20) == 0) {
        return pick(json(R"([null,"text",[],{}])"));
    }
    return shaped({{u"workspace_id"_s, workspaces()},
                   {u"user_id"_s, users()},
                   {u"status"_s, json(R"(["approved","submitted","open","Approved",1,"-"])")},
                   {u"start_at"_s, times()},
                   {u"end_at"_s, times()}});
}

QJsonValue History::item() {
    if (below(30) == 0) {
        return pick(json(R"([null,"text",{},{"status":"pending","mutation":7}])"));
    }
    QJsonObject payload = entry().toObject();
    payload.remove(pick(json(R"(["id","user_id","start_at","stop_at"])")).toString());
    QJsonObject mutation =
        shaped({{u"mutation_id"_s, json(R"(["m1","m2","m3"])")},
                {u"workspace_id"_s, workspaces()},
                {u"entity_id"_s, ids()},
                {u"base_version"_s, json(R"([0,1,2,7,-3,"4",1.5,null,"-"])")},
                {u"operation"_s, json(R"(["entry.create","timer.start","entry.update","timer.stop",
                                                             "entry.delete","entry.restore","else","-"])")}});
    mutation.insert(u"payload"_s, payload);
    QJsonObject item =
        shaped({{u"status"_s, json(R"(["pending","pending","pending","pending","conflict","rejected","-"])")},
                {u"created_at"_s, json(R"(["-","-","2024-01-04T00:00:00Z",5])")}});
    item.insert(u"mutation"_s, mutation);
    return item;
}

void History::setSnapshot(const QString& key, const QJsonValue& value) {
    QJsonObject snapshot = m_state.value("snapshot"_L1).toObject();
    snapshot.insert(key, value);
    m_state.insert(u"snapshot"_s, snapshot);
}

/// What a server would answer about the head of the queue, mostly.
void History::acknowledge() {
    const QJsonObject head = m_state.value("queue"_L1).toArray().at(0).toObject();
    const QJsonObject mutation = head.value("mutation"_L1).toObject();
    const QJsonObject canonical =
        mergedInto(entry().toObject(), {{u"id"_s, mutation.value("entity_id"_L1)},
                                        {u"workspace_id"_s, mutation.value("workspace_id"_L1)},
                                        {u"user_id"_s, m_state.value("me"_L1).toObject().value("id"_L1)}});
    const QJsonObject result{
        {u"mutation_id"_s, mutation.value("mutation_id"_L1)},
        {u"status"_s, pick(json(R"(["accepted","accepted","accepted","conflict","rejected"])"))},
        {u"canonical"_s, canonical}};
    const auto stored = [](const QJsonObject&) { return true; };
    if (SyncState::acknowledge(m_state, head, result, stored, nullptr) && below(8) != 0) {
        return;
    }
    QJsonArray queue = m_state.value("queue"_L1).toArray();
    if (!queue.isEmpty()) {
        queue.removeFirst();
    }
    m_state.insert(u"queue"_s, queue);
}

void History::editEntries() {
    QJsonArray entries = m_state.value("snapshot"_L1).toObject().value("time_entries"_L1).toArray();
    const int size = static_cast<int>(entries.size());
    const int place = below(size + 1);
    switch (below(5)) {
    case 0:
        entries.insert(place, entry());
        break;
    case 1:
        if (place < size) {
            entries.removeAt(place);
        }
        break;
    case 2:
        if (place < size) {
            entries.append(entries.takeAt(place));
        }
        break;
    case 3:
        if (place < size) {
            entries.append(entries.at(place));
        }
        break;
    default:
        if (place < size) {
            entries.replace(place, entry());
        }
        break;
    }
    setSnapshot(u"time_entries"_s, entries);
}

/// The same snapshot in new memory, as a server sends it again.
void History::reload() {
    const QJsonObject snapshot = m_state.value("snapshot"_L1).toObject();
    m_state.insert(u"snapshot"_s, QJsonDocument::fromJson(QJsonDocument(snapshot).toJson()).object());
    for (int edits = below(4); edits > 0; --edits) {
        editEntries();
    }
}

void History::changeScope() {
    switch (below(6)) {
    case 0:
        m_state.insert(u"workspace"_s, pick(workspaces()));
        break;
    case 1:
        m_state.insert(u"me"_s, QJsonObject{{u"id"_s, pick(users())}});
        break;
    case 2:
        m_state.insert(pick(json(R"(["workspace","me","snapshot","timer","queue"])")).toString(),
                       pick(json(R"([null,5,"text",[],{},true])")));
        break;
    default:
        m_state.insert(u"workspace"_s, u"w"_s);
        m_state.insert(u"me"_s, QJsonObject{{u"id"_s, u"u"_s}});
        break;
    }
}

QString History::step() {
    switch (below(9)) {
    case 0:
    case 1: {
        QJsonArray queue = m_state.value("queue"_L1).toArray();
        queue.append(item());
        m_state.insert(u"queue"_s, queue);
        return u"write"_s;
    }
    case 2:
        acknowledge();
        return u"acknowledge"_s;
    case 3:
        reload();
        return u"reload"_s;
    case 4: {
        QJsonArray periods;
        for (int count = below(6); count > 0; --count) {
            periods.append(period());
        }
        setSnapshot(u"timesheet_periods"_s, periods);
        return u"periods"_s;
    }
    case 5:
        changeScope();
        return u"scope"_s;
    case 6:
        m_state.insert(u"timer"_s, mergedInto(entry().toObject(),
                                              shaped({{u"local_pending"_s, json(R"(["-",true,false])")}})));
        return u"timer"_s;
    case 7:
        return u"nothing"_s;
    default:
        for (int edits = below(8); edits >= 0; --edits) {
            editEntries();
        }
        return u"edit"_s;
    }
}
