// SPDX-License-Identifier: MIT
#pragma once

#include "tests/endurance/buttons.h"
#include "tests/endurance/device.h"
#include "tests/endurance/faultproxy.h"
#include "tests/endurance/ledger.h"
#include "tests/endurance/weather.h"

#include <QJsonArray>
#include <QMap>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <array>
#include <memory>

/// The same promise with programs that really die: client and server are killed in any
/// instant, the keyring is locked and the clock jumps. What happens is drawn from a seed;
/// when it happens is the machine's.
class RealStorm {
public:
    explicit RealStorm(World& world);

    /// What went wrong; empty when nothing did.
    [[nodiscard]] QString run(quint32 seed);

    /// What people did and what befell them in the last run.
    [[nodiscard]] const QStringList& story() const { return m_story; }
    /// Over all runs.
    [[nodiscard]] const QMap<QString, int>& events() const { return m_events; }
    [[nodiscard]] const QMap<QString, int>& states() const { return m_states; }
    [[nodiscard]] QMap<QString, int> faults() const;
    [[nodiscard]] qsizetype writes() const { return m_writes; }

private:
    /// A device, what it knows as its server, and what is known of its queue.
    struct Place {
        FaultProxy front;
        Weather weather{front};
        QList<PeerRequest> requests;
        /// A person was told so and has not signed in since; nobody presses Connect while the record is open.
        bool signedOut = false;
        std::unique_ptr<Device> device;
        QJsonArray queue;
        QString message;
        Presser person; ///< who wants nothing to wait at the end
    };

    void begin();
    void takeStep();
    /// Only what runs can be killed.
    void kill(Device& device);
    void befall(Device& device);
    void befallElsewhere(const QString& account);
    /// Writes a file of the device's person, and says how to import it.
    [[nodiscard]] QString importFor(Device& device);
    void note(const QString& event);

    void see(Place& place, const DeviceView& view);
    void seeNewItem(const Place& place, const QJsonObject& item, const QJsonArray& removed);
    void seeRequest(Place& place, const PeerRequest& request);

    void lockKeyring(Device& device);
    void restartServer();
    [[nodiscard]] QString draw();

    void settle();
    /// Whether nothing waits there; else does what a person can do about it.
    [[nodiscard]] bool isEmpty(Place& place);
    void readFiles();
    /// Each change went out with its own key and the same bytes each time.
    void checkPushes(const Place& place);
    /// Nobody asked for anything with a session after another had begun, but to end it.
    void checkSessions(const Place& place);
    /// Of the session in the device's record.
    [[nodiscard]] static QString token(const Device& device);
    void checkFiles(const Place& place);

    World& m_world;
    std::unique_ptr<Ledger> m_ledger;
    std::array<Place, 2> m_places;
    QRandomGenerator m_dice;
    std::unique_ptr<QTemporaryDir> m_folder;
    int m_texts = 0;
    bool m_stopped = false; ///< the server is

    QStringList m_story;
    QMap<QString, int> m_events;
    QMap<QString, int> m_states;
    qsizetype m_writes = 0;
};
