// SPDX-License-Identifier: MIT
#include "tests/story/windowstory.h"
#include "tests/support/steps.h"
#include "tests/support/vaultfile.h"

#include <QByteArrayList>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QStringEncoder>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

using Role = Element::Role;

namespace {

const QString timed = u"Rewrite the ferry timetable"_s;
const QString manual = u"Phone call with the lighthouse"_s;
const QString edited = u"Catalogue of drowned bells"_s;

/// What a person wrote, or is called by, anywhere inside a JSON value.
void collectTexts(const QJsonValue& value, QSet<QString>& texts) {
    static const QSet<QString> personal{u"name"_s, u"description"_s, u"email"_s, u"display_name"_s,
                                        u"last_reason"_s};
    constexpr int telling = 5; // shorter ones can occur by chance
    const QJsonArray items = value.toArray();
    for (const auto& item : items) {
        collectTexts(item, texts);
    }
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        const QString text = member.value().toString();
        if (personal.contains(member.key()) && text.size() >= telling) {
            texts.insert(text);
        }
        collectTexts(member.value(), texts);
    }
}

/// The texts in UTF-8 and in both byte orders of UTF-16.
QByteArrayList encodings(const QSet<QString>& texts) {
    QByteArrayList needles;
    for (const QString& text : texts) {
        needles.append(text.toUtf8());
        for (const auto encoding : {QStringEncoder::Utf16LE, QStringEncoder::Utf16BE}) {
            const QByteArray wide = QStringEncoder(encoding)(text);
            needles.append(wide);
        }
    }
    return needles;
}

/// The files under the home that hold one of the texts, each with what was found in it.
QStringList filesHolding(const QSet<QString>& texts) {
    const QByteArrayList needles = encodings(texts);
    QStringList found;
    QDirIterator files(qEnvironmentVariable("HOME"), QDir::Files | QDir::Hidden | QDir::System,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly)) {
            found.append(file.fileName() + u" cannot be read"_s);
            continue;
        }
        const QByteArray bytes = file.readAll();
        const auto needle = std::find_if(needles.begin(), needles.end(),
                                         [&bytes](const QByteArray& text) { return bytes.contains(text); });
        if (needle != needles.end()) {
            found.append(file.fileName() + u" holds "_s + QString::fromUtf8(*needle));
        }
    }
    return found;
}

} // namespace

/// A day of a person with the real program, server and keyring.
class StoryTest : public WindowStory {
    Q_OBJECT

    void openFullWindow();
    void startTimer();
    void stopTimerWithoutServer();
    void addManualEntryWithoutServer();
    void editDescriptionWithoutServer();
    void startAgainAndFindEverythingPending();
    void letTheServerReturn();
    void findEachChangeOnce();
    void quit();
    void findNothingReadableInTheHome();

    /// Whether the list shows the entry, marked as waiting or not.
    [[nodiscard]] bool lists(const QString& description, bool pending) const;
    /// The list's first row that nobody has touched yet and that can be edited: its
    /// button, and in m_original the server's entry.
    [[nodiscard]] Element editableRow();

    QJsonArray m_before; // the server's entries at first
    QJsonObject m_original;
    QString m_manualStart;
    QSet<QString> m_secrets{timed, manual, edited};

public:
    StoryTest() : WindowStory(DevServer::Data::Demo) {}

private Q_SLOTS:
    void workDoneWhileTheServerIsAwayReachesItOnceAndIsNeverReadable();
};

void StoryTest::workDoneWhileTheServerIsAwayReachesItOnceAndIsNeverReadable() {
    takeSteps(
        {
            &StoryTest::openFullWindow,
            &StoryTest::startTimer,
            &StoryTest::stopTimerWithoutServer,
            &StoryTest::addManualEntryWithoutServer,
            &StoryTest::editDescriptionWithoutServer,
            &StoryTest::findNothingReadableInTheHome,
            &StoryTest::quit,
            &StoryTest::startAgainAndFindEverythingPending,
            &StoryTest::letTheServerReturn,
            &StoryTest::findEachChangeOnce,
            &StoryTest::findNothingReadableInTheHome,
            &StoryTest::quit,
            &StoryTest::findNothingReadableInTheHome,
        },
        this);
}

bool StoryTest::lists(const QString& description, bool pending) const {
    const QString row = elements().findStarting(description + u", "_s).name();
    return !row.isEmpty() &&
           pending == (row.contains(u" · Pending sync"_s) || row.contains(u" · ממתין לסנכרון"_s));
}

Element StoryTest::editableRow() {
    const QList<Element> all = elements().everything();
    for (const Element& row : all) {
        Element button = row.find(Role::PushButton, u"Edit description"_s);
        if (!button.isEnabled()) {
            continue;
        }
        const QString name = row.name();
        for (const auto& value : std::as_const(m_before)) {
            const QString description = value.toObject().value(u"description").toString();
            const QString start = value.toObject().value(u"start_at").toString();
            if (!description.isEmpty() && name.startsWith(description + u", "_s + start)) {
                m_original = value.toObject();
                return button;
            }
        }
    }
    return {};
}

void StoryTest::openFullWindow() {
    QVERIFY(startDesk());
    m_before = m_server.entries();
    QVERIFY(m_before.size() > 2000);
    const QString snapshot = u"/sync/snapshot?workspace_id="_s + m_server.workspace();
    for (const QString& path : {u"/me"_s, u"/workspaces"_s, snapshot}) {
        collectTexts(m_server.request("GET", path).body, m_secrets);
    }
    QVERIFY(m_secrets.size() > 100);

    QVERIFY(openProgram());
    QVERIFY(!editableRow().isNull());
}

void StoryTest::startTimer() {
    QVERIFY(fillIn(u"What are you working on?"_s, timed));
    QVERIFY(press(u"Start"_s, [this] { return m_program.shows(Role::PushButton, u"Stop"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(0), Screen::patienceMs);
    QCOMPARE(m_server.entriesNamed(timed).size(), 1);
    m_server.kill();
}

void StoryTest::stopTimerWithoutServer() {
    QVERIFY(press(u"Stop"_s, [this] { return m_program.shows(Role::PushButton, u"Start"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(1), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(lists(timed, true), Screen::patienceMs);
}

// Of today, so that it comes before all that the demo made.
void StoryTest::addManualEntryWithoutServer() {
    constexpr qint64 hour = 3600;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const auto local = [&now](qint64 ago) {
        return now.addSecs(-ago).toOffsetFromUtc(int(3 * hour)).toString(Qt::ISODate);
    };
    m_manualStart = now.addSecs(-3 * hour).toString(Qt::ISODate);
    QVERIFY(press(u"Manual entry"_s, [this] { return m_program.shows(Role::Text, u"From"_s); }));
    QVERIFY(fillIn(u"Description"_s, manual));
    QVERIFY(fillIn(u"From"_s, local(3 * hour)));
    QVERIFY(fillIn(u"To"_s, local(2 * hour)));
    QVERIFY(press(u"OK"_s, [this] { return !m_program.shows(Role::Text, u"From"_s); }));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(2), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(lists(manual, true), Screen::patienceMs);
}

void StoryTest::editDescriptionWithoutServer() {
    const QString field = u"Description"_s;
    QVERIFY(retry(
        [this] {
            const Element button = editableRow();
            return !button.isNull() && m_screen.click(button.area().center());
        },
        [&] { return m_program.shows(Role::Text, field); }));
    QCOMPARE(elements().find(Role::Text, field).text(), m_original.value(u"description").toString());
    QVERIFY(fillIn(field, edited));
    QVERIFY(m_screen.key(u"Return"_s));
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(3), Screen::patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(lists(edited, true), Screen::patienceMs);
}

void StoryTest::quit() {
    QVERIFY(m_screen.close(m_program));
    QCOMPARE(m_program.exitCode(), 0);
}

void StoryTest::startAgainAndFindEverythingPending() {
    m_program.start();
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(3), Screen::patienceMs);
    for (const QString& description : {timed, manual, edited}) {
        QTRY_VERIFY_WITH_TIMEOUT(lists(description, true), Screen::patienceMs);
    }
    QVERIFY(m_program.shows(Role::PushButton, u"התחל"_s));
    QVERIFY(m_program.shows(Role::ComboBox, u"סביבת עבודה"_s));
}

void StoryTest::letTheServerReturn() {
    QVERIFY(m_server.start());
    QTRY_VERIFY_WITH_TIMEOUT(isWaiting(0), Screen::patienceMs);
    for (const QString& description : {timed, manual, edited}) {
        QTRY_VERIFY_WITH_TIMEOUT(lists(description, false), Screen::patienceMs);
    }
}

void StoryTest::findEachChangeOnce() {
    const QString version = u"version"_s;
    QCOMPARE(m_server.entries().size(), m_before.size() + 2);

    const QJsonArray stopped = m_server.entriesNamed(timed);
    QCOMPARE(stopped.size(), 1);
    QVERIFY(stopped.first().toObject().value(u"stop_at").isString());
    QCOMPARE(stopped.first().toObject().value(version).toInt(), 2); // started, stopped

    const QJsonArray added = m_server.entriesNamed(manual);
    QCOMPARE(added.size(), 1);
    QCOMPARE(added.first().toObject().value(u"start_at").toString(), m_manualStart);
    QCOMPARE(added.first().toObject().value(version).toInt(), 1);

    const QJsonArray changed = m_server.entriesNamed(edited);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().toObject().value(u"id"), m_original.value(u"id"));
    QCOMPARE(changed.first().toObject().value(version).toInt(), m_original.value(version).toInt() + 1);
}

void StoryTest::findNothingReadableInTheHome() {
    QVERIFY(QFile::exists(vaultFile(m_server.url())));
    QCOMPARE(QFile::exists(vaultFile(m_server.url()) + u"-wal"_s), m_program.isRunning());
    QCOMPARE(filesHolding(m_secrets), QStringList());
    // That this finds what is there: the one thing that is not secret.
    const QStringList settings = filesHolding({m_server.url()});
    QCOMPARE(settings.size(), 1);
    QVERIFY(settings.constFirst().contains(u"TimerKelvaro.conf"_s));
}

QTEST_MAIN(StoryTest)
#include "story.moc"
