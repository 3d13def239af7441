// SPDX-License-Identifier: MIT
#pragma once

#include "tests/controller/accountserver.h"
#include "tests/support/sqlitefile.h"

#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <memory>

/// The real server of a whole run, what is in its database, and everything that
/// happens there without the clients.
class World {
public:
    /// Starts the server, with three people who have two workspaces each, and a project in each.
    [[nodiscard]] bool start();
    /// Nobody has recorded anything, and nobody is signed in.
    void empty();
    /// SIGKILL
    void kill();
    [[nodiscard]] bool startAgain();
    /// Both.
    [[nodiscard]] bool restart();

    [[nodiscard]] QString url() const { return m_accounts.server.url(); }
    [[nodiscard]] QStringList workspacesOf(const QString& user) const { return m_workspaces.value(user); }
    /// The ids of all people.
    [[nodiscard]] QStringList people() const { return column(u"SELECT id FROM users ORDER BY rowid"_s); }
    /// An id that no person has.
    static QString nobody() { return u"a11e0000-0000-4000-8000-000000000000"_s; }
    /// Of whoever has this id; empty for who cannot sign in.
    [[nodiscard]] QString emailOf(const QString& user) const;

    // What others do

    void editEntry(const QString& entity);
    void startTimer(const QString& user);
    void closePeriods(const QString& user);
    void reopenPeriods();
    void endSessions();

    // What the server has

    /// The stored answer of one change: "accepted" and so on; empty when it has none.
    [[nodiscard]] QString verdict(const QString& mutation) const;
    /// The whole of that answer, and whose change it was taken for.
    [[nodiscard]] QJsonObject result(const QString& mutation) const;
    [[nodiscard]] QString authorOf(const QString& mutation) const;
    /// The ids of all changes that were answered.
    [[nodiscard]] QStringList answered() const;
    [[nodiscard]] QStringList entities() const;
    [[nodiscard]] bool has(const QString& entity) const;
    [[nodiscard]] QStringList entitiesThatSay(const QString& description) const;

    /// How the descriptions begin of what somebody imports into a workspace.
    [[nodiscard]] static QString importLabel(const QString& user, const QString& workspace);
    /// The ids of the entries whose descriptions begin like that of any import.
    [[nodiscard]] QStringList imported() const;
    /// What an entry says, and how it would begin if its owner had imported it into its workspace.
    [[nodiscard]] QString description(const QString& entity) const;
    [[nodiscard]] QString labelFor(const QString& entity) const;

    /// What a list of the closed entries of a person in a workspace says, as textOfEntry() has them; and the
    /// id of the entry that runs, empty when none does.
    [[nodiscard]] QStringList closedEntries(const QString& user, const QString& workspace) const;
    [[nodiscard]] QString runningEntry(const QString& user) const;
    [[nodiscard]] static QString textOfEntry(const QVariantMap& entry);

    /// Sends a change with this session, if that is the user's: whether the server answers it.
    [[nodiscard]] bool takes(const QString& user, const QString& token, const QJsonObject& mutation) const;
    /// Whether the server would accept what this change wants, as a new one and of the entry as it is now.
    /// Nothing of that stays there.
    [[nodiscard]] bool wouldAccept(const QString& user, const QString& token,
                                   const QJsonObject& mutation) const;

    /// Entries that others made.
    [[nodiscard]] const QSet<QString>& others() const { return m_others; }
    /// Entries that others edited.
    [[nodiscard]] const QSet<QString>& edited() const { return m_edited; }

private:
    [[nodiscard]] QJsonObject answerTo(const QString& user, const QString& token,
                                       const QJsonObject& mutation) const;
    /// What the server itself notes with each change of a workspace.
    void noteChange() const;
    QVariant run(const QString& statement, const QVariantList& values = {}) const;
    [[nodiscard]] QStringList column(const QString& query, const QVariantList& values = {}) const;

    AccountServer m_accounts;
    std::unique_ptr<SqliteFile> m_file;
    QHash<QString, QStringList> m_workspaces;
    QSet<QString> m_others;
    QSet<QString> m_edited;
};
