// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/entries/entries.h"
#include "tests/devserver/testworld.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

/// What the workspace's reports count by.
struct ReportRules {
    QString language = u"he"_s;
    int roundingMinutes = 0;
};

/// A workspace of two members with clients, projects with and without a rate,
/// tasks and tags, and whatever entries a test adds.
class ReportWorld {
public:
    explicit ReportWorld(const ReportRules& rules = {});

    [[nodiscard]] const TestDatabase& database() const { return m_database; }
    [[nodiscard]] const World& people() const { return m_people; }
    [[nodiscard]] TestClient client(const QByteArray& token = {}) const {
        return TestClient(m_server.port(), token);
    }

    /// A closed entry of the developer's.
    [[nodiscard]] devserver::Entry entry(const QString& start, qint64 seconds) const;
    void add(const QList<devserver::Entry>& entries);
    /// About three weeks of everything around each moment: other people's, running, deleted and empty
    /// entries, some from midnight to midnight, some over several days.
    void addRandom(const QStringList& moments, const QByteArray& zone);

    /// What a query of the first project's kind is answered with.
    [[nodiscard]] Reply query(const QString& kind, const QJsonObject& body,
                              const QByteArray& token = {}) const;
    /// {"rows","totals"} of each query, worked out by another program.
    [[nodiscard]] QJsonArray plainSums(const QJsonArray& queries) const;
    /// All rows of a snapshot as they were stored.
    [[nodiscard]] QJsonArray storedRows(const QString& snapshot) const;

    QStringList projects; ///< one with a rate, one with an odd one, one without, one without a client
    QStringList tasks;    ///< of the first two projects
    QStringList tags;

private:
    void addCatalog();
    [[nodiscard]] QJsonObject description() const;

    TestDatabase m_database;
    World m_people;
    TestServer m_server;
    ReportRules m_rules;
    QList<devserver::Entry> m_entries;
};

/// The body of a query.
[[nodiscard]] QJsonObject reportBody(const QString& from, const QString& to, const QString& zone,
                                     const QString& group);
