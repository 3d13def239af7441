// SPDX-License-Identifier: MIT
#include "state/retained.h"

#include "state/timestamp.h"

#include <QHash>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto baseVersionKey = "base_version"_L1;
constexpr auto entityIdKey = "entity_id"_L1;
constexpr auto messageKey = "message"_L1;
constexpr auto mutationKey = "mutation"_L1;
constexpr auto operationKey = "operation"_L1;
constexpr auto payloadKey = "payload"_L1;
constexpr auto resultKey = "result"_L1;
constexpr auto statusKey = "status"_L1;
constexpr auto stopAtKey = "stop_at"_L1;
constexpr auto workspaceIdKey = "workspace_id"_L1;

/// The entry's fields in the order in which they are shown.
struct Field {
    QLatin1StringView key;
    QLatin1StringView name;
};
constexpr std::array fields{
    Field{"description"_L1, "description"_L1},
    Field{"project_id"_L1, "project"_L1},
    Field{"billable"_L1, "billable"_L1},
    Field{"start_at"_L1, "start_at"_L1},
    Field{stopAtKey, stopAtKey},
    Field{"tag_ids"_L1, "tags"_L1},
    Field{"deleted_at"_L1, "deleted_at"_L1},
};

QJsonObject mutationOf(const QJsonValue& item) {
    return item[mutationKey].toObject();
}

/// The queue's head, {} when the server did not refuse it.
QJsonObject refusedHead(const QJsonArray& queue) {
    const QJsonObject head = queue.isEmpty() ? QJsonObject() : queue.first().toObject();
    return head.value(statusKey).toString() == "pending"_L1 ? QJsonObject() : head;
}

bool isCreation(const QJsonObject& mutation) {
    const QString operation = mutation.value(operationKey).toString();
    return operation == "entry.create"_L1 || operation == "timer.start"_L1;
}

QJsonArray queueOf(const QJsonObject& state) {
    return state.value(documentkey::queue).toArray();
}

/// What the server has for the refused item's entry. The verdict is newer than the snapshot at first; then
/// reloads refresh that one, and the verdict stays as it was. {} when the server never showed such an entry.
QJsonObject serverEntry(const QJsonObject& state, const QJsonObject& item) {
    const QJsonObject mutation = mutationOf(item);
    const QJsonArray entries = state.value(documentkey::snapshot)["time_entries"_L1].toArray();
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const QJsonValue& entry) {
        return entry["id"_L1] == mutation.value(entityIdKey) &&
               entry[workspaceIdKey] == mutation.value(workspaceIdKey);
    });
    const QJsonObject told = item.value(resultKey)["canonical"_L1].toObject();
    const bool isListed =
        found != entries.end() && (*found)["version"_L1].toDouble() >= told.value("version"_L1).toDouble();
    return isListed ? found->toObject() : told;
}

/// Servers put their sentence in different places.
QString sentenceOf(const QJsonValue& result) {
    const QJsonValue error = result["error"_L1];
    for (const QJsonValue& place : {error[messageKey], result[messageKey], result["reason"_L1], error}) {
        if (!place.toString().isEmpty()) {
            return place.toString();
        }
    }
    return {};
}

QString projectName(const QString& id, const QJsonObject& state) {
    const QJsonArray projects = state.value(documentkey::snapshot)["catalog"_L1]["projects"_L1].toArray();
    const auto found = std::find_if(projects.begin(), projects.end(),
                                    [&](const QJsonValue& project) { return project["id"_L1] == id; });
    return found != projects.end() ? (*found)["name"_L1].toString(id) : id;
}

QString joined(const QJsonArray& texts) {
    QStringList list;
    std::transform(texts.begin(), texts.end(), std::back_inserter(list),
                   [](const QJsonValue& text) { return text.toString(); });
    return list.join(u", "_s);
}

/// The value of an entry's field as a person reads it; null when there is none. An empty text is one.
QJsonValue readable(const QJsonValue& value, QLatin1StringView name, const QJsonObject& state,
                    const QString& zone) {
    if (value.isBool()) {
        return value;
    }
    QString text = value.isArray() ? joined(value.toArray()) : value.toString();
    if (name.endsWith("_at"_L1)) {
        text = timeText(text, zone);
    } else if (name == "project"_L1) {
        text = projectName(text, state);
    }
    return text.isEmpty() && !value.isString() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonArray describeFields(const QJsonObject& state, const QJsonObject& item, const QString& zone) {
    const QJsonObject mutation = mutationOf(item);
    const QJsonObject payload = mutation.value(payloadKey).toObject();
    const QJsonObject entry = serverEntry(state, item);
    QJsonArray described;
    for (const auto& [key, name] : fields) {
        // Which entry it is, and whether it is still there, a change does not say by itself.
        const bool tells = name == "description"_L1 || name == "start_at"_L1 || name == "deleted_at"_L1;
        if (!tells && !isCreation(mutation) && !payload.contains(key)) {
            continue;
        }
        const QJsonValue recorded = readable(payload.value(key), name, state, zone);
        const QJsonValue server = readable(entry.value(key), name, state, zone);
        if (!recorded.isNull() || !server.isNull()) {
            described.append(
                QJsonObject{{"name"_L1, name}, {"recorded"_L1, recorded}, {"server"_L1, server}});
        }
    }
    return described;
}

/// A workspace's id and an entry's.
using EntryKey = QPair<QJsonValue, QJsonValue>;

/// Which entry a change is of.
EntryKey entryOf(const QJsonValue& item) {
    const QJsonObject mutation = mutationOf(item);
    return {mutation.value(workspaceIdKey), mutation.value(entityIdKey)};
}

/// The item with another value of its mutation's.
QJsonObject with(const QJsonValue& item, QLatin1StringView key, const QJsonValue& value) {
    QJsonObject mutation = mutationOf(item);
    mutation.insert(key, value);
    QJsonObject changed = item.toObject();
    changed.insert(mutationKey, mutation);
    return changed;
}

qint64 baseVersionOf(const QJsonValue& item) {
    return mutationOf(item).value(baseVersionKey).toInteger();
}

/// The server takes no start while a timer runs there. Where the stop of that one waits as well, it and
/// what was recorded before it come first; all else keeps its order.
QJsonArray clearWay(const QJsonArray& queue, const QJsonValue& running) {
    const QJsonObject head = mutationOf(queue.first());
    const bool starts =
        head.value(operationKey).toString() == "timer.start"_L1 && head.value(entityIdKey) != running;
    const auto stop = std::find_if(queue.begin(), queue.end(), [&](const QJsonValue& item) {
        return mutationOf(item).value(operationKey).toString() == "timer.stop"_L1 &&
               mutationOf(item).value(entityIdKey) == running;
    });
    if (!starts || stop == queue.end()) {
        return queue;
    }
    QJsonArray first;
    QJsonArray rest;
    for (auto item = queue.begin(); item != queue.end(); ++item) {
        const bool own = entryOf(*item) == entryOf(queue.first());
        (item <= stop && !own ? first : rest).append(*item);
    }
    for (const auto& item : std::as_const(rest)) {
        first.append(item);
    }
    return first;
}

/// Whether it is a stop of the timer as the server has it: a refused change is not shown in the timer, so
/// that a stop does not count on it.
bool stopsServersTimer(const QJsonObject& state, const QJsonValue& item) {
    return mutationOf(item).value(operationKey).toString() == "timer.stop"_L1 &&
           baseVersionOf(item) <= serverEntry(state, item.toObject()).value("version"_L1).toInteger();
}

/// Without as many changes of its entry that stood before it: it was recorded as the one after these, and
/// counts on their versions. The server would otherwise take somebody else's for them, and what they wrote be
/// replaced.
QJsonValue rebased(const QJsonValue& item, qsizetype before) {
    return before == 0 ? item : with(item, baseVersionKey, baseVersionOf(item) - before);
}

/// The item with another payload that has all of `more` as well.
QJsonValue merged(const QJsonValue& item, const QJsonObject& more) {
    QJsonObject payload = mutationOf(item).value(payloadKey).toObject();
    for (auto field = more.begin(); field != more.end(); ++field) {
        payload.insert(field.key(), field.value());
    }
    return with(item, payloadKey, payload);
}

/// With the edits of the entry that the head creates in its place: unchanged it would be refused for ever,
/// and so would they behind it. They may go before the other changes of their entry, which touch none of
/// their fields but the end. A start has no end: its stop, which was never sent, takes that. Where none
/// stands before the edit, that and the later ones stay.
QJsonArray withEdits(const QJsonArray& queue) {
    QJsonValue creation = queue.first();
    const bool starts = mutationOf(creation).value(operationKey).toString() == "timer.start"_L1;
    QJsonArray rest{creation};
    qsizetype stop = 0;
    qsizetype taken = 0;
    bool takes = true;
    for (auto item = std::next(queue.begin()); item != queue.end(); ++item) {
        if (entryOf(*item) != entryOf(creation)) {
            rest.append(*item);
            continue;
        }
        const QString operation = mutationOf(*item).value(operationKey).toString();
        const bool edits = operation == "entry.update"_L1;
        QJsonObject payload = mutationOf(*item).value(payloadKey).toObject();
        const bool ends = starts && edits && payload.contains(stopAtKey);
        takes = takes && (!ends || stop > 0);
        if (!edits || !takes) {
            stop = operation == "timer.stop"_L1 ? rest.size() : stop;
            rest.append(rebased(*item, taken));
            continue;
        }
        if (ends) {
            rest.replace(stop, merged(rest.at(stop), {{stopAtKey, payload.take(stopAtKey)}}));
        }
        creation = merged(creation, payload);
        ++taken;
    }
    rest.replace(0, creation);
    return rest;
}

bool replaceQueue(QJsonObject& state, const QJsonArray& queue, const PersistState& persist, QString* error,
                  const QString& failure) {
    QJsonObject candidate = state;
    candidate.insert(documentkey::queue, queue);
    const bool stored = persist(candidate);
    if (stored) {
        state = candidate;
    }
    if (error) {
        *error = stored ? QString() : failure;
    }
    return stored;
}

} // namespace

QJsonObject Retained::describe(const QJsonObject& state, const QString& zone) {
    const QJsonArray queue = queueOf(state);
    const QJsonObject head = refusedHead(queue);
    if (head.isEmpty()) {
        return {};
    }
    return {{operationKey, mutationOf(head).value(operationKey)},
            {statusKey, head.value(statusKey)},
            {"sentence"_L1, sentenceOf(head.value(resultKey))},
            {"leaving"_L1, leaving(queue).size()},
            {"pending"_L1, queue.size()},
            {"fields"_L1, describeFields(state, head, zone)}};
}

QJsonArray Retained::leaving(const QJsonArray& queue) {
    const QJsonObject head = refusedHead(queue);
    if (head.isEmpty()) {
        return {};
    }
    const QJsonObject mutation = mutationOf(head);
    if (!isCreation(mutation)) {
        return {head};
    }
    QJsonArray items;
    std::copy_if(queue.begin(), queue.end(), std::back_inserter(items),
                 [&](const QJsonValue& item) { return entryOf(item) == entryOf(head); });
    return items;
}

bool Retained::resend(QJsonObject& state, const QString& mutationId, const PersistState& persist,
                      QString* error) {
    QJsonArray queue = queueOf(state);
    const QJsonObject head = refusedHead(queue);
    const QString failure = u"The change could not be saved for sending again; it is retained as it was."_s;
    if (head.isEmpty()) {
        if (error) {
            *error = failure;
        }
        return false;
    }
    const QJsonValue version = serverEntry(state, head).value("version"_L1);
    if (isCreation(mutationOf(head)) && !version.isDouble()) {
        queue = withEdits(queue);
    }
    QJsonObject mutation = mutationOf(queue.first());
    mutation.insert("mutation_id"_L1, mutationId);
    if (version.isDouble()) {
        mutation.insert(baseVersionKey, version);
    }
    queue.replace(0, QJsonObject{{statusKey, "pending"_L1}, {mutationKey, mutation}});
    queue = clearWay(queue, state.value(documentkey::timer)["id"_L1]);
    return replaceQueue(state, queue, persist, error, failure);
}

bool Retained::remove(QJsonObject& state, const QJsonArray& items, const PersistState& persist,
                      QString* error) {
    QJsonArray rest;
    qsizetype removed = 0;
    QHash<EntryKey, QJsonArray> gone; // on which the later changes of their entry count
    const QJsonArray queue = queueOf(state);
    for (const auto& item : queue) {
        QJsonArray& before = gone[entryOf(item)];
        if (removed < items.size() && QJsonValue(item) == items.at(removed)) {
            before.append(item);
            ++removed;
            continue;
        }
        if (!before.isEmpty() && baseVersionOf(item) <= baseVersionOf(before.last())) {
            before = {}; // it was recorded without them, and what follows counts on it
        }
        rest.append(stopsServersTimer(state, item) ? QJsonValue(item) : rebased(item, before.size()));
    }
    return replaceQueue(
        state, rest, persist, error,
        u"The copy was written, but the queue could not be saved securely; nothing was removed."_s);
}
