// SPDX-License-Identifier: MIT
#pragma once

#include "tests/devserver/testworld.h"

/// What a client sends to sign in.
[[nodiscard]] QJsonObject credentials(const QString& email, const QString& password);

Reply signIn(TestClient& client, const QString& email, const QString& password);

/// Adds a user who signs in with this password, or, without one, not at all.
/// The hash is a cheap one, so that many attempts take no time.
QString addPerson(const TestDatabase& database, const QString& email, const QByteArray& password);

/// Everything that the database keeps, as bytes.
[[nodiscard]] QByteArray contentsOf(const TestDatabase& database);
