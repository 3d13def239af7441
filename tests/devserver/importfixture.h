// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testworld.h"

#include <memory>

using namespace Qt::StringLiterals;

/// A server, the world around it, and nothing imported before each test.
class ImportFixture : public QObject {
    Q_OBJECT

protected:
    /// The address of a workspace's preview.
    [[nodiscard]] static std::string previewOf(const QString& workspace);
    /// The body of a preview in UTC under "old-tracker".
    [[nodiscard]] static QJsonObject bodyOf(const QString& content);
    /// As many records, each an hour of its own from 2025-06-01 on.
    [[nodiscard]] static QString records(int count, const QString& word = u"work"_s);
    /// Records under the columns that most tests need: description, start and end.
    [[nodiscard]] static QString simple(const QStringList& lines);

    /// Previews as the developer in the shared workspace.
    Reply preview(const QString& content);
    /// The next step of what a preview or an earlier step answered, under a new key.
    Reply apply(const Reply& before, int limit = 25);
    Reply applyAs(TestClient& client, const Reply& before, int limit, const QString& key);
    /// All steps, until nothing is left or one is refused.
    Reply applyAll(Reply reply, int limit = 500);

    [[nodiscard]] int count(const QString& table) const;
    [[nodiscard]] QStringList descriptions() const;
    void addPeriod(const QString& status, const QString& start, const QString& end) const;

    TestDatabase m_database;
    World m_world{m_database};
    TestServer m_server;
    std::unique_ptr<TestClient> m_client;
    std::unique_ptr<TestClient> m_other;

private Q_SLOTS:
    void initTestCase();
    void init();
};

/// "3 1 1 1": the numbers total, valid, invalid and duplicates.
[[nodiscard]] QString numbersOf(const Reply& preview);
/// "importing 25/60": state, checkpoint and total.
[[nodiscard]] QString progressOf(const Reply& reply);
/// "2 End time: Sentence." for each problem.
[[nodiscard]] QStringList problemsOf(const Reply& preview);
/// The preview's n-th example.
[[nodiscard]] QJsonObject sampleOf(const Reply& preview, qsizetype n = 0);
