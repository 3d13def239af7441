// SPDX-License-Identifier: MIT
#pragma once

#include "tests/controller/filedialogs.h"
#include "tests/endurance/buttons.h"
#include "tests/endurance/history.h"
#include "tests/endurance/seat.h"

#include <QDeadlineTimer>
#include <QMap>
#include <QRandomGenerator>
#include <QString>
#include <QTemporaryDir>

#include <array>
#include <functional>
#include <memory>
#include <vector>

/// People at two devices, a network that does its worst, and a server that others
/// use as well. Each step ends when nothing moves any more but by a further step.
class Storm {
public:
    struct Action {
        const char* name;
        int weight;
        void (Storm::*act)();
    };
    /// All that can happen, and how often it does.
    static const std::vector<Action>& actions();

    explicit Storm(World& world);

    /// What went wrong; empty when nothing did.
    [[nodiscard]] QString run(const History& history);

    /// Over all runs: how often each fault, damaged member, step and state came.
    [[nodiscard]] QMap<QString, int> faults() const { return sumOf(&FaultProxy::counts); }
    [[nodiscard]] QMap<QString, int> damages() const { return sumOf(&FaultProxy::damages); }
    [[nodiscard]] const QMap<QString, int>& steps() const { return m_steps; }
    [[nodiscard]] const QMap<QString, int>& states() const { return m_states; }
    [[nodiscard]] qsizetype writes() const { return m_writes; }
    /// Each step and each status message, on standard error.
    void tellAll() { m_tellsAll = true; }

private:
    // A person
    void start();
    void stop();
    void toggle();
    void stopTimer();
    void addManual();
    void edit();
    void editFields();
    void deleteEntry();
    void undoDelete();
    void continueEntry();
    void duplicateEntry();
    void synchronize();
    void refresh();
    void selectWorkspace();
    void signIn();
    void signOut();
    void renew();
    void resend();
    void removeRetained();
    void removePending();
    void exportPending();
    void connectServer();
    void report();
    void downloadReport();
    void import();
    void applyImport();
    void pauseImport();
    void leaveEarly();
    void overtake();

    // The programs
    void restart();
    void kill();
    void killWithin();
    void startSecondProgram();
    void startSecondDevice();

    // The network and the time
    void flow();
    void pass();
    void serve();
    void breakOne();
    void passTimeout();
    void passDeadline();
    void passPeriod();
    void passPause();
    void goOffline();
    void goOnline();

    // The device and the server
    void refuseSaves();
    void allowSaves();
    void loseKey();
    void lockKeyring();
    void unlockKeyring();
    void jumpClock();
    void damageRecord();
    void killServer();
    void editElsewhere();
    void startElsewhere();
    void closePeriods();
    void reopenPeriods();
    void endSessions();

    void begin();
    /// The first connect finds a key without its record and says so; the second begins anew.
    void connectAnew(Seat& seat);
    void take(const Step& step);
    void calm();
    /// One request goes on.
    void flowOn(Seat& here);
    void flowEverywhere();
    /// The step did nothing, so that it does not count.
    void skip() { m_skipped = true; }
    /// Whether nothing waits at this seat; else does what a person can do about it.
    [[nodiscard]] bool isEmpty(Seat& seat, Presser& person);
    void leaveByFile(Seat& seat);
    /// Looks whether the server would take what leaves with a file.
    void leaveRefused(Seat& seat);
    void removeHere(void (Controller::*remove)());
    void settle();
    /// Asked once more, the client shows what the server has.
    void lookAtEntries(Seat& seat);
    /// In the files beside the database, too.
    void lookForClearText();
    [[nodiscard]] bool isAtRest() const;
    /// Those that wait, at both seats.
    [[nodiscard]] QStringList requests() const;
    void countStates();
    void setAside(Seat& here, const QString& name, void (Controller::*remove)());

    void passAllButFirst(Seat& here);
    void withARequest(const std::function<void(FaultProxy& proxy, int index)>& act);
    /// For whoever sits at one of the seats.
    void withWorkspaces(void (World::*act)(const QString& user));
    /// Whether a client that cannot keep it takes a write, or says so.
    [[nodiscard]] bool takesWrite(Controller& client);
    /// Does it with one of the entries that are shown; what `changes` an entry must spare those of a
    /// closed period.
    void withAnEntry(const std::function<void(Controller& client, const QVariantMap& entry)>& act,
                     bool changes);
    void addManual(Controller& client);
    void toggle(Controller& client);
    /// What each time records a change or tells why not, unless it can do nothing at all.
    void record(Controller& client, const std::function<void(Controller& client)>& act);
    /// One of the things that a person does.
    void actAnyhow(Controller& client);
    /// The id of one of the projects that are shown, or none.
    [[nodiscard]] QString anyProject(const Controller& client);
    [[nodiscard]] QString moved(const QString& time);

    [[nodiscard]] QMap<QString, int> sumOf(const QMap<QString, int>& (FaultProxy::*counts)() const) const;
    [[nodiscard]] Seat& seat() { return *m_seats.at(m_dice.bounded(m_seatCount)); }
    [[nodiscard]] Seat* seatWithRequests();
    [[nodiscard]] QString freshText();

    World& m_world;
    std::array<std::unique_ptr<Seat>, 2> m_seats;
    quint32 m_seatCount = 1;
    std::unique_ptr<Ledger> m_ledger;
    FileDialogs m_dialogs;
    std::unique_ptr<QTemporaryDir> m_folder;
    QRandomGenerator m_dice;
    int m_texts = 0;
    int m_files = 0;
    int m_taken = 0;  ///< steps
    QString m_detail; ///< of the last step
    bool m_skipped = false;
    QDeadlineTimer m_end;
    bool m_keyringLocked = false;

    bool m_tellsAll = false;
    QMap<QString, int> m_steps;
    QMap<QString, int> m_states;
    qsizetype m_writes = 0;
};
