// SPDX-License-Identifier: MIT
#pragma once

#include "controller/controller.h"
#include "tests/endurance/faultproxy.h"
#include "tests/endurance/witness.h"
#include "tests/support/vaultfile.h"

#include <QSet>

#include <memory>

class QNetworkReply;

/// One device: a client with a vault of its own, the proxy that it knows as its
/// server, and who watches it.
class Seat {
public:
    explicit Seat(const World& world);

    /// Nothing was ever recorded here. The key is kept, which is dear to make.
    void empty(Ledger& ledger);
    /// The program is not running any more.
    void leave();
    /// The program begins, not connected.
    void begin();
    void begin(std::unique_ptr<Controller> program);
    /// The program ends, and starts again and connects.
    void restart();
    /// As restart(), but the files stay as a kill in this moment would leave them.
    void kill();
    /// The same in two steps: the files are kept in the moment in which the program shows its
    /// `change`-th change from now on, at the latest when it dies. What it does in between, nobody sees.
    void keepFilesAt(int change);
    [[nodiscard]] bool hasKeptFiles() const { return m_changesLeft == 0; }
    void die();
    /// The program connects, as it does at its start.
    void connectServer();
    /// A person presses Connect.
    void reconnect();

    /// All that the program asks for waits in the proxy, and no key is on its way from or to the
    /// credential store.
    [[nodiscard]] bool isAtRest() const;
    void noteRest();

    /// What 15 s would bring; and 12 s for all requests, or two minutes; and the pause of the reloads: false
    /// where nothing waited for it.
    void passPeriod();
    bool passTimeout();
    bool passDeadline();
    bool passPause();

    [[nodiscard]] Controller& client() { return *m_controller; }
    [[nodiscard]] Witness& witness() { return *m_witness; }

    FaultProxy proxy;
    /// While it lives, every save fails.
    std::unique_ptr<SaveBlocker> blocker;

private:
    [[nodiscard]] QStringList files() const;
    /// Ends the requests that have a timer of such a length; how many those were.
    [[nodiscard]] int passTimers(int shortestMs, int longestMs);
    void keepFiles();

    std::unique_ptr<Witness> m_witness;
    std::unique_ptr<Controller> m_controller;
    QTimer* m_period = nullptr;
    QSet<const QNetworkReply*> m_waited; ///< when all was at rest the last time
    int m_changesLeft = 0;               ///< until the files are kept
};
