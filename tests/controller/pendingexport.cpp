// SPDX-License-Identifier: MIT
#include "controller/controller.h"
#include "tests/controller/filedialogs.h"
#include "tests/controller/filelimit.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString exported = u"Pending changes exported; the queue was not discarded"_s;
const QString notExported = u"Pending-change export failed"_s;

/// Someone with work that the server has not taken.
struct Holder {
    ScriptedPeer peer;
    Controller controller;
    FileDialogs dialogs;
    QTemporaryDir folder;
    const QString target = folder.filePath(u"changes.json"_s);

    Holder() { dialogs.choose(target); }

    /// Two writes that wait, because the server's identity check fails.
    [[nodiscard]] bool queueWork() {
        sample::serve(peer, sample::snapshot());
        if (!connectAndLoad(controller, peer.url()) || !waitForSilence(controller)) {
            return false;
        }
        peer.answer("GET", u"/v1/me"_s, PeerReply::json({}, 503));
        controller.addManual(u"פגישה"_s, {}, u"2026-03-02T10:00:00Z"_s, u"2026-03-02T11:00:00Z"_s, true);
        controller.addManual(u"Second"_s, {}, u"2026-03-02T12:00:00Z"_s, u"2026-03-02T13:00:00Z"_s, false);
        return waitForSilence(controller) && controller.pending() == 2;
    }

    [[nodiscard]] bool writeTarget(const QByteArray& bytes) const {
        QFile file(target);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    [[nodiscard]] QByteArray readTarget() const {
        QFile file(target);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    [[nodiscard]] QStringList files() const {
        return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden);
    }
};

} // namespace

class PendingExportTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void asksForTheFile();
    void cancelledExportSaysNothing();
    void emptyQueueIsExported();
    void writesTheQueueAndNothingElse();
    void queueIsKeptAndStillPushed();
    void queueOfTheMomentOfSavingIsExported();
    void replacesAnExistingFile();
    void fullDiskLeavesTheFileAlone();
    void failureIsReported_data();
    void failureIsReported();
    void successLeavesARunningRequestBusy();
};

void PendingExportTest::asksForTheFile() {
    Holder holder;
    holder.controller.exportPending();
    QCOMPARE(holder.dialogs.seen().size(), 1);
    const FileDialogs::Seen dialog = holder.dialogs.seen().first();
    QCOMPARE(dialog.title, u"Export pending changes"_s);
    QCOMPARE(dialog.proposedName, u"timer-pending-changes.json"_s);
    QCOMPARE(dialog.nameFilters, QStringList{u"All Files (*)"_s});
    QCOMPARE(dialog.acceptMode, QFileDialog::AcceptSave);
    QVERIFY(!dialog.hasParent);
}

void PendingExportTest::cancelledExportSaysNothing() {
    Holder holder;
    QVERIFY(holder.queueWork());
    holder.dialogs.cancel();
    QSignalSpy changed(&holder.controller, &Controller::changed);
    const QString before = holder.controller.message();
    holder.controller.exportPending();
    QCOMPARE(holder.dialogs.seen().size(), 1);
    QVERIFY(changed.isEmpty());
    QCOMPARE(holder.controller.message(), before);
    QCOMPARE(holder.files(), QStringList());
}

void PendingExportTest::emptyQueueIsExported() {
    // Neither a server nor secure storage nor an account is needed.
    Holder holder;
    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), exported);
    QCOMPARE(holder.readTarget(),
             "{\n    \"format\": \"timer-native-pending-v1\",\n    \"queue\": [\n    ]\n}\n");
}

void PendingExportTest::writesTheQueueAndNothingElse() {
    Holder holder;
    QVERIFY(holder.queueWork());
    QJsonObject state = holder.controller.durableState();
    state.insert(u"auth"_s, QJsonObject{{u"token"_s, u"the-session-token"_s}});
    QJsonArray queue = state.value(u"queue").toArray();
    queue.append(
        sample::queueItem(u"entry.update"_s, u"entry-1"_s, {{u"description"_s, u"Kept"_s}}, u"conflict"_s));
    state.insert(u"queue"_s, queue);
    holder.controller.applyDurable(state);

    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), exported);
    const QByteArray bytes = holder.readTarget();
    const QJsonObject expected{{u"format"_s, u"timer-native-pending-v1"_s}, {u"queue"_s, queue}};
    QCOMPARE(QJsonDocument::fromJson(bytes).object(), expected);
    QCOMPARE(bytes, QJsonDocument(expected).toJson(QJsonDocument::Indented));
    QVERIFY(bytes.contains(u"פגישה"_s.toUtf8()));
    QVERIFY(!bytes.contains("the-session-token"));
    QVERIFY(!bytes.contains(holder.peer.url().toUtf8()));
}

void PendingExportTest::queueIsKeptAndStillPushed() {
    Holder holder;
    QVERIFY(holder.queueWork());
    const QJsonObject before = holder.controller.durableState();
    const QByteArray stored = sealedRecord(holder.peer.url());
    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), exported);
    QCOMPARE(holder.controller.durableState(), before);
    QCOMPARE(sealedRecord(holder.peer.url()), stored);

    holder.peer.answer("GET", u"/v1/me"_s, PeerReply::json(sample::identity()));
    holder.controller.synchronize();
    QTRY_COMPARE(holder.controller.pending(), 0);
    const QList<PeerRequest> pushes = holder.peer.requests("POST", u"/v1/sync/push"_s);
    const QJsonArray queue = before.value(u"queue").toArray();
    QCOMPARE(pushes.size(), queue.size());
    for (qsizetype i = 0; i < pushes.size(); ++i) {
        QCOMPARE(sample::pushed(pushes[i]), queue[i].toObject().value(u"mutation").toObject());
    }
}

void PendingExportTest::queueOfTheMomentOfSavingIsExported() {
    Holder holder;
    QVERIFY(holder.queueWork());
    holder.dialogs.afterChoosing([&holder] {
        holder.controller.addManual(u"Third"_s, {}, u"2026-03-02T14:00:00Z"_s, u"2026-03-02T15:00:00Z"_s,
                                    false);
    });
    holder.controller.exportPending();
    QCOMPARE(holder.controller.pending(), 3);
    QCOMPARE(QJsonDocument::fromJson(holder.readTarget()).object().value(u"queue").toArray(),
             queueOf(holder.controller));
}

void PendingExportTest::replacesAnExistingFile() {
    Holder holder;
    QVERIFY(holder.writeTarget(QByteArray(5000, 'x')));
    QFile open(holder.target);
    QVERIFY(open.open(QIODevice::ReadOnly));
    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), exported);
    QCOMPARE(QJsonDocument::fromJson(holder.readTarget()).object().value(u"format").toString(),
             u"timer-native-pending-v1"_s);
    QCOMPARE(open.readAll(), QByteArray(5000, 'x'));
    QCOMPARE(holder.files(), QStringList{u"changes.json"_s});
}

void PendingExportTest::fullDiskLeavesTheFileAlone() {
    Holder holder;
    QVERIFY(holder.writeTarget("older"));
    QJsonObject state = holder.controller.durableState();
    state.insert(u"queue"_s, QJsonArray{sample::queueItem(u"entry.create"_s, u"entry-9"_s,
                                                          {{u"description"_s, QString(20000, u'x')}})});
    holder.controller.applyDurable(state);
    {
        const FileLimit limit(4096);
        holder.controller.exportPending();
    }
    QCOMPARE(holder.controller.message(), notExported);
    QCOMPARE(holder.readTarget(), "older");
    QCOMPARE(holder.files(), QStringList{u"changes.json"_s});
    QCOMPARE(holder.controller.durableState(), state);
}

void PendingExportTest::failureIsReported_data() {
    QTest::addColumn<bool>("folderGone");
    QTest::newRow("the folder is gone") << true;
    QTest::newRow("a folder has the name") << false;
}

void PendingExportTest::failureIsReported() {
    QFETCH(const bool, folderGone);
    Holder holder;
    QVERIFY(holder.queueWork());
    const QJsonObject before = holder.controller.durableState();
    holder.peer.answerOnce("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Hold));
    holder.controller.refresh();
    QVERIFY(holder.controller.busy());
    holder.dialogs.afterChoosing(
        [&] { QVERIFY(folderGone ? holder.folder.remove() : QDir().mkpath(holder.target + u"/kept"_s)); });
    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), notExported);
    QVERIFY(!holder.controller.busy());
    QCOMPARE(holder.controller.durableState(), before);
    QVERIFY(holder.files().isEmpty());
}

void PendingExportTest::successLeavesARunningRequestBusy() {
    Holder holder;
    QVERIFY(holder.queueWork());
    holder.peer.answerOnce("GET", u"/v1/sync/snapshot"_s, PeerReply::only(PeerReply::Delivery::Hold));
    holder.controller.refresh();
    QTRY_COMPARE(holder.peer.held(), 1);
    holder.controller.exportPending();
    QCOMPARE(holder.controller.message(), exported);
    QVERIFY(holder.controller.busy());
}

QTEST_MAIN(PendingExportTest)
#include "pendingexport.moc"
