// SPDX-License-Identifier: MIT
#pragma once

#include "controller/entriesview.h"
#include "controller/importview.h"
#include "controller/reportview.h"
#include "controller/serverlink.h"
#include "state/absences.h"
#include "state/document.h"
#include "state/worksums.h"
#include "vault/vault.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <optional>

/// The one object that the window binds to: all client state, and every action
/// that a person can take. Operations return nothing; their outcome arrives as
/// the status `message` with changed(). Everything runs on the main thread.
class Controller : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString server READ server NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY changed)
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY tick)
    Q_PROPERTY(QString workspace READ workspace NOTIFY changed)
    Q_PROPERTY(QString timezone READ timezone NOTIFY changed)
    Q_PROPERTY(QVariantList workspaces READ workspaces NOTIFY changed)
    Q_PROPERTY(QVariantList projects READ projects NOTIFY changed)
    Q_PROPERTY(QVariantList entries READ entries NOTIFY changed)
    Q_PROPERTY(QVariantList reportRows READ reportRows NOTIFY changed)
    Q_PROPERTY(QVariantMap timer READ timer NOTIFY changed)
    Q_PROPERTY(QVariantMap reportTotals READ reportTotals NOTIFY changed)
    Q_PROPERTY(QVariantMap importPreview READ importPreview NOTIFY changed)
    Q_PROPERTY(int pending READ pending NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    Q_PROPERTY(bool accountSignedIn READ accountSignedIn NOTIFY changed)
    Q_PROPERTY(QString accountName READ accountName NOTIFY changed)
    Q_PROPERTY(QVariantList periods READ periods NOTIFY changed)
    Q_PROPERTY(QString conflictDetails READ conflictDetails NOTIFY changed)
    Q_PROPERTY(bool secureStorage READ secureStorage NOTIFY changed)
    Q_PROPERTY(QVariantMap retained READ retained NOTIFY changed)
    Q_PROPERTY(bool sessionRefused READ sessionRefused NOTIFY changed)
    Q_PROPERTY(bool queueReady READ queueReady NOTIFY changed)
    Q_PROPERTY(QString accountId READ accountId NOTIFY changed)
    Q_PROPERTY(bool syncing READ syncing NOTIFY changed)
    Q_PROPERTY(bool canUndoDelete READ canUndoDelete NOTIFY changed)
    Q_PROPERTY(QVariantList reportFigures READ reportFigures NOTIFY changed)
    Q_PROPERTY(QVariantList reportColumns READ reportColumns NOTIFY changed)
    Q_PROPERTY(QVariantList reportSeries READ reportSeries NOTIFY changed)
    Q_PROPERTY(QVariantMap reportAbout READ reportAbout NOTIFY changed)
    Q_PROPERTY(QVariantList importRows READ importRows NOTIFY changed)
    Q_PROPERTY(QVariantMap importCounts READ importCounts NOTIFY changed)
    Q_PROPERTY(QVariantMap absence READ absence NOTIFY changed)
    Q_PROPERTY(QVariantList periodSums READ periodSums NOTIFY changed)
    Q_PROPERTY(QVariantMap openWeek READ openWeek NOTIFY changed)
    Q_PROPERTY(int weekday READ weekday NOTIFY changed)
    Q_PROPERTY(bool signInWanted READ signInWanted NOTIFY changed)
    Q_PROPERTY(bool timerLocked READ timerLocked NOTIFY changed)
    Q_PROPERTY(bool signOutUnconfirmed READ signOutUnconfirmed NOTIFY changed)
    Q_PROPERTY(bool recordStuck READ recordStuck NOTIFY changed)
    Q_PROPERTY(bool busyUnasked READ busyUnasked NOTIFY changed)

public:
    explicit Controller(QObject* parent = nullptr);

    /// No local save, no periodic sync and no queue write from now on. Set
    /// before the first connectServer().
    void setReadOnly(bool readOnly);

    // What the window shows

    [[nodiscard]] QString server() const;
    [[nodiscard]] QString message() const;
    /// Time since the running timer's start, "00:00:00" when none runs.
    [[nodiscard]] QString elapsed() const;
    [[nodiscard]] QString workspace() const;
    [[nodiscard]] QString timezone() const;
    [[nodiscard]] QVariantList workspaces() const;
    [[nodiscard]] QVariantList projects() const;
    /// The closed entries, by the text of `start_at` descending; each map is the
    /// projected entry with `duration_text` added.
    [[nodiscard]] QVariantList entries() const;
    [[nodiscard]] QVariantList reportRows() const;
    [[nodiscard]] QVariantMap timer() const;
    [[nodiscard]] QVariantMap reportTotals() const;
    [[nodiscard]] QVariantMap importPreview() const;
    [[nodiscard]] int pending() const;
    [[nodiscard]] bool busy() const;
    [[nodiscard]] bool accountSignedIn() const;
    [[nodiscard]] QString accountName() const;
    [[nodiscard]] QVariantList periods() const;
    /// The retained queue items as an indented JSON array.
    [[nodiscard]] QString conflictDetails() const;
    [[nodiscard]] bool secureStorage() const;
    /// Retained::describe of the queue's head in the account's time zone; empty when the server refused
    /// nothing.
    [[nodiscard]] QVariantMap retained() const;
    /// The server does not know the stored session any more.
    [[nodiscard]] bool sessionRefused() const;
    /// What is recorded now would be kept: the storage is open and its record was read.
    [[nodiscard]] bool queueReady() const;
    /// The server's id of the person; empty while it is unknown.
    [[nodiscard]] QString accountId() const;
    /// A change is on its way to the server.
    [[nodiscard]] bool syncing() const;
    /// An entry was deleted and nothing was recorded since: undoDelete() brings it back.
    [[nodiscard]] bool canUndoDelete() const;
    /// The report's rows with what can be read off them, its picture, and why there is none: see ReportView.
    [[nodiscard]] QVariantList reportFigures() const;
    [[nodiscard]] QVariantList reportColumns() const;
    [[nodiscard]] QVariantList reportSeries() const;
    [[nodiscard]] QVariantMap reportAbout() const;
    /// The import's preview as rows, and how many there are: see ImportView.
    [[nodiscard]] QVariantList importRows() const;
    [[nodiscard]] QVariantMap importCounts() const;
    /// What a person is to be asked about the running timer, which went on while nobody was there: `kind`
    /// ("sleep", "rest" or "age"), `moment` for the answer, `since`, `until` and `time` (of `since`) as texts
    /// in the account's time zone, and the timer's `description`; empty when there is nothing to ask.
    [[nodiscard]] QVariantMap absence() const;
    /// For each of periods() the seconds of the person's closed entries that lie in it; null for somebody
    /// else's.
    [[nodiscard]] QVariantList periodSums() const;
    /// The week that the person is in: `seconds` recorded so far, the running timer's included, and
    /// `days_left`, today not counted.
    [[nodiscard]] QVariantMap openWeek() const;
    /// The message holds words of the server, which may be about anything.
    [[nodiscard]] bool messageQuotesServer() const;
    /// What entries() lists, without a map of each: as long as nothing changes the same shared list.
    [[nodiscard]] const ProjectedEntries& entryRows() const;
    /// The weekday that weeks begin with, as QDate counts.
    [[nodiscard]] int weekday() const;
    /// Nobody is signed in, and the server said last that it lets nobody in like that.
    [[nodiscard]] bool signInWanted() const;
    /// The running timer, or without one a timer that starts now, reaches into a closed period.
    [[nodiscard]] bool timerLocked() const;
    /// The server has not confirmed the last sign-out of this session.
    [[nodiscard]] bool signOutUnconfirmed() const;
    /// The server's file on this device keeps everything from being saved, until setRecordAside().
    [[nodiscard]] bool recordStuck() const;
    /// It is busy with what it does by itself every now and then: reading the list again.
    [[nodiscard]] bool busyUnasked() const;
    /// The running timer is among entries() as well: its stop was recorded, and is kept back.
    [[nodiscard]] bool timerListed() const;

    // What a person can do

    Q_INVOKABLE void connectServer(const QString& url);
    Q_INVOKABLE void loginAccount(const QString& email, const QString& password);
    Q_INVOKABLE void logoutAccount();
    Q_INVOKABLE void selectWorkspace(const QString& id);
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void editDescription(const QString& id, const QString& description);
    Q_INVOKABLE void openTimesheetWeb();
    Q_INVOKABLE void start(const QString& description, const QString& projectId, bool billable);
    Q_INVOKABLE void stop();
    Q_INVOKABLE void addManual(const QString& description, const QString& projectId, const QString& from,
                               const QString& to, bool billable);
    Q_INVOKABLE void queryReport(const QString& kind, const QString& fromDate, const QString& toDate,
                                 const QString& zone, const QString& group);
    Q_INVOKABLE void downloadReport(const QString& format);
    Q_INVOKABLE void previewCsv(const QString& namespaceName, const QString& zone, bool assignToMe);
    Q_INVOKABLE void applyImport();
    Q_INVOKABLE void pauseImport();
    Q_INVOKABLE void exportPending();
    Q_INVOKABLE void synchronize();
    /// Sends the refused change again, as a new one that the server judges anew.
    Q_INVOKABLE void resendRetained();
    /// Asks for a file, saves the refused change and what depends on it there, and only then lets it go.
    Q_INVOKABLE void removeRetained();
    /// Opens a new session of the account whose session the server refused; the waiting work goes on.
    Q_INVOKABLE void renewSession(const QString& email, const QString& password);
    /// Asks for a file, saves everything that waits there, and only then lets it go.
    Q_INVOKABLE void removePending();
    /// Starts a timer, or stops the one that runs. While `busy` is set it waits for
    /// its end and is then done once, if the same still is to be started or stopped.
    Q_INVOKABLE void toggleTimer(const QString& description, const QString& projectId, bool billable);
    /// Stops the running timer, in the same way.
    Q_INVOKABLE void stopTimer();
    /// Starts a timer with this entry's description, project and billable; one that runs is
    /// stopped first, and both are recorded at once or neither is.
    Q_INVOKABLE void continueEntry(const QString& id);
    /// Records those of `description`, `project_id` (empty: none), `billable`, `start_at` and `stop_at`
    /// that are given and say something else than the entry. A running entry keeps running.
    Q_INVOKABLE void editEntry(const QString& id, const QVariantMap& changes);
    /// A closed entry of its own that says the same.
    Q_INVOKABLE void duplicateEntry(const QString& id);
    Q_INVOKABLE void deleteEntry(const QString& id);
    /// Restores what deleteEntry() deleted, until something else is recorded.
    Q_INVOKABLE void undoDelete();
    /// Puts the report's rows on the clipboard as ReportTable has them.
    Q_INVOKABLE void copyReport(const QStringList& titles, bool rightToLeft);
    /// The time of absence() is kept: the timer goes on.
    Q_INVOKABLE void keepTime();
    /// Stops the timer that runs at a moment of the past, now when that is empty, as stopTimer() does.
    Q_INVOKABLE void stopTimerAt(const QString& moment);
    /// The same, and starts one with the same description, project and billable now.
    Q_INVOKABLE void restartTimerFrom(const QString& moment);
    /// Connects to another server once this one has not confirmed a sign-out. The account stays signed in,
    /// sealed in the store of its own server.
    Q_INVOKABLE void leaveServer(const QString& url);
    /// Gives the file that recordStuck() tells of another name, and goes on without it: what waits in this
    /// program is saved into a new one, and without such work it connects anew.
    Q_INVOKABLE void setRecordAside();
    /// A sign-out is under way, so that nothing is recorded any more, nor can wait for its end: the status
    /// says so.
    Q_INVOKABLE [[nodiscard]] bool refusesDuringSignOut();
    /// What speaks against a manual entry with these times, the first that holds:
    /// "order" (the end is not after the start), "period" (the server will refuse it: it
    /// lies in a closed period), "offset" (a time names none, so what it means depends on
    /// this device), "future"; empty when nothing does. While one of the two cannot be
    /// read yet, only what the other says by itself.
    Q_INVOKABLE [[nodiscard]] QString manualNotice(const QString& from, const QString& to) const;
    /// {`from`, `to`} as YYYY-MM-DD, of ReportRange::named today in the account's zone.
    Q_INVOKABLE [[nodiscard]] QVariantMap reportRange(const QString& name) const;

    // What the machine tells

    /// Nobody has been there for so long, until now.
    void noteAbsence(Absences::Kind kind, qint64 milliseconds);
    /// Another look at how old the timer is.
    void noteAge();

    // The steps that the actions are made of

    using Callback = ServerLink::Callback;

    /// The common exit of a failed operation: shows `text` and clears `busy`.
    void fail(const QString& text);

    /// The only road to the server for JSON. `path` starts behind "/v1". An empty
    /// `idempotencyKey` gets a fresh UUID; a GET carries neither key nor body. A
    /// reply that outlives its server, account or session reaches no callback.
    void send(const QByteArray& method, const QString& path, const QJsonObject& body,
              const Callback& callback, const QString& idempotencyKey = {});

    void fetchIdentity();
    void loadWorkspace();

    /// The document that is sealed: `auth`, `signed_out`, `me`, `workspaces`,
    /// `workspace`, `snapshot`, `timer`, `queue`.
    [[nodiscard]] QJsonObject durableState() const;
    /// Takes every member from a document; a value of the wrong type becomes empty.
    void applyDurable(const QJsonObject& state);
    /// Saves the current document. False without a message when there is nothing to save to.
    bool persist();

    /// Recomputes the entries and the timer from snapshot and queue.
    void projectQueue();
    /// Records one write: sealed and saved first, shown next, pushed last.
    void enqueue(const QString& operation, const QString& entityId, int baseVersion, QJsonObject payload);
    /// Pushes the head of the queue if nothing stops it.
    void nextMutation();

    /// "%1:%2:%3", two digits at least each, hours unbounded; negative counts as 0.
    [[nodiscard]] static QString formatSeconds(qint64 seconds);

Q_SIGNALS:
    void changed();
    void tick();
    /// A snapshot and the server's timer are loaded.
    void ready();
    /// A personal session ended, or somebody else than before is at work here: what the one before
    /// typed must not stay. Comes before the changed() of the new state reaches anybody.
    void accountLeft();
    /// The program ends, and nothing is `busy` any more: a change that waited for that is recorded now or
    /// never.
    void ending();

private:
    /// A load of the workspace that is under way, as it was asked for.
    struct Load {
        QString workspace;
        qint64 number;
        qint64 acknowledgements;
        bool periodic;
    };
    /// What a person pressed to start or stop: `timer` is what ran then.
    struct Press {
        QString workspace;
        QString timer;
        QString description;
        QString projectId;
        bool billable;
        QDateTime moment{}; ///< of the past, at which it is to be stopped
        bool anew = false;  ///< and started again now
    };
    /// What is recorded as one mutation.
    struct Change {
        QString operation;
        QString entityId;
        int baseVersion;
        QJsonObject payload;
    };
    /// The chunk of an import after the one that the server has answered.
    enum class NextChunk { None, Scheduled, Waiting };
    /// What is of one account and in no document: it goes when the account does.
    struct Personal {
        QJsonObject report;
        QJsonArray reportRows;
        ReportView reportView;
        QJsonObject importPreview;
        ImportView importView;
        QString previewWorkspace; ///< which importPreview is for
        NextChunk nextChunk = NextChunk::None;
        bool importPaused = false;
        bool sessionRefused = false;
        bool signInWanted = false;
        bool signOutUnconfirmed = false;
        std::optional<Press> press;
        QString undoable; ///< the entry that was deleted last
        Absences absences;
    };

    /// `quotesServer`: words or the address of the server are in it.
    void say(const QString& text, bool quotesServer = false);
    /// `busy` is set by the one and cleared by the other, which says how it went.
    void begin(bool unasked = false);
    void begin(const QString& text);
    void finish(const QString& text, bool quotesServer = false);
    /// As fail(), with the server's own sentence where its reply has one.
    void failAsToldBy(const QJsonObject& reply, const QString& fallback);
    /// Every reply still under way belongs to the past from now on.
    void dropReplies();
    [[nodiscard]] QString token() const;

    /// Makes this the current document and shows it. Its snapshot is of the same workspace as before;
    /// applyDurable() takes any document.
    void adopt(const QJsonObject& state);
    /// Recomputes what is shown: entries, timer and the refused change.
    void show(const QJsonObject& state);

    void vaultReady();
    void reconnectDeveloper();
    void adoptIdentity(const QJsonObject& identity);
    void adoptWorkspaces(const QJsonArray& items);
    void enterWorkspace(const QString& id);

    void syncPeriodically();
    void takeSyncStep(bool periodic);
    void reload(bool periodic);
    void loadTimer(const Load& load);
    /// A newer load is under way, or the workspace is another by now.
    [[nodiscard]] bool isOvertaken(const Load& load) const;
    /// What it brings may be older than what an acknowledgement brought meanwhile.
    [[nodiscard]] bool isOutdated(const Load& load) const;
    void finishLoading();
    /// The periodic reloads pause while the server is silent.
    void noteReload(const Load& load, bool succeeded);
    void resumeReloads();
    void watchNetwork();

    /// Records these one behind the other: all of them, or none.
    void enqueue(const QList<Change>& changes);
    [[nodiscard]] QJsonObject mutationOf(const Change& change) const;
    [[nodiscard]] static Change startChange(const QString& description, const QString& projectId,
                                            bool billable);
    /// None, and the status says why, where the running timer is another workspace's.
    [[nodiscard]] std::optional<Change> stopChange(const QDateTime& moment = QDateTime::currentDateTimeUtc());
    /// The projected entry; {} when there is none or it was deleted.
    [[nodiscard]] QJsonObject presentEntry(const QString& id) const;
    /// Under the periods of the snapshot.
    [[nodiscard]] bool isLocked(const QJsonObject& entry) const;
    /// The person's own in the selected workspace, without an end.
    [[nodiscard]] QJsonObject entryFrom(const QDateTime& start) const;
    /// They say in the status why not.
    [[nodiscard]] bool isChangeable(const QJsonObject& entry);
    [[nodiscard]] bool isBookable(const QJsonValue& project);
    /// A timer on this project, now.
    [[nodiscard]] bool isStartable(const QJsonValue& project);

    void press(const Press& press);
    void carryOutPress();
    void leaveTimer(const QString& moment, bool anew);
    void carryOutLeave(const Press& press);

    /// The snapshot, {} while it is another workspace's.
    [[nodiscard]] QJsonObject ownSnapshot() const;
    [[nodiscard]] WorkSums::Owner owner() const;
    [[nodiscard]] QTimeZone zone() const;
    [[nodiscard]] WorkSums::Week weekNow() const;
    /// Of the week, then of each period.
    [[nodiscard]] QList<qint64> sumsOf(const WorkSums::Week& week, const QJsonArray& periods) const;
    /// What waits for the end of `busy` goes on.
    void noticeIdle();
    void resumeWaiting();
    /// The program ends: what was pressed does not wait for the server any more.
    void recordWaiting();

    /// The one road to a new session, whatever it is for. Not asked for where the server could be
    /// overheard; sent once; revoked unless `callback` has adopted it.
    void requestSession(const QString& email, const QString& password, const Callback& callback);
    [[nodiscard]] bool canKeepSession();
    void applyLoginReply(const QJsonObject& reply, int status);
    void applyLogoutReply(int status);
    void applyRenewalReply(const QJsonObject& reply, int status);
    /// Who asks who they are and gets a 200 has a session that the server knows, or needs none.
    void noteSession(int status);
    /// Nothing of the account before shows under this document, late replies included.
    void changeAccount(const QJsonObject& state);
    void forgetAccount();
    /// Tells once that an account was left.
    void noticeAccount();

    /// Saves what `choose` takes from the queue in a file that a person chooses, then drops it from the
    /// queue. Whether that is done.
    [[nodiscard]] bool setAside(const std::function<QJsonArray(const QJsonArray& queue)>& choose,
                                const PersistState& persistState);
    [[nodiscard]] bool hasPendingHead() const;
    void pushHead(const QJsonObject& item);
    void applyPushReply(const QJsonObject& item, const QJsonObject& reply, int status);

    void saveExport(const QString& fileName, const QByteArray& body, int status);
    void adoptPreview(const QJsonObject& preview, const QString& workspace);
    void showPreview(const QJsonObject& preview);
    [[nodiscard]] bool canApply() const;
    void applyChunk();
    void applyImportReply(qint64 preview, const QJsonObject& reply, int status);
    void continueImport();

    ServerLink m_link;
    Vault m_vault;
    const PersistState m_persist = [this](const QJsonObject& candidate) { return m_vault.save(candidate); };
    QTimer m_tickTimer;
    QTimer m_syncTimer;
    QTimer m_reloadPause;

    Document m_document;
    Personal m_personal;
    EntriesView m_view;
    QVariantMap m_retained;
    /// Which workspace the snapshot is of.
    QString m_snapshotWorkspace;
    QString m_timezone;
    QString m_message;
    bool m_quotesServer = false;
    QString m_deviceId;
    /// Who was at work here last, on which server; a person without a session counts as well.
    QString m_lastAccount;
    bool m_wasSignedIn = false;

    bool m_busy = false;
    bool m_unasked = false; ///< of what it is busy with
    bool m_syncing = false;
    bool m_signingOut = false; ///< the server was told that nothing waits
    bool m_readOnly = false;
    qint64 m_loads = 0;            ///< tells the newest load of the workspace from those before
    qint64 m_acknowledgements = 0; ///< tells whether one came while a load was under way
    qint64 m_previews = 0;         ///< tells whether an import's preview was replaced meanwhile
    qint64 m_shownPreviews = 0;    ///< tells each that was shown from those before
    std::size_t m_silentReloads = 0;
};
