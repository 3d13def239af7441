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

    TestDatabase database_;
    World world_{database_};
    TestServer server_;
    std::unique_ptr<TestClient> client_;
    std::unique_ptr<TestClient> other_;

private Q_SLOTS:
    void initTestCase();
    void init();
};

[[nodiscard]] QString statusOf(const Reply& reply);
[[nodiscard]] QJsonObject canonicalOf(const Reply& reply);
