// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"
#include "tests/support/vaultfile.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QStringEncoder>
#include <QTest>

#include <algorithm>

using Role = Element::Role;

namespace {

const QString timed = QStringLiteral("Rewrite the ferry timetable");
const QString manual = QStringLiteral("Phone call with the lighthouse");
const QString edited = QStringLiteral("Catalogue of drowned bells");

/// Every text inside a JSON value that is long enough not to occur by chance.
void collectTexts(const QJsonValue& value, QSet<QString>& texts) {
    constexpr int telling = 6;
    if (value.isString() && value.toString().size() >= telling) {
        texts.insert(value.toString());
    }
    const QJsonArray items = value.toArray();
    for (const QJsonValue& item : items) {
        collectTexts(item, texts);
    }
    const QJsonObject object = value.toObject();
    for (const QJsonValue& member : object) {
        collectTexts(member, texts);
    }
}

/// The files under the home that hold one of the texts, in UTF-8 or in UTF-16,
/// each with the first text found in it.
QStringList filesHolding(const QSet<QString>& texts) {
    QStringList found;
    QDirIterator files(qEnvironmentVariable("HOME"), QDir::Files | QDir::Hidden | QDir::System,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly)) {
            found.append(file.fileName() + QStringLiteral(" cannot be read"));
            continue;
        }
        const QByteArray bytes = file.readAll();
        const auto holds = [&bytes](const QString& text) {
            return bytes.contains(text.toUtf8()) ||
                   bytes.contains(QStringEncoder(QStringEncoder::Utf16LE)(text)) ||
                   bytes.contains(QStringEncoder(QStringEncoder::Utf16BE)(text));
        };
        const auto text = std::find_if(texts.begin(), texts.end(), holds);
        if (text != texts.end()) {
            found.append(file.fileName() + QStringLiteral(" holds ") + *text);
        }
    }
    return found;
}

} // namespace

/// A day of a person with the real program, server and keyring.
class StoryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void workDoneWhileTheServerIsAwayReachesItOnceAndIsNeverReadable();

private:
    void openFullWindow();
    void startTimer();
    void stopTimerWithoutServer();
    void addManualEntryWithoutServer();
    void editDescriptionWithoutServer();
    void quitAndFindEverythingPending();
    void serverReturnsAndGetsEachChangeOnce();
    void nothingIsReadableInTheHome();

    [[nodiscard]] bool shows(Role role, const QString& name) const { return m_program.shows(role, name); }
    /// The list's row that begins so, once it is marked as waiting or as done.
    [[nodiscard]] bool lists(const QString& description, const QString& pendingMark, bool pending) const;
    [[nodiscard]] bool fillIn(const QString& field, const QString& text);

    Screen m_screen;
    DevServer m_server{DevServer::Data::Demo};
    Program m_program;
    QJsonObject m_original; // the edited entry before the edit, by the server's word
    QSet<QString> m_secrets{timed, manual, edited};
};

#define STEP(step)                                                                                           \
    step();                                                                                                  \
    if (QTest::currentTestFailed()) {                                                                        \
        return;                                                                                              \
    }

void StoryTest::workDoneWhileTheServerIsAwayReachesItOnceAndIsNeverReadable() {
    STEP(openFullWindow)
    STEP(startTimer)
    m_server.kill();
    STEP(stopTimerWithoutServer)
    STEP(addManualEntryWithoutServer)
    STEP(editDescriptionWithoutServer)
    STEP(nothingIsReadableInTheHome)
    STEP(quitAndFindEverythingPending)
    STEP(serverReturnsAndGetsEachChangeOnce)
    STEP(nothingIsReadableInTheHome)
}
