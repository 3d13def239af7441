// SPDX-License-Identifier: MIT
#include "devserver/demo/demo.h"

#include "devserver/accounts/passwords.h"
#include "devserver/base/time.h"
#include "devserver/entries/entries.h"
#include "devserver/store/schema.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimeZone>
#include <QUuid>

#include <random>
#include <stdexcept>

namespace devserver {
namespace {

constexpr quint64 seed = 0x5eed'0f'da7;
constexpr quint64 detailSeed = seed + 1;
constexpr int roundingMinutes = 15;
constexpr int minute = 60;
const QByteArray demoZone = "Asia/Jerusalem"_ba;

QJsonObject readCatalog() {
    QFile file(u":/demo/catalog.json"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::logic_error("the demo's catalog was not built in");
    }
    return QJsonDocument::fromJson(file.readAll()).object();
}

QStringList textsOf(const QJsonValue& array) {
    return array.toVariant().toStringList();
}

/// The standard's distributions differ between libraries; its engine does not.
class Random {
public:
    explicit Random(quint64 start) : m_engine(start) {}

    int between(int low, int high) { return low + static_cast<int>(m_engine() % quint64(high - low + 1)); }
    bool chance(int percent) { return between(1, 100) <= percent; }

    template <typename T>
    const T& pick(const QList<T>& list) {
        return list[between(0, static_cast<int>(list.size()) - 1)];
    }

    QString id() {
        QByteArray bytes(16, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(between(0, 255));
        }
        bytes[6] = static_cast<char>((bytes[6] & 0x0f) | 0x40);
        bytes[8] = static_cast<char>((bytes[8] & 0x3f) | 0x80);
        return QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces);
    }

private:
    std::mt19937_64 m_engine;
};

struct Project {
    QString id;
    QString language;
    QStringList tasks; ///< by id
};

/// One person's way of working in one workspace.
struct Habit {
    QString workspaceId;
    QString userId;
    QList<Project> projects;
    QStringList tags; ///< by id
    int fewest = 0;   ///< entries in a day
    int most = 0;
    int earliest = 0; ///< minutes after midnight
    int latest = 0;
};

class Demo {
public:
    Demo(Connection& connection, QDate today) : m_connection(connection), m_today(today), m_zone(demoZone) {}

    void write();

private:
    void addMember(const QString& workspaceId, const QString& userId);
    void setRules(const QString& workspaceId, const QString& language, const QString& currency);
    /// "descriptions" as a whole; "patterns" of others, "%1" standing for one of the
    /// "subjects"; "tasks" of every project; "tags".
    [[nodiscard]] QStringList words(const QString& kind, const QString& language) const;
    QList<Project> addClients(const QString& workspaceId, const QString& whose);
    QStringList addNamed(const QString& table, const QString& ownerId, const QStringList& names);
    void workDay(const Habit& habit, QDate day);
    void clockChangeNights(const Habit& habit);
    void lateEvenings(const Habit& habit);
    void addEntry(const Habit& habit, const Project& project, qint64 start, qint64 stop);
    void addDetails(Entry& entry, const Habit& habit, const Project& project);
    void addPeriods();
    void addPeriod(QDate sunday, const QString& status, int version, const QVariant& reason);
    QString description(const QString& language);
    [[nodiscard]] qint64 instant(QDate day, int seconds) const;

    Connection& m_connection;
    QJsonObject m_catalog = readCatalog();
    QDate m_today;
    QTimeZone m_zone;
    Random m_random{seed};
    Random m_details{detailSeed}; // what came later leaves the rest of the demo as it was
    QList<Entry> m_entries;
};

void Demo::write() {
    m_connection.run(u"UPDATE users SET email = ?, display_name = ? WHERE id = ?"_s,
                     {demoOwner.email, u"נועה לוי"_s, developmentUser});
    m_connection.run(u"UPDATE workspaces SET name = ?, created_at = 0 WHERE id = ?"_s,
                     {u"סטודיו גל"_s, developmentWorkspace});
    const QString other = m_random.id();
    m_connection.insert(u"users (id, email, display_name, timezone)"_s,
                        {other, demoColleague.email, u"Dan Adler"_s, QString::fromLatin1(demoZone)});
    addMember(developmentWorkspace, other);
    const QString own = m_random.id();
    m_connection.insert(u"workspaces (id, name, created_at)"_s, {own, u"Freelance"_s, 1});
    addMember(own, developmentUser);
    setRules(developmentWorkspace, u"he"_s, u"ILS"_s);
    setRules(own, u"en"_s, u"EUR"_s);
    const QString tags = u"tags (id, workspace_id, name)"_s;
    const QStringList sharedTags = addNamed(tags, developmentWorkspace, words(u"tags"_s, u"he"_s));
    const QStringList ownTags = addNamed(tags, own, words(u"tags"_s, u"en"_s));
    const QList<Project> shared = addClients(developmentWorkspace, u"shared_clients"_s);

    const Habit mainJob{developmentWorkspace, developmentUser, shared, sharedTags, 7, 11,
                        8 * 60 + 15,          9 * 60 + 20};
    const Habit colleague{developmentWorkspace, other, shared, sharedTags, 2, 5, 9 * 60, 11 * 60};
    const Habit sideJob{own,    developmentUser, addClients(own, u"own_clients"_s), ownTags, 3, 5,
                        8 * 60, 9 * 60 + 30};
    for (QDate day = m_today.addDays(-365); day < m_today; day = day.addDays(1)) {
        const bool weekend = day.dayOfWeek() == Qt::Friday || day.dayOfWeek() == Qt::Saturday;
        if (!weekend && !m_random.chance(5)) {
            workDay(mainJob, day);
        }
        if (!weekend && m_random.chance(55)) {
            workDay(colleague, day);
        }
        if (day.dayOfWeek() == Qt::Friday) {
            workDay(sideJob, day);
        }
    }
    clockChangeNights(sideJob);
    addPeriods();
    // Last of all, which leaves the rest of the demo as it was.
    lateEvenings(colleague);
    clockChangeNights(colleague);
    insertEntries(m_connection, m_entries);
}

void Demo::addMember(const QString& workspaceId, const QString& userId) {
    m_connection.insert(u"members (workspace_id, user_id)"_s, {workspaceId, userId});
}

void Demo::setRules(const QString& workspaceId, const QString& language, const QString& currency) {
    m_connection.run(u"UPDATE workspaces SET language = ?, currency = ?, rounding_minutes = ? WHERE id = ?"_s,
                     {language, currency, roundingMinutes, workspaceId});
}

QStringList Demo::words(const QString& kind, const QString& language) const {
    return textsOf(m_catalog.value(kind)[language]);
}

QList<Project> Demo::addClients(const QString& workspaceId, const QString& whose) {
    QList<Project> open;
    qsizetype color = 0;
    const QJsonArray clients = m_catalog.value(whose).toArray();
    for (const auto& client : clients) {
        const QString clientId = m_random.id();
        const QString language = client[u"language"].toString();
        const QVariant rate = client[u"hourly_rate"].toVariant(); // in hundredths, or null
        m_connection.insert(u"clients (id, workspace_id, name)"_s,
                            {clientId, workspaceId, client[u"name"].toString()});
        for (const QString& name : textsOf(client[u"projects"])) {
            Project project{m_random.id(), language, {}};
            const bool archived = name == m_catalog.value(u"archived_project").toString();
            m_connection.insert(
                u"projects (id, workspace_id, client_id, name, color, archived, hourly_rate)"_s,
                {project.id, workspaceId, clientId, name, projectColors()[color++ % projectColors().size()],
                 int(archived), rate});
            project.tasks =
                addNamed(u"tasks (id, project_id, name)"_s, project.id, words(u"tasks"_s, language));
            if (!archived) {
                open += project;
            }
        }
    }
    return open;
}

QStringList Demo::addNamed(const QString& table, const QString& ownerId, const QStringList& names) {
    QStringList ids;
    for (const QString& name : names) {
        ids += m_details.id();
        m_connection.insert(table, {ids.constLast(), ownerId, name});
    }
    return ids;
}

void Demo::workDay(const Habit& habit, QDate day) {
    const QList<Project> focus{m_random.pick(habit.projects), m_random.pick(habit.projects),
                               m_random.pick(habit.projects)};
    const int lunch = m_random.between(12 * 60 + 10, 13 * 60 + 10) * minute;
    const int evening = 20 * 3600;
    int clock = m_random.between(habit.earliest * minute, habit.latest * minute);
    bool hungry = clock < lunch;
    for (int left = m_random.between(habit.fewest, habit.most); left > 0; --left) {
        if (hungry && clock >= lunch) {
            clock += m_random.between(28 * minute, 52 * minute);
            hungry = false;
        }
        const int length = m_random.between(13 * minute, 75 * minute);
        if (clock + length > evening) {
            return;
        }
        addEntry(habit, m_random.pick(focus), instant(day, clock), instant(day, clock + length));
        // Either straight on with the next thing, or a break.
        clock += length +
                 (m_random.chance(45) ? m_random.between(4, 90) : m_random.between(3 * minute, 14 * minute));
    }
}

// Work through the night in which the clocks changed: its length and its local
// times disagree, which every sum and every display has to survive.
void Demo::clockChangeNights(const Habit& habit) {
    const QDateTime from = m_today.addDays(-365).startOfDay(m_zone);
    const QDateTime to = m_today.addDays(-1).startOfDay(m_zone);
    for (const QTimeZone::OffsetData& change : m_zone.transitions(from, to)) {
        const qint64 at = change.atUtc.toSecsSinceEpoch();
        const qint64 start = at - m_random.between(70 * minute, 110 * minute);
        const qint64 stop = at + m_random.between(70 * minute, 110 * minute);
        addEntry(habit, habit.projects.constFirst(), start, stop);
    }
}

// Work over midnight, which belongs to two days: on the first Monday of a month,
// a night in which the clocks never change.
void Demo::lateEvenings(const Habit& habit) {
    for (QDate day = m_today.addDays(-365); day < m_today.addDays(-1); day = day.addDays(1)) {
        if (day.dayOfWeek() == Qt::Monday && day.day() <= 7) {
            const int start = m_random.between(22 * 3600, 23 * 3600);
            const int length = m_random.between(125 * minute, 180 * minute);
            addEntry(habit, habit.projects.constFirst(), instant(day, start), instant(day, start) + length);
        }
    }
}

void Demo::addEntry(const Habit& habit, const Project& project, qint64 start, qint64 stop) {
    Entry entry;
    entry.id = m_random.id();
    entry.workspaceId = habit.workspaceId;
    entry.userId = habit.userId;
    entry.description = m_random.chance(3) ? QString() : description(project.language);
    if (!m_random.chance(4)) {
        entry.projectId = project.id;
    }
    entry.billable = entry.projectId && m_random.chance(80);
    entry.startAt = start;
    entry.stopAt = stop;
    entry.version = m_random.chance(85) ? 2 : m_random.between(1, 4);
    if (m_random.chance(1)) {
        entry.deletedAt = stop + m_random.between(minute, 90 * minute);
    }
    addDetails(entry, habit, project);
    m_entries += entry;
}

void Demo::addDetails(Entry& entry, const Habit& habit, const Project& project) {
    if (entry.projectId && m_details.chance(85)) {
        entry.taskId = m_details.pick(project.tasks);
    }
    if (m_details.chance(20)) {
        entry.tagIds = R"([")" + m_details.pick(habit.tags).toLatin1() + R"("])";
    }
}

void Demo::addPeriods() {
    const QDate sunday = firstOfWeek(m_today, u"he"_s);
    addPeriod(sunday.addDays(-21), u"approved"_s, 3, QVariant());
    addPeriod(sunday.addDays(-14), u"submitted"_s, 2, QVariant());
    addPeriod(sunday.addDays(-7), u"open"_s, 3, u"חסרים תיאורים ביום שלישי, נא להשלים ולהגיש שוב"_s);
}

void Demo::addPeriod(QDate sunday, const QString& status, int version, const QVariant& reason) {
    m_connection.insert(
        u"timesheet_periods (id, workspace_id, user_id, status, from_date, to_date, timezone, start_at, end_at, version, last_reason)"_s,
        {m_random.id(), developmentWorkspace, developmentUser, status, sunday.toString(Qt::ISODate),
         sunday.addDays(6).toString(Qt::ISODate), QString::fromLatin1(demoZone), instant(sunday, 0),
         instant(sunday.addDays(7), 0), version, reason});
}

QString Demo::description(const QString& language) {
    if (m_random.chance(35)) {
        return m_random.pick(words(u"descriptions"_s, language));
    }
    const QString pattern = m_random.pick(words(u"patterns"_s, language));
    return pattern.arg(m_random.pick(words(u"subjects"_s, language)));
}

qint64 Demo::instant(QDate day, int seconds) const {
    return seconds == 0
               ? day.startOfDay(m_zone).toSecsSinceEpoch()
               : QDateTime(day, QTime::fromMSecsSinceStartOfDay(seconds * 1000), m_zone).toSecsSinceEpoch();
}

} // namespace

bool addDemo(Connection& connection, QDate today) {
    Transaction transaction(connection, Transaction::Kind::Write);
    if (connection.finds(u"SELECT 1 WHERE EXISTS (SELECT 1 FROM time_entries)"
                         " OR EXISTS (SELECT 1 FROM mutations) OR EXISTS (SELECT 1 FROM projects)"
                         " OR EXISTS (SELECT 1 FROM timesheet_periods)"_s)) {
        return connection.finds(u"SELECT 1 FROM users WHERE id = ? AND email = ?"_s,
                                {developmentUser, demoOwner.email});
    }
    Demo(connection, today).write();
    transaction.commit();
    return true;
}

QDate currentDemoDay() {
    return QDateTime::currentDateTime().toTimeZone(QTimeZone(demoZone)).date();
}

void giveDemoPasswords(Connection& connection) {
    for (const DemoAccount& account : {demoOwner, demoColleague}) {
        if (connection.finds(u"SELECT 1 FROM users WHERE email = ? AND password_hash IS NULL"_s,
                             {account.email})) {
            const QByteArray hash = hashPassword(account.password);
            connection.run(u"UPDATE users SET password_hash = ? WHERE email = ? AND password_hash IS NULL"_s,
                           {QString::fromLatin1(hash), account.email});
        }
    }
}

QByteArray demoAccountLines() {
    QByteArray lines;
    for (const DemoAccount& account : {demoOwner, demoColleague}) {
        lines += "Demo account " + account.email.toUtf8() + ", password " + account.password + '\n';
    }
    return lines;
}

} // namespace devserver
