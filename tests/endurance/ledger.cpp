// SPDX-License-Identifier: MIT
#include "tests/endurance/ledger.h"

#include "tests/support/filesearch.h"
#include "tests/vault/vaulthome.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isCreation(const QJsonObject& mutation) {
    const QString operation = mutation.value(u"operation").toString();
    return operation == u"timer.start"_s || operation == u"entry.create"_s;
}

/// Times can be written in more than one way.
bool saysTheSame(const QJsonValue& one, const QJsonValue& other) {
    const QDateTime time = QDateTime::fromString(one.toString(), Qt::ISODate);
    return one == other || (time.isValid() && time == QDateTime::fromString(other.toString(), Qt::ISODate));
}

QString textOf(const QJsonObject& mutation) {
    return QString::fromUtf8(QJsonDocument(mutation).toJson(QJsonDocument::Compact));
}

} // namespace

QString idOf(const QJsonObject& mutation) {
    return mutation.value(u"mutation_id").toString();
}

QJsonObject mutationOf(const QJsonValue& item) {
    return item[u"mutation"].toObject();
}

bool isInOrder(const QJsonArray& queue, const QJsonArray& expected, const QJsonObject& again) {
    if (queue == expected) {
        return true;
    }
    const auto changes = [&again](const QJsonArray& items, bool ofTheEntry) {
        QJsonArray chosen;
        std::copy_if(items.begin(), items.end(), std::back_inserter(chosen), [&](const QJsonValue& item) {
            return (mutationOf(item).value(u"entity_id") == again.value(u"entity_id")) == ofTheEntry;
        });
        return chosen;
    };
    return again.value(u"operation") == u"timer.start"_s && changes(queue, true) == changes(expected, true) &&
           changes(queue, false) == changes(expected, false);
}

bool contains(const QJsonArray& queue, const QJsonValue& item) {
    return std::any_of(queue.begin(), queue.end(), [&item](const QJsonValue& other) {
        return idOf(mutationOf(other)) == idOf(mutationOf(item));
    });
}

bool isSameWish(const QJsonObject& one, const QJsonObject& other) {
    return one.value(u"operation") == other.value(u"operation") &&
           one.value(u"entity_id") == other.value(u"entity_id") &&
           one.value(u"payload") == other.value(u"payload");
}

QJsonArray queueIn(const QString& fileName) {
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll())[u"queue"].toArray()
                                          : QJsonArray();
}

QString savedSentence() {
    return u"Saved securely on this device"_s;
}

bool saysSignedOut(const QString& message) {
    return message.startsWith(u"Signed out. "_s);
}

void Ledger::blame(const QString& problem) {
    if (m_problem.isEmpty()) {
        m_problem = problem;
    }
}

void Ledger::record(const QString& account, const QJsonObject& mutation, bool misled) {
    m_writes.insert(idOf(mutation), {account, mutation, misled, {}, {}, false});
    m_entities.append(mutation.value(u"entity_id").toString());
}

void Ledger::recordAgain(const QJsonValue& former, const QJsonObject& mutation) {
    const QString formerId = idOf(mutationOf(former));
    if (former[u"status"] == u"pending"_s) {
        blame(u"what was never refused got another key: "_s + textOf(mutation));
    }
    QJsonObject expected = of(formerId).mutation;
    expected.insert(u"mutation_id"_s, mutation.value(u"mutation_id"));
    expected.insert(u"base_version"_s, mutation.value(u"base_version"));
    if (mutation != expected) {
        blame(u"sent again with another content: "_s + textOf(mutation));
    }
    m_writes[formerId].sentAgain = idOf(mutation);
    record(of(formerId).account, mutation, of(formerId).misled);
}

void Ledger::recordInFile(const QJsonObject& mutation) {
    if (!knows(idOf(mutation)) || of(idOf(mutation)).mutation != mutation) {
        blame(u"a file holds what nobody recorded: "_s + textOf(mutation));
        return;
    }
    m_writes[idOf(mutation)].inFile = true;
}

QString Ledger::recordPush(const PeerRequest& request) {
    const QJsonArray mutations = request.json().value(u"mutations").toArray();
    const QJsonObject mutation = mutations.first().toObject();
    const QString id = idOf(mutation);
    if (mutations.size() != 1 || request.headers.value("idempotency-key") != id.toUtf8()) {
        blame(u"a push with another key than its change's"_s);
    }
    if (!knows(id) || of(id).mutation != mutation) {
        blame(u"a push of what nobody recorded: "_s + QString::fromUtf8(request.body));
        return {};
    }
    QByteArray& first = m_writes[id].bytes;
    if (!first.isNull() && first != request.body) {
        blame(u"a retry has other bytes: "_s + QString::fromUtf8(request.body));
    }
    first = request.body;
    return id;
}

int Ledger::accepted(const Write& write) const {
    const int here = m_world.verdict(idOf(write.mutation)) == u"accepted"_s ? 1 : 0;
    return here + (write.sentAgain.isEmpty() ? 0 : accepted(of(write.sentAgain)));
}

bool Ledger::isInFile(const Write& write) const {
    return write.inFile || (!write.sentAgain.isEmpty() && isInFile(of(write.sentAgain)));
}

void Ledger::settleWrite(const Write& write, const QSet<QString>& described) {
    const int times = accepted(write);
    if (times > 1) {
        blame(u"accepted %1 times: "_s.arg(times) + textOf(write.mutation));
    }
    if (times == 0 && !isInFile(write)) {
        blame(u"lost: "_s + textOf(write.mutation));
    }
    settleAnswer(write);
    if (!isCreation(write.mutation)) {
        return;
    }
    const QString entity = write.mutation.value(u"entity_id").toString();
    const QString description = write.mutation.value(u"payload")[u"description"].toString();
    if (times == 1 && !m_world.has(entity)) {
        blame(u"accepted, but not on the server: "_s + textOf(write.mutation));
    }
    // An entry that is continued or copied hands its description on, also one that nobody here recorded.
    const auto says = [&description](const Write& other) {
        return other.mutation.value(u"payload")[u"description"] == description;
    };
    const QStringList found = m_world.entitiesThatSay(description);
    const auto ours = std::count_if(found.begin(), found.end(),
                                    [&described](const QString& id) { return !described.contains(id); });
    if (ours > std::count_if(m_writes.begin(), m_writes.end(), says)) {
        blame(u"twice on the server: "_s + textOf(write.mutation));
    }
}

void Ledger::settleAnswer(const Write& write) {
    if (write.misled) {
        return; // the server knew better whose it was
    }
    const QString author = m_world.authorOf(idOf(write.mutation));
    if (!author.isEmpty() && author != write.account) {
        blame(u"taken for another account's: "_s + textOf(write.mutation));
    }
    const QJsonObject result = m_world.result(idOf(write.mutation));
    if (result.value(u"status") != u"accepted"_s) {
        return;
    }
    const QJsonObject entry = result.value(u"canonical").toObject();
    const QJsonObject payload = write.mutation.value(u"payload").toObject();
    bool same =
        entry.value(u"user_id") == write.account &&
        entry.value(u"id") == write.mutation.value(u"entity_id") &&
        entry.value(u"workspace_id") == write.mutation.value(u"workspace_id") &&
        entry.value(u"deleted_at").isString() == (write.mutation.value(u"operation") == u"entry.delete"_s);
    for (auto field = payload.begin(); field != payload.end(); ++field) {
        same = same && saysTheSame(entry.value(field.key()), field.value());
    }
    if (!same) {
        blame(u"accepted as something else: "_s + textOf(write.mutation) + u" became "_s + textOf(entry));
    }
}

QSet<QString> Ledger::settleImports(const QSet<QString>& recorded) {
    QSet<QString> entities;
    QSet<QString> descriptions;
    const QStringList imported = m_world.imported();
    for (const QString& entity : imported) {
        if (recorded.contains(entity)) {
            continue; // a copy of one, or one that was changed since
        }
        const QString description = m_world.description(entity);
        if (!description.startsWith(m_world.labelFor(entity))) {
            blame(u"imported for somebody else: "_s + description);
        }
        if (descriptions.contains(description)) {
            blame(u"imported twice: "_s + description);
        }
        descriptions.insert(description);
        entities.insert(entity);
    }
    return entities;
}

void Ledger::settle() {
    QSet<QString> recorded;
    for (const Write& write : std::as_const(m_writes)) {
        recorded.insert(write.mutation.value(u"entity_id").toString());
    }
    const QSet<QString> foreign = m_world.others() + settleImports(recorded);
    for (const Write& write : std::as_const(m_writes)) {
        settleWrite(write, foreign + m_world.edited());
    }
    const QStringList found = m_world.entities();
    for (const QString& entity : found) {
        if (!recorded.contains(entity) && !foreign.contains(entity)) {
            blame(u"on the server, but nobody entered it: "_s + entity);
        }
    }
    const QStringList answered = m_world.answered();
    for (const QString& mutation : answered) {
        if (!knows(mutation)) {
            blame(u"answered, but nobody recorded it: "_s + mutation);
        }
    }
}

void Ledger::checkFiles(const QStringList& secrets) {
    const QStringList texts =
        secrets + QStringList{u"storm-"_s, u"real-"_s, u"import-"_s, u"@example.org"_s, u"Dana"_s};
    for (const QString& text : texts) {
        const QStringList found = filesThatHold(text, VaultHome::directory());
        if (!found.isEmpty()) {
            blame(u"clear text in "_s + found.first());
        }
    }
}
