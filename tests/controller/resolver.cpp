// SPDX-License-Identifier: MIT
#include "tests/controller/resolver.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

QString Resolver::blocked() {
    return u"Sync conflict retained with its original payload. Inspect or export it; period locks cannot be "
           "bypassed."_s;
}

QJsonObject Resolver::theirs(const QString& id, int version) {
    QJsonObject entry = sample::entry(id, u"2024-03-01T08:00:00Z"_s, u"2024-03-01T09:00:00Z"_s);
    entry.insert(u"version"_s, version);
    return entry;
}

QJsonObject Resolver::edit(const QString& entity, const QString& status) {
    return sample::queueItem(u"entry.update"_s, entity, {{u"description"_s, u"Mine"_s}}, status);
}

QJsonObject Resolver::start(const QString& entity, const QString& status) {
    return sample::queueItem(u"timer.start"_s, entity,
                             {{u"description"_s, u"Mine"_s},
                              {u"project_id"_s, u"project-1"_s},
                              {u"billable"_s, true},
                              {u"start_at"_s, u"2024-03-01T08:00:00Z"_s}},
                             status);
}

QJsonObject Resolver::stop(const QString& entity) {
    return sample::queueItem(u"timer.stop"_s, entity, {{u"stop_at"_s, u"2024-03-01T09:00:00Z"_s}});
}

Resolver::Resolver() {
    dialogs.choose(target);
}

bool Resolver::hold(const QJsonArray& queue) {
    return desk.load() && desk.holdQueue(queue);
}

QJsonArray Resolver::copied() const {
    QFile file(target);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll())[u"queue"].toArray()
                                          : QJsonArray{u"no file"_s};
}

QStringList Resolver::files() const {
    return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
}
