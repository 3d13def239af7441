// SPDX-License-Identifier: MIT
#include "tests/endurance/storm.h"

#include "tests/endurance/reporting.h"
#include "tests/state/reference.h"
#include "tests/support/client.h"

#include <QDateTime>
#include <QSignalSpy>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int longText = 70000;
/// As far as a person moves an entry's start or end, mostly.
constexpr int furthestMoveSeconds = 5400;

QString idOfEntry(const QVariantMap& entry) {
    return entry.value(u"id"_s).toString();
}

/// By what the client has of the periods, and rules of our own.
bool isLocked(const QString& entry, const QJsonObject& state) {
    const QJsonArray entries = referenceProjection(state).value(u"entries").toArray();
    return std::any_of(entries.begin(), entries.end(), [&entry](const QJsonValue& known) {
        return known[u"id"].toString() == entry && known[u"period_locked"].toBool();
    });
}

} // namespace

const std::vector<Storm::Action>& Storm::actions() {
    static const std::vector<Action> all{
        {"flow", 100, &Storm::flow},
        {"pass", 160, &Storm::pass},
        {"serve", 40, &Storm::serve},
        {"break", 160, &Storm::breakOne},
        {"time-out", 25, &Storm::passTimeout},
        {"deadline", 5, &Storm::passDeadline},
        {"period", 40, &Storm::passPeriod},
        {"pause", 5, &Storm::passPause},
        {"offline", 8, &Storm::goOffline},
        {"online", 16, &Storm::goOnline},
        {"start", 60, &Storm::start},
        {"stop", 50, &Storm::stop},
        {"toggle", 20, &Storm::toggle},
        {"stop-timer", 10, &Storm::stopTimer},
        {"manual", 60, &Storm::addManual},
        {"edit", 40, &Storm::edit},
        {"edit-fields", 20, &Storm::editFields},
        {"delete", 25, &Storm::deleteEntry},
        {"undo", 20, &Storm::undoDelete},
        {"continue", 20, &Storm::continueEntry},
        {"duplicate", 10, &Storm::duplicateEntry},
        {"sync", 40, &Storm::synchronize},
        {"refresh", 10, &Storm::refresh},
        {"workspace", 15, &Storm::selectWorkspace},
        {"sign-in", 35, &Storm::signIn},
        {"sign-out", 20, &Storm::signOut},
        {"renew", 15, &Storm::renew},
        {"resend", 20, &Storm::resend},
        {"remove-retained", 6, &Storm::removeRetained},
        {"remove-pending", 4, &Storm::removePending},
        {"export", 3, &Storm::exportPending},
        {"connect", 20, &Storm::connectServer},
        {"report", 10, &Storm::report},
        {"download", 8, &Storm::downloadReport},
        {"import", 8, &Storm::import},
        {"apply-import", 12, &Storm::applyImport},
        {"pause-import", 4, &Storm::pauseImport},
        {"leave-early", 10, &Storm::leaveEarly},
        {"overtake", 8, &Storm::overtake},
        {"restart", 15, &Storm::restart},
        {"kill", 10, &Storm::kill},
        {"kill-within", 15, &Storm::killWithin},
        {"second-program", 6, &Storm::startSecondProgram},
        {"second-device", 20, &Storm::startSecondDevice},
        {"refuse-saves", 10, &Storm::refuseSaves},
        {"allow-saves", 20, &Storm::allowSaves},
        {"lose-key", 2, &Storm::loseKey},
        {"lock-keyring", 3, &Storm::lockKeyring},
        {"unlock-keyring", 10, &Storm::unlockKeyring},
        {"clock", 5, &Storm::jumpClock},
        {"damage-record", 3, &Storm::damageRecord},
        {"kill-server", 2, &Storm::killServer},
        {"edit-elsewhere", 20, &Storm::editElsewhere},
        {"start-elsewhere", 6, &Storm::startElsewhere},
        {"close-periods", 8, &Storm::closePeriods},
        {"reopen-periods", 10, &Storm::reopenPeriods},
        {"end-sessions", 8, &Storm::endSessions},
    };
    return all;
}

QString Storm::freshText() {
    const QString text = u"storm-%1-%2"_s.arg(++m_texts).arg(m_dice.generate());
    // A long one makes a reply large enough to be remembered.
    return m_dice.bounded(10) == 0 ? text.leftJustified(longText, u'-') : text;
}

QString Storm::anyProject(const Controller& client) {
    const QVariantList projects = client.projects();
    const int index = m_dice.bounded(static_cast<int>(projects.size()) + 1);
    return projects.value(index).toMap().value(u"id"_s).toString();
}

QString Storm::moved(const QString& time) {
    const QDateTime former = QDateTime::fromString(time, Qt::ISODate);
    // At times to where a period may be closed, or not any more.
    const int days = m_dice.bounded(4) == 0 ? m_dice.bounded(-2, 2) : 0;
    const int seconds = m_dice.bounded(-furthestMoveSeconds, furthestMoveSeconds);
    return former.addDays(days).addSecs(seconds).toString(Qt::ISODate);
}

// A person

void Storm::record(Controller& client, const std::function<void(Controller& client)>& act) {
    const int before = client.pending();
    const QSignalSpy told(&client, &Controller::changed);
    act(client);
    if (!told.isEmpty() && client.message() == savedSentence() && client.pending() <= before) {
        m_ledger->blame(u"somebody was told once more that something was saved, but nothing was"_s);
    }
}

void Storm::start() {
    record(seat().client(),
           [this](Controller& client) { client.start(freshText(), anyProject(client), false); });
}

void Storm::stop() {
    record(seat().client(), [](Controller& client) { client.stop(); });
}

void Storm::toggle() {
    toggle(seat().client());
}

void Storm::toggle(Controller& client) {
    record(client, [this](Controller& toggled) { toggled.toggleTimer(freshText(), {}, true); });
}

void Storm::stopTimer() {
    record(seat().client(), [](Controller& client) { client.stopTimer(); });
}

void Storm::addManual() {
    record(seat().client(), [this](Controller& client) { addManual(client); });
}

void Storm::addManual(Controller& client) {
    const QDateTime end = QDateTime::currentDateTimeUtc().addSecs(-60 * m_dice.bounded(1, 4000));
    client.addManual(freshText(), anyProject(client), end.addSecs(-600).toString(Qt::ISODate),
                     end.toString(Qt::ISODate), false);
}

void Storm::withAnEntry(const std::function<void(Controller& client, const QVariantMap& entry)>& act,
                        bool changes) {
    Seat& here = seat();
    QVariantList entries = here.client().entries();
    if (entries.isEmpty()) {
        return skip();
    }
    // By when they came: times and ids are others in each run.
    const QStringList known = m_ledger->entities() + m_world.entities();
    const auto cameBefore = [&known](const QVariant& one, const QVariant& other) {
        const auto place = [&known](const QVariant& entry) {
            return known.indexOf(entry.toMap().value(u"id"_s).toString());
        };
        return place(one) < place(other);
    };
    std::stable_sort(entries.begin(), entries.end(), cameBefore);
    const QVariantMap entry = entries.at(m_dice.bounded(static_cast<int>(entries.size()))).toMap();
    const int before = here.client().pending();
    const bool locked = isLocked(entry.value(u"id"_s).toString(), here.client().durableState());
    record(here.client(), [&](Controller& client) { act(client, entry); });
    if (changes && locked && here.client().pending() != before) {
        m_ledger->blame(u"an entry in a closed period was edited"_s);
    }
}

void Storm::edit() {
    withAnEntry([this](Controller& client,
                       const QVariantMap& entry) { client.editDescription(idOfEntry(entry), freshText()); },
                true);
}

void Storm::editFields() {
    const auto act = [this](Controller& client, const QVariantMap& entry) {
        QVariantMap changes;
        if (m_dice.bounded(2) == 0) {
            changes.insert(u"description"_s, freshText());
        }
        if (m_dice.bounded(2) == 0) {
            changes.insert(u"billable"_s, m_dice.bounded(2) == 0);
        }
        if (m_dice.bounded(2) == 0) {
            changes.insert(u"project_id"_s, anyProject(client));
        }
        for (const QString& name : {u"start_at"_s, u"stop_at"_s}) {
            if (m_dice.bounded(2) == 0) {
                changes.insert(name, moved(entry.value(name).toString()));
            }
        }
        client.editEntry(idOfEntry(entry), changes);
    };
    withAnEntry(act, true);
}

void Storm::deleteEntry() {
    withAnEntry([](Controller& client, const QVariantMap& entry) { client.deleteEntry(idOfEntry(entry)); },
                true);
}

void Storm::undoDelete() {
    record(seat().client(), [](Controller& client) { client.undoDelete(); });
}

void Storm::continueEntry() {
    withAnEntry([](Controller& client, const QVariantMap& entry) { client.continueEntry(idOfEntry(entry)); },
                false);
}

void Storm::duplicateEntry() {
    withAnEntry([](Controller& client, const QVariantMap& entry) { client.duplicateEntry(idOfEntry(entry)); },
                false);
}

void Storm::synchronize() {
    seat().client().synchronize();
}

void Storm::refresh() {
    seat().client().refresh();
}

void Storm::selectWorkspace() {
    Seat& here = seat();
    const QVariantList workspaces = here.client().workspaces();
    if (workspaces.isEmpty()) {
        return skip();
    }
    const int index = m_dice.bounded(static_cast<int>(workspaces.size()));
    here.client().selectWorkspace(workspaces.at(index).toMap().value(u"id"_s).toString());
}

void Storm::signIn() {
    Seat& here = seat();
    const QString email = m_dice.bounded(3) == 0 ? AccountServer::eli() : AccountServer::dana();
    here.client().loginAccount(email, AccountServer::password());
}

void Storm::signOut() {
    seat().client().logoutAccount();
}

void Storm::renew() {
    Seat& here = seat();
    const QString email = m_dice.bounded(4) == 0 ? AccountServer::eli() : AccountServer::dana();
    here.client().renewSession(email, AccountServer::password());
}

void Storm::resend() {
    seat().client().resendRetained();
}

void Storm::removeRetained() {
    removeHere(&Controller::removeRetained);
}

void Storm::removePending() {
    removeHere(&Controller::removePending);
}

void Storm::exportPending() {
    Seat& here = seat();
    const QString fileName = m_folder->filePath(u"export-%1.json"_s.arg(++m_files));
    m_dialogs.choose(fileName);
    const QSignalSpy told(&here.client(), &Controller::changed);
    here.client().exportPending();
    const bool exported =
        !told.isEmpty() && here.client().message().startsWith(u"Pending changes exported"_s);
    if (exported && queueIn(fileName) != queueOf(here.client())) {
        m_ledger->blame(u"what waits is not in the file that it was exported to"_s);
    }
}

void Storm::removeHere(void (Controller::*remove)()) {
    Seat& here = seat();
    const bool isWritable = m_dice.bounded(4) > 0;
    setAside(here, isWritable ? u"copy-%1.json"_s : u"no-such-folder/copy-%1.json"_s, remove);
}

void Storm::setAside(Seat& here, const QString& name, void (Controller::*remove)()) {
    const QString fileName = m_folder->filePath(name.arg(++m_files));
    m_dialogs.choose(fileName);
    here.witness().expectFile(fileName);
    (here.client().*remove)();
    here.witness().expectFile({});
}

void Storm::connectServer() {
    seat().reconnect();
}

void Storm::report() {
    Seat& here = seat();
    here.witness().seeReport();
    const QString kind = m_dice.bounded(2) == 0 ? u"summary"_s : u"detailed"_s;
    askForReport(here.client(), kind);
}

void Storm::downloadReport() {
    m_dialogs.choose(m_folder->filePath(u"report-%1.csv"_s.arg(++m_files)));
    seat().client().downloadReport(u"csv"_s);
}

/// Somebody else sits down while an answer is still on its way: a push that fails ends the waiting for a
/// report, which comes later.
void Storm::leaveEarly() {
    Seat& here = seat();
    Controller& client = here.client();
    if (client.busy() || client.syncing() || here.proxy.waiting() > 0) {
        return skip();
    }
    const QDateTime end = QDateTime::currentDateTimeUtc();
    client.addManual(freshText(), {}, end.addSecs(-600).toString(Qt::ISODate), end.toString(Qt::ISODate),
                     false);
    calm();
    here.witness().seeReport();
    askForReport(client, u"detailed"_s);
    calm();
    if (here.proxy.waiting() != 2) {
        return skip();
    }
    here.proxy.finish(0, FaultProxy::Fault::ErrorBefore, m_dice);
    calm();
    setAside(here, u"copy-%1.json"_s, &Controller::removePending);
    passAllButFirst(here);
    if (client.accountSignedIn()) {
        client.logoutAccount();
    } else {
        client.loginAccount(AccountServer::dana(), AccountServer::password());
    }
    passAllButFirst(here);
}

/// A load that began before an acknowledgement ends after it, while more waits.
void Storm::overtake() {
    Seat& here = seat();
    Controller& client = here.client();
    if (client.busy() || client.syncing() || client.pending() > 0 || here.proxy.waiting() > 0) {
        return skip();
    }
    for (int i = 0; i < 2; ++i) {
        record(client, [this](Controller& recording) { addManual(recording); });
    }
    calm();
    if (client.pending() != 2 || here.proxy.waiting() != 1) {
        return skip();
    }
    const QString entity = mutationAt(client, 0).value(u"entity_id").toString();
    here.proxy.finish(0, FaultProxy::Fault::None, m_dice); // who asks
    calm();
    client.refresh();
    calm();
    if (here.proxy.waiting() != 2) {
        return skip();
    }
    const int load = here.proxy.at(0).path() == u"/sync/snapshot"_s ? 0 : 1;
    here.proxy.serve(load);
    here.proxy.finish(1 - load, FaultProxy::Fault::None, m_dice);
    calm();
    const bool acknowledged = client.pending() == 1;
    here.proxy.finish(0, FaultProxy::Fault::None, m_dice);
    calm();
    if (acknowledged && listedEntry(client, u"id"_s, entity).isEmpty()) {
        m_ledger->blame(u"what the server has acknowledged is not shown any more"_s);
    }
}

void Storm::passAllButFirst(Seat& here) {
    calm();
    while (here.proxy.waiting() > 1) {
        here.proxy.finish(1, FaultProxy::Fault::None, m_dice);
        calm();
    }
}

// The network and the time

Seat* Storm::seatWithRequests() {
    Seat& first = seat();
    if (first.proxy.waiting() > 0) {
        return &first;
    }
    for (const auto& other : m_seats) {
        if (other->proxy.waiting() > 0) {
            return other.get();
        }
    }
    return nullptr;
}

void Storm::flow() {
    if (requests().isEmpty()) {
        return skip();
    }
    flowEverywhere();
}

void Storm::withARequest(const std::function<void(FaultProxy& proxy, int index)>& act) {
    Seat* here = seatWithRequests();
    if (!here) {
        return skip();
    }
    const int index = m_dice.bounded(static_cast<int>(here->proxy.waiting()));
    m_detail = here->proxy.at(index).path();
    act(here->proxy, index);
}

void Storm::pass() {
    withARequest(
        [this](FaultProxy& proxy, int index) { proxy.finish(index, FaultProxy::Fault::None, m_dice); });
}

void Storm::serve() {
    withARequest([this](FaultProxy& proxy, int index) {
        if (!proxy.serve(index)) {
            skip();
        }
    });
}

void Storm::breakOne() {
    withARequest([this](FaultProxy& proxy, int index) {
        proxy.finish(index, FaultProxy::draw(proxy.at(index), m_dice), m_dice);
        calm(); // what trickles is told of piece by piece
        m_detail += u' ' + proxy.detail();
    });
}

void Storm::passTimeout() {
    if (!seat().passTimeout()) {
        skip();
    }
}

void Storm::passDeadline() {
    if (!seat().passDeadline()) {
        skip();
    }
}

void Storm::passPeriod() {
    seat().passPeriod();
}

void Storm::passPause() {
    if (!seat().passPause()) {
        skip();
    }
}

void Storm::goOffline() {
    if (!seat().proxy.goOffline()) {
        skip();
    }
}

void Storm::goOnline() {
    if (!seat().proxy.goOnline()) {
        skip();
    }
}
