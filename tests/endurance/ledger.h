// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/world.h"
#include "tests/support/scriptedpeer.h"

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>

/// What people were told was saved, and what became of it: the judge of a run.
class Ledger {
public:
    explicit Ledger(const World& world) : m_world(world) {}

    struct Write {
        QString account;
        QJsonObject mutation;
        bool misled;       ///< the client was made to believe that it was this account's
        QByteArray bytes;  ///< of the first request that carried it
        QString sentAgain; ///< the change that a person made of it
        bool inFile = false;
    };

    void record(const QString& account, const QJsonObject& mutation, bool misled);
    /// A person sends what the server has refused again, as this change.
    void recordAgain(const QJsonValue& former, const QJsonObject& mutation);
    void recordInFile(const QJsonObject& mutation);
    /// What goes out must be one recorded change with its own key, and the same bytes each time. The
    /// change's id; empty for one that nobody recorded.
    QString recordPush(const PeerRequest& request);

    [[nodiscard]] bool knows(const QString& mutation) const { return m_writes.contains(mutation); }
    [[nodiscard]] const Write& of(const QString& mutation) const {
        return m_writes.constFind(mutation).value();
    }
    [[nodiscard]] qsizetype size() const { return m_writes.size(); }
    /// The entries that were recorded, in that order.
    [[nodiscard]] const QStringList& entities() const { return m_entities; }

    /// What a person was promised and the server, the files and the queue do not have. To be asked when
    /// nothing waits any more.
    void settle();

    /// Nothing of what was recorded, nobody's address and none of the secrets stands in a file of the vaults.
    void checkFiles(const QStringList& secrets);

    /// The first thing that went wrong; empty when nothing did.
    [[nodiscard]] const QString& problem() const { return m_problem; }
    void blame(const QString& problem);

    [[nodiscard]] const World& world() const { return m_world; }

private:
    /// What the entries in `described` say they have not from the change that made them.
    void settleWrite(const Write& write, const QSet<QString>& described);
    /// What the server has made of it, if it has judged it.
    void settleAnswer(const Write& write);
    /// The entries that imports have made, besides those in `recorded`.
    [[nodiscard]] QSet<QString> settleImports(const QSet<QString>& recorded);
    [[nodiscard]] int accepted(const Write& write) const;
    [[nodiscard]] bool isInFile(const Write& write) const;

    const World& m_world;
    QHash<QString, Write> m_writes;
    QStringList m_entities;
    QString m_problem;
};

/// The id of a change, and of a queue item's.
[[nodiscard]] QString idOf(const QJsonObject& mutation);
[[nodiscard]] QJsonObject mutationOf(const QJsonValue& item);
/// Whether the change of this item waits there.
[[nodiscard]] bool contains(const QJsonArray& queue, const QJsonValue& item);
/// Whether the queue is the expected one. Where a person has sent a start again, as `again`, it may stand
/// with the later changes of its entry behind others, as a stop that clears its way.
[[nodiscard]] bool isInOrder(const QJsonArray& queue, const QJsonArray& expected, const QJsonObject& again);
/// Both changes want the same, whatever they are called.
[[nodiscard]] bool isSameWish(const QJsonObject& one, const QJsonObject& other);
/// The changes in a file that a client has written.
[[nodiscard]] QJsonArray queueIn(const QString& fileName);
/// What a person is told of whom something was recorded.
[[nodiscard]] QString savedSentence();
/// A person who is told this has no session here and none is opened for them.
[[nodiscard]] bool saysSignedOut(const QString& message);
