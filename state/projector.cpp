// SPDX-License-Identifier: MIT
#include "state/projector.h"

#include "state/baseentries.h"
#include "state/document.h"
#include "state/timestamp.h"

#include <QJsonArray>
#include <QSet>

#include <map>

using namespace Qt::StringLiterals;

namespace {

constexpr auto idKey = "id"_L1;
constexpr auto workspaceIdKey = "workspace_id"_L1;
constexpr auto userIdKey = "user_id"_L1;
constexpr auto stopAtKey = "stop_at"_L1;
constexpr auto deletedAtKey = "deleted_at"_L1;
constexpr auto versionKey = "version"_L1;
constexpr auto localPendingKey = "local_pending"_L1;
constexpr auto mutationKey = "mutation"_L1;
constexpr auto entityIdKey = "entity_id"_L1;

/// The queue on top of the base entries: the entities it touches and the timer.
class Overlay {
public:
    Overlay(const BaseEntries& base, QString workspace, QString user)
        : m_base(base), m_workspace(std::move(workspace)), m_user(std::move(user)) {}

    void takeServerTimer(const QJsonObject& timer);
    void apply(const QJsonArray& queue);
    [[nodiscard]] Projection result() const;

private:
    void applyItem(const QJsonObject& item);
    [[nodiscard]] QJsonObject created(const QString& id, const QJsonObject& payload) const;
    void updateTimer(const QString& id, const QJsonObject& entity);
    [[nodiscard]] QJsonObject find(const QString& id) const;

    const BaseEntries& m_base;
    const QString m_workspace;
    const QString m_user;
    QSet<QString> m_conflicts;
    std::map<QString, QJsonObject> m_touched;
    QJsonObject m_timer;
};

bool isCreation(const QString& operation) {
    return operation == "entry.create"_L1 || operation == "timer.start"_L1;
}

/// An existing entity after a mutation that does not create it.
QJsonObject changed(QJsonObject entity, const QJsonObject& item, const QString& operation) {
    const QJsonObject mutation = item.value(mutationKey).toObject();
    const QJsonObject payload = mutation.value("payload"_L1).toObject();
    if (operation == "entry.update"_L1) {
        for (auto it = payload.constBegin(); it != payload.constEnd(); ++it) {
            entity.insert(it.key(), it.value());
        }
    } else if (operation == "timer.stop"_L1) {
        entity.insert(stopAtKey, payload.value(stopAtKey));
    } else if (operation == "entry.delete"_L1) {
        // The time of the deletion is the item's, not the mutation's.
        entity.insert(deletedAtKey, item.value("created_at"_L1).toString(u"pending-deletion"_s));
    } else if (operation == "entry.restore"_L1) {
        entity.insert(deletedAtKey, QJsonValue::Null);
    }
    entity.insert(versionKey, qint64{mutation.value("base_version"_L1).toInt()} + 1);
    return entity;
}

QJsonValue duration(const QJsonObject& entity) {
    const QDateTime stop = stamp(entity.value(stopAtKey));
    if (!stop.isValid()) {
        return QJsonValue::Null;
    }
    return stamp(entity.value("start_at"_L1)).secsTo(stop);
}

void Overlay::takeServerTimer(const QJsonObject& timer) {
    if (timer.value(userIdKey) != m_user || timer.value(localPendingKey).toBool()) {
        return;
    }
    m_timer = timer;
    const auto known = m_base.find(timer.value(idKey).toString());
    if (!known) {
        return;
    }
    const bool ended = known->value(stopAtKey).isString() || known->value(deletedAtKey).isString();
    m_timer = ended ? QJsonObject{} : *known;
}

void Overlay::apply(const QJsonArray& queue) {
    for (const auto& element : queue) {
        const QJsonObject item = element.toObject();
        if (item.value("status"_L1).toString() != "pending"_L1) {
            m_conflicts.insert(item.value(mutationKey).toObject().value(entityIdKey).toString());
        }
    }
    for (const auto& element : queue) {
        applyItem(element.toObject());
    }
}

void Overlay::applyItem(const QJsonObject& item) {
    const QJsonObject mutation = item.value(mutationKey).toObject();
    if (mutation.value(workspaceIdKey) != m_workspace) {
        return;
    }
    const QString id = mutation.value(entityIdKey).toString();
    const QString operation = mutation.value("operation"_L1).toString();
    QJsonObject entity;
    if (isCreation(operation)) {
        entity = created(id, mutation.value("payload"_L1).toObject());
    } else {
        entity = find(id);
        if (entity.isEmpty()) {
            return;
        }
        entity = changed(entity, item, operation);
    }
    entity.insert("duration_seconds"_L1, duration(entity));
    entity.insert(localPendingKey, true);
    entity.insert("local_conflict"_L1, m_conflicts.contains(id));
    m_touched.insert_or_assign(id, entity);
    updateTimer(id, entity);
}

QJsonObject Overlay::created(const QString& id, const QJsonObject& payload) const {
    QJsonObject entity = payload;
    entity.insert(idKey, id);
    entity.insert(workspaceIdKey, m_workspace);
    entity.insert(userIdKey, m_user);
    entity.insert(versionKey, 1);
    entity.insert(deletedAtKey, QJsonValue::Null);
    if (!payload.contains(stopAtKey)) {
        entity.insert(stopAtKey, QJsonValue::Null);
    }
    return entity;
}

void Overlay::updateTimer(const QString& id, const QJsonObject& entity) {
    if (m_conflicts.contains(id)) {
        return;
    }
    if (entity.value(stopAtKey).isNull() && !entity.value(deletedAtKey).isString()) {
        m_timer = entity;
    } else if (m_timer.value(idKey).toString() == id) {
        m_timer = {};
    }
}

QJsonObject Overlay::find(const QString& id) const {
    const auto touched = m_touched.find(id);
    if (touched != m_touched.end()) {
        return touched->second;
    }
    return m_base.find(id).value_or(QJsonObject{});
}

Projection Overlay::result() const {
    ProjectedEntries entries;
    entries.reserve(std::ssize(m_base.rows()) + std::ssize(m_touched));
    auto row = m_base.rows().cbegin();
    const auto appendRowsUpTo = [&](BaseEntries::Rows::const_iterator stop) {
        for (; row != stop; ++row) {
            if (!row->superseded) {
                entries.append(row->shown);
            }
        }
    };
    for (const auto& [id, touched] : m_touched) {
        const auto [first, last] = m_base.rowsOf(id);
        appendRowsUpTo(first);
        row = last;
        entries.append({touched, m_base.isLocked(touched)});
    }
    appendRowsUpTo(m_base.rows().cend());
    return {entries, m_timer};
}

} // namespace

struct Projector::Memory {
    BaseEntries base;
    QJsonArray queue;
    QJsonObject timer;
    std::optional<Projection> result;
};

Projector::Projector() : m_memory(std::make_unique<Memory>()) {
}

Projector::~Projector() = default;

Projection Projector::project(const QJsonObject& state) {
    Memory& memory = *m_memory;
    const Document document = Document::fromJson(state);
    const QString user = document.me.value(idKey).toString();
    const bool moved = memory.base.update(document.workspace, user, document.snapshot);
    if (!moved && memory.result && document.queue == memory.queue && document.timer == memory.timer) {
        return *memory.result;
    }

    Overlay overlay(memory.base, document.workspace, user);
    overlay.takeServerTimer(document.timer);
    overlay.apply(document.queue);
    memory.queue = document.queue;
    memory.timer = document.timer;
    memory.result = overlay.result();
    return *memory.result;
}
