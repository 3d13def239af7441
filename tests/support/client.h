// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

class Controller;
class QNetworkAccessManager;

/// The end of a wait for the controller or its server; generous, since machines are busy.
inline constexpr int patienceMs = 60'000;

/// Names the application as the program does and forgets its settings. The home
/// is the test program's own; a server port of its own gives each test function
/// a vault of its own.
void startClean();

/// Connects and waits until the workspace is loaded.
[[nodiscard]] bool connectAndLoad(Controller& controller, const QString& server);

/// The one manager that all of the controller's requests go through.
[[nodiscard]] QNetworkAccessManager& networkOf(const Controller& controller);

/// Waits until no request of the controller is under way and no reply is being read.
[[nodiscard]] bool waitForSilence(const Controller& controller);

/// Does what the controller does every 15 s.
void stepPeriodically(const Controller& controller);

/// The queue, and one item's `mutation`.
[[nodiscard]] QJsonArray queueOf(const Controller& controller);
[[nodiscard]] QJsonObject mutationAt(const Controller& controller, qsizetype index);

/// The entry of the `entries` property with this id or description; empty when there is none.
[[nodiscard]] QVariantMap listedEntry(const Controller& controller, const QString& key, const QString& value);
