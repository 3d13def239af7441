// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testworld.h"

#include <memory>

/// A server, the world around it, and nobody's entries before each test.
class PushFixture : public QObject {
    Q_OBJECT

protected:
    /// Pushes a new mutation as the developer.
    Reply push(const QString& operation, const QString& entity, int baseVersion,
               const QJsonObject& payload = {});
    /// A closed entry of the developer's, written past the server.
    QString stored(const QString& start, const QString& stop, const QString& extra = {});
    [[nodiscard]] int count(const QString& table) const;
    /// The developer starts a timer in the shared workspace.
    [[nodiscard]] QJsonObject startOf(const QString& entity) const;

    TestDatabase m_database;
    World m_world{m_database};
    TestServer m_server;
    std::unique_ptr<TestClient> m_client;
    std::unique_ptr<TestClient> m_other;

private Q_SLOTS:
    void initTestCase();
    void init();
};

[[nodiscard]] QString statusOf(const Reply& reply);
[[nodiscard]] QJsonObject canonicalOf(const Reply& reply);
