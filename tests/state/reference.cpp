// SPDX-License-Identifier: MIT
#include "tests/state/reference.h"

#include <QDateTime>
#include <QJsonArray>
#include <QMap>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

QString text(const QJsonObject& object, const char* key) {
    return object.value(QLatin1StringView(key)).toString();
}

QJsonValue at(const QJsonObject& object, const char* key) {
    return object.value(QLatin1StringView(key));
}

QDateTime time(const QJsonObject& object, const char* key) {
    return QDateTime::fromString(text(object, key), Qt::ISODateWithMs);
}

void set(QJsonObject& object, const char* key, const QJsonValue& value) {
    object[QLatin1StringView(key)] = value;
}

bool locked(const QJsonObject& entry, const QJsonArray& periods) {
    const QDateTime start = time(entry, "start_at");
    const QDateTime stop = time(entry, "stop_at");
    if (!start.isValid()) {
        return false;
    }
    for (const auto& element : periods) {
        const QJsonObject period = element.toObject();
        if (at(period, "workspace_id") != at(entry, "workspace_id")) {
            continue;
        }
        if (at(period, "user_id") != at(entry, "user_id")) {
            continue;
        }
        if (text(period, "status") != u"submitted" && text(period, "status") != u"approved") {
            continue;
        }
        if (!(start < time(period, "end_at"))) {
            continue;
        }
        if (!stop.isValid()) {
            return true;
        }
        if (stop > time(period, "start_at")) {
            return true;
        }
    }
    return false;
}

struct Model {
    QString workspace;
    QString user;
    QMap<QString, QJsonObject> map;
    QSet<QString> conflicts;
    QJsonObject timer;

    void reconcileTimer(const QJsonObject& server);
    bool change(QJsonObject& entity, const QJsonObject& item) const;
    void apply(const QJsonObject& item);
};

void Model::reconcileTimer(const QJsonObject& server) {
    if (at(server, "user_id") == QJsonValue(user) && at(server, "local_pending") != QJsonValue(true)) {
        timer = server;
    }
    if (timer.isEmpty() || !map.contains(text(timer, "id"))) {
        return;
    }
    const QJsonObject known = map.value(text(timer, "id"));
    const bool ended = at(known, "stop_at").isString() || at(known, "deleted_at").isString();
    timer = ended ? QJsonObject() : known;
}

bool Model::change(QJsonObject& entity, const QJsonObject& item) const {
    const QJsonObject mutation = at(item, "mutation").toObject();
    const QJsonObject payload = at(mutation, "payload").toObject();
    const QString operation = text(mutation, "operation");
    if (operation == u"entry.create" || operation == u"timer.start") {
        entity = payload;
        set(entity, "id", text(mutation, "entity_id"));
        set(entity, "workspace_id", workspace);
        set(entity, "user_id", user);
        set(entity, "version", 1);
        set(entity, "deleted_at", QJsonValue::Null);
        if (!payload.keys().contains(u"stop_at"_s)) {
            set(entity, "stop_at", QJsonValue::Null);
        }
        return true;
    }
    if (entity.isEmpty()) {
        return false;
    }
    if (operation == u"entry.update") {
        for (const QString& key : payload.keys()) {
            entity[key] = payload[key];
        }
    }
    if (operation == u"timer.stop") {
        set(entity, "stop_at", at(payload, "stop_at"));
    }
    if (operation == u"entry.delete" && at(item, "created_at").isString()) {
        set(entity, "deleted_at", at(item, "created_at"));
    } else if (operation == u"entry.delete") {
        set(entity, "deleted_at", u"pending-deletion"_s);
    }
    if (operation == u"entry.restore") {
        set(entity, "deleted_at", QJsonValue::Null);
    }
    set(entity, "version", at(mutation, "base_version").toInt() + 1);
    return true;
}

void Model::apply(const QJsonObject& item) {
    const QJsonObject mutation = at(item, "mutation").toObject();
    if (at(mutation, "workspace_id") != QJsonValue(workspace)) {
        return;
    }
    const QString id = text(mutation, "entity_id");
    QJsonObject entity = map.value(id);
    if (!change(entity, item)) {
        return;
    }
    const QDateTime start = time(entity, "start_at");
    const QDateTime stop = time(entity, "stop_at");
    set(entity, "duration_seconds",
        stop.isValid() ? QJsonValue(start.secsTo(stop)) : QJsonValue(QJsonValue::Null));
    set(entity, "local_pending", true);
    set(entity, "local_conflict", conflicts.contains(id));
    map[id] = entity;
    if (conflicts.contains(id)) {
        return;
    }
    if (at(entity, "stop_at").isNull() && !at(entity, "deleted_at").isString()) {
        timer = entity;
    } else if (text(timer, "id") == id) {
        timer = QJsonObject();
    }
}

} // namespace

QJsonObject referenceProjection(const QJsonObject& state) {
    Model model;
    model.workspace = text(state, "workspace");
    model.user = text(at(state, "me").toObject(), "id");
    const QJsonObject snapshot = at(state, "snapshot").toObject();
    for (const auto& element : at(snapshot, "time_entries").toArray()) {
        const QJsonObject entry = element.toObject();
        if (text(entry, "workspace_id") == model.workspace && text(entry, "user_id") == model.user) {
            model.map[text(entry, "id")] = entry;
        }
    }
    model.reconcileTimer(at(state, "timer").toObject());
    const QJsonArray queue = at(state, "queue").toArray();
    for (const auto& item : queue) {
        if (text(item.toObject(), "status") != u"pending") {
            model.conflicts.insert(text(at(item.toObject(), "mutation").toObject(), "entity_id"));
        }
    }
    for (const auto& item : queue) {
        model.apply(item.toObject());
    }

    QJsonArray entries;
    for (QJsonObject entry : std::as_const(model.map)) {
        set(entry, "period_locked", locked(entry, at(snapshot, "timesheet_periods").toArray()));
        entries.append(entry);
    }
    QJsonObject view;
    set(view, "entries", entries);
    set(view, "timer", model.timer);
    return view;
}
