// SPDX-License-Identifier: MIT
#include "devserver/demo.h"

#include "devserver/democatalog.h"
#include "devserver/entries.h"
#include "devserver/schema.h"

#include <QTimeZone>
#include <QUuid>

#include <random>

namespace devserver {
namespace {

constexpr quint64 kSeed = 0x5eed'0f'da7;
constexpr int kMinute = 60;
const QByteArray kZone = QByteArrayLiteral("Asia/Jerusalem");

/// The standard's distributions differ between libraries; its engine does not.
class Random {
public:
    int between(int low, int high) { return low + static_cast<int>(engine_() % quint64(high - low + 1)); }
    bool chance(int percent) { return between(1, 100) <= percent; }

    template <typename T>
    const T& pick(const QList<T>& list) {
        return list[between(0, static_cast<int>(list.size()) - 1)];
    }

    QString id() {
        QByteArray bytes(16, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(between(0, 255));
        bytes[6] = static_cast<char>((bytes[6] & 0x0f) | 0x40);
        bytes[8] = static_cast<char>((bytes[8] & 0x3f) | 0x80);
        return QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces);
    }

private:
    std::mt19937_64 engine_{kSeed};
};

struct Project {
    QString id;
    Language language;
};

/// One person's way of working in one workspace.
struct Habit {
    QString workspaceId;
    QString userId;
    QList<Project> projects;
    int fewest = 0; ///< entries in a day
    int most = 0;
    int earliest = 0; ///< minutes after midnight
    int latest = 0;
};

class Demo {
public:
    Demo(Connection& connection, QDate today) : connection_(connection), today_(today), zone_(kZone) {}

    void write();

private:
    QString addUser(const QString& email, const QString& name);
    QString addWorkspace(const QString& name, const QString& userId);
    void addMember(const QString& workspaceId, const QString& userId);
    QList<Project> addCatalog(const QString& workspaceId, const QList<DemoClient>& clients);
    void workDay(const Habit& habit, QDate day);
    void clockChangeNights(const Habit& habit);
    void addEntry(const Habit& habit, const Project& project, qint64 start, qint64 stop);
    void addPeriods();
    void addPeriod(QDate sunday, const QString& status, int version, const QVariant& reason);
    QString description(Language language);
    [[nodiscard]] qint64 instant(QDate day, int seconds) const;

    Connection& connection_;
    QDate today_;
    QTimeZone zone_;
    Random random_;
    QList<Entry> entries_;
};

void Demo::write() {
    connection_.run(QStringLiteral("UPDATE users SET email = ?, display_name = ? WHERE id = ?"),
                    {QStringLiteral("noa@example.com"), QStringLiteral("נועה לוי"), kDevelopmentUser});
    connection_.run(QStringLiteral("UPDATE workspaces SET name = ?, created_at = 0 WHERE id = ?"),
                    {QStringLiteral("סטודיו גל"), kDevelopmentWorkspace});
    const QString other = addUser(QStringLiteral("dan@example.com"), QStringLiteral("Dan Adler"));
    addMember(kDevelopmentWorkspace, other);
    const QString own = addWorkspace(QStringLiteral("Freelance"), kDevelopmentUser);
    const QList<Project> shared = addCatalog(kDevelopmentWorkspace, sharedClients());

    const Habit mainJob{kDevelopmentWorkspace, kDevelopmentUser, shared, 7, 11, 8 * 60 + 15, 9 * 60 + 20};
    const Habit colleague{kDevelopmentWorkspace, other, shared, 2, 5, 9 * 60, 11 * 60};
    const Habit sideJob{own, kDevelopmentUser, addCatalog(own, ownClients()), 3, 5, 8 * 60, 9 * 60 + 30};
    for (QDate day = today_.addDays(-365); day < today_; day = day.addDays(1)) {
        const bool weekend = day.dayOfWeek() == Qt::Friday || day.dayOfWeek() == Qt::Saturday;
        if (!weekend && !random_.chance(5))
            workDay(mainJob, day);
        if (!weekend && random_.chance(55))
            workDay(colleague, day);
        if (day.dayOfWeek() == Qt::Friday)
            workDay(sideJob, day);
    }
    clockChangeNights(sideJob);
    insertEntries(connection_, entries_);
    addPeriods();
}

QString Demo::addUser(const QString& email, const QString& name) {
    QString id = random_.id();
    connection_.run(
        QStringLiteral("INSERT INTO users (id, email, display_name, timezone) VALUES (?, ?, ?, ?)"),
        {id, email, name, QString::fromLatin1(kZone)});
    return id;
}

QString Demo::addWorkspace(const QString& name, const QString& userId) {
    QString id = random_.id();
    connection_.run(QStringLiteral("INSERT INTO workspaces (id, name, created_at) VALUES (?, ?, 1)"),
                    {id, name});
    addMember(id, userId);
    return id;
}

void Demo::addMember(const QString& workspaceId, const QString& userId) {
    connection_.run(QStringLiteral("INSERT INTO members (workspace_id, user_id) VALUES (?, ?)"),
                    {workspaceId, userId});
}

QList<Project> Demo::addCatalog(const QString& workspaceId, const QList<DemoClient>& clients) {
    QList<Project> open;
    qsizetype color = 0;
    for (const DemoClient& client : clients) {
        const QString clientId = random_.id();
        connection_.run(QStringLiteral("INSERT INTO clients (id, workspace_id, name) VALUES (?, ?, ?)"),
                        {clientId, workspaceId, client.name});
        for (const QString& name : client.projects) {
            const Project project{random_.id(), client.language};
            const bool archived = name == archivedProject();
            connection_.run(
                QStringLiteral("INSERT INTO projects (id, workspace_id, client_id, name, color, archived)"
                               " VALUES (?, ?, ?, ?, ?, ?)"),
                {project.id, workspaceId, clientId, name, colors()[color++ % colors().size()],
                 int(archived)});
            if (!archived)
                open += project;
        }
    }
    return open;
}

void Demo::workDay(const Habit& habit, QDate day) {
    const QList<Project> focus{random_.pick(habit.projects), random_.pick(habit.projects),
                               random_.pick(habit.projects)};
    const int lunch = random_.between(12 * 60 + 10, 13 * 60 + 10) * kMinute;
    const int evening = 20 * 3600;
    int clock = random_.between(habit.earliest * kMinute, habit.latest * kMinute);
    bool hungry = clock < lunch;
    for (int left = random_.between(habit.fewest, habit.most); left > 0; --left) {
        if (hungry && clock >= lunch) {
            clock += random_.between(28 * kMinute, 52 * kMinute);
            hungry = false;
        }
        const int length = random_.between(13 * kMinute, 75 * kMinute);
        if (clock + length > evening)
            return;
        addEntry(habit, random_.pick(focus), instant(day, clock), instant(day, clock + length));
        // Either straight on with the next thing, or a break.
        clock += length +
                 (random_.chance(45) ? random_.between(4, 90) : random_.between(3 * kMinute, 14 * kMinute));
    }
}

// Work through the night in which the clocks changed: its length and its local
// times disagree, which every sum and every display has to survive.
void Demo::clockChangeNights(const Habit& habit) {
    const QDateTime from = today_.addDays(-365).startOfDay(zone_);
    const QDateTime to = today_.addDays(-1).startOfDay(zone_);
    for (const QTimeZone::OffsetData& change : zone_.transitions(from, to)) {
        const qint64 at = change.atUtc.toSecsSinceEpoch();
        const qint64 start = at - random_.between(70 * kMinute, 110 * kMinute);
        const qint64 stop = at + random_.between(70 * kMinute, 110 * kMinute);
        addEntry(habit, habit.projects.constFirst(), start, stop);
    }
}

void Demo::addEntry(const Habit& habit, const Project& project, qint64 start, qint64 stop) {
    Entry entry;
    entry.id = random_.id();
    entry.workspaceId = habit.workspaceId;
    entry.userId = habit.userId;
    entry.description = random_.chance(3) ? QString() : description(project.language);
    if (!random_.chance(4))
        entry.projectId = project.id;
    entry.billable = entry.projectId && random_.chance(80);
    entry.startAt = start;
    entry.stopAt = stop;
    entry.version = random_.chance(85) ? 2 : random_.between(1, 4);
    if (random_.chance(1))
        entry.deletedAt = stop + random_.between(kMinute, 90 * kMinute);
    entries_ += entry;
}

void Demo::addPeriods() {
    const QDate sunday = today_.addDays(-(today_.dayOfWeek() % 7));
    addPeriod(sunday.addDays(-21), QStringLiteral("approved"), 3, QVariant());
    addPeriod(sunday.addDays(-14), QStringLiteral("submitted"), 2, QVariant());
    addPeriod(sunday.addDays(-7), QStringLiteral("open"), 3,
              QStringLiteral("חסרים תיאורים ביום שלישי, נא להשלים ולהגיש שוב"));
}

void Demo::addPeriod(QDate sunday, const QString& status, int version, const QVariant& reason) {
    connection_.run(
        QStringLiteral("INSERT INTO timesheet_periods (id, workspace_id, user_id, status, from_date, to_date,"
                       " timezone, start_at, end_at, version, last_reason)"
                       " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        {random_.id(), kDevelopmentWorkspace, kDevelopmentUser, status, sunday.toString(Qt::ISODate),
         sunday.addDays(6).toString(Qt::ISODate), QString::fromLatin1(kZone), instant(sunday, 0),
         instant(sunday.addDays(7), 0), version, reason});
}

QString Demo::description(Language language) {
    if (random_.chance(35))
        return random_.pick(plainDescriptions(language));
    const QString pattern = random_.pick(patterns(language));
    return pattern.arg(random_.pick(subjects(language)));
}

qint64 Demo::instant(QDate day, int seconds) const {
    return seconds == 0
               ? day.startOfDay(zone_).toSecsSinceEpoch()
               : QDateTime(day, QTime::fromMSecsSinceStartOfDay(seconds * 1000), zone_).toSecsSinceEpoch();
}

bool holdsWork(Connection& connection) {
    QSqlQuery query = connection.run(
        QStringLiteral("SELECT 1 WHERE EXISTS (SELECT 1 FROM time_entries)"
                       " OR EXISTS (SELECT 1 FROM mutations) OR EXISTS (SELECT 1 FROM projects)"));
    return connection.next(query);
}

} // namespace

bool addDemo(Connection& connection, QDate today) {
    Transaction transaction(connection, Transaction::Kind::Write);
    if (holdsWork(connection))
        return false;
    Demo(connection, today).write();
    transaction.commit();
    return true;
}

QDate currentDemoDay() {
    return QDateTime::currentDateTime().toTimeZone(QTimeZone(kZone)).date();
}

} // namespace devserver
