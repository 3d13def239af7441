// SPDX-License-Identifier: MIT
#include "tests/controller/migrant.h"
#include "tests/support/client.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <sys/stat.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString unavailable = u"CSV unavailable or exceeds 900KB limit"_s;

using FileAction = std::function<void(const QString& path)>;

} // namespace

class MigrationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void previewNeedsTheConfirmation();
    void previewAsksForACsvFile();
    void aFileChosenForAnotherServerIsNotSent();
    void cancelledPreviewSaysAndSendsNothing();
    void previewTakesFilesUpToTheLimit_data();
    void previewTakesFilesUpToTheLimit();
    void previewRefusesFilesItCannotReadToTheEnd_data();
    void previewRefusesFilesItCannotReadToTheEnd();
    void previewTakesOnlyWellFormedUtf8_data();
    void previewTakesOnlyWellFormedUtf8();
    void previewSendsTheWholeFile();
    void previewWithoutAWorkspaceIsTheServersToRefuse();
    void failedPreviewKeepsTheFormerOne_data();
    void failedPreviewKeepsTheFormerOne();
};

void MigrationTest::previewNeedsTheConfirmation() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource("a"));
    migrant.controller.previewCsv(u"source"_s, u"UTC"_s, false);
    QCOMPARE(migrant.controller.message(), u"Confirm that source records belong to the current account."_s);
    QVERIFY(!migrant.controller.busy());
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(migrant.dialogs.seen().isEmpty());
    QVERIFY(migrant.peer.requests("POST", Migrant::previewPath()).isEmpty());
}

void MigrationTest::previewAsksForACsvFile() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    QCOMPARE(migrant.dialogs.seen().size(), 1);
    const FileDialogs::Seen dialog = migrant.dialogs.seen().first();
    QCOMPARE(dialog.title, u"Select detailed CSV"_s);
    QCOMPARE(dialog.nameFilters, QStringList{u"CSV (*.csv)"_s});
    QCOMPARE(dialog.acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(dialog.proposedName, QString());
    QVERIFY(!dialog.hasParent);
}

void MigrationTest::aFileChosenForAnotherServerIsNotSent() {
    Migrant migrant;
    ScriptedPeer other;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource("a"));
    migrant.dialogs.afterChoosing([&] { migrant.controller.connectServer(other.url()); });
    migrant.controller.previewCsv(u"source"_s, u"UTC"_s, true);
    QCOMPARE(migrant.controller.message(), u"Import preview failed"_s);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(migrant.peer.requests("POST", Migrant::previewPath()).isEmpty());
    QVERIFY(other.requests("POST", Migrant::previewPath()).isEmpty());
}

void MigrationTest::cancelledPreviewSaysAndSendsNothing() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    migrant.dialogs.cancel();
    QSignalSpy changed(&migrant.controller, &Controller::changed);
    migrant.preview();
    QCOMPARE(migrant.dialogs.seen().size(), 1);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(changed.isEmpty());
    QVERIFY(migrant.peer.requests("POST", Migrant::previewPath()).isEmpty());
}

void MigrationTest::previewTakesFilesUpToTheLimit_data() {
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("message");
    QTest::newRow("900,000 bytes") << 900000 << Migrant::previewed();
    QTest::newRow("900,001 bytes") << 900001 << unavailable;
    QTest::newRow("900,002 bytes") << 900002 << unavailable;
    QTest::newRow("5,000,000 bytes") << 5000000 << unavailable;
}

void MigrationTest::previewTakesFilesUpToTheLimit() {
    QFETCH(const int, size);
    QFETCH(const QString, message);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource(QByteArray(size, 'a')));
    migrant.preview();
    QTRY_COMPARE(migrant.controller.message(), message);
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(!migrant.controller.busy());
    const QList<PeerRequest> sent = migrant.peer.requests("POST", Migrant::previewPath());
    QCOMPARE(sent.size(), message == Migrant::previewed() ? 1 : 0);
    if (!sent.isEmpty()) {
        QCOMPARE(sent.first().json().value(u"content").toString().size(), size);
    }
}

void MigrationTest::previewRefusesFilesItCannotReadToTheEnd_data() {
    QTest::addColumn<FileAction>("afterChoosing");
    QTest::newRow("removed after the choice") << FileAction([](const QString& file) { QFile::remove(file); });
    QTest::newRow("grown after the choice") << FileAction([](const QString& path) {
        QFile file(path);
        QVERIFY(file.resize(900001));
    });
    QTest::newRow("a folder by now") << FileAction(
        [](const QString& path) { QVERIFY(QFile::remove(path) && QDir().mkpath(path)); });
#ifdef Q_OS_LINUX
    // Opens well, and every read from its start fails.
    QTest::newRow("unreadable") << FileAction(
        [](const QString& path) { QVERIFY(QFile::remove(path) && QFile::link(u"/proc/self/mem"_s, path)); });
    // Has no size and never ends.
    QTest::newRow("endless") << FileAction(
        [](const QString& path) { QVERIFY(QFile::remove(path) && QFile::link(u"/dev/zero"_s, path)); });
    // Opening it would wait for a writer.
    QTest::newRow("a pipe") << FileAction([](const QString& path) {
        QVERIFY(QFile::remove(path) && mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
    });
#endif
}

void MigrationTest::previewRefusesFilesItCannotReadToTheEnd() {
    QFETCH(const FileAction, afterChoosing);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource("a,b\n"));
    migrant.dialogs.afterChoosing([&] { afterChoosing(migrant.source); });
    migrant.preview();
    QCOMPARE(migrant.controller.message(), unavailable);
    QVERIFY(!migrant.controller.busy());
    QVERIFY(waitForSilence(migrant.controller));
    QVERIFY(migrant.peer.requests("POST", Migrant::previewPath()).isEmpty());
}

void MigrationTest::previewTakesOnlyWellFormedUtf8_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("taken");
    QTest::newRow("empty") << QByteArray() << true;
    QTest::newRow("ASCII") << QByteArray("a,b\r\n1,\"2\"\r\n") << true;
    QTest::newRow("Hebrew") << u"תיאור,לקוח\n"_s.toUtf8() << true;
    QTest::newRow("beyond the basic plane") << u"\U0001F552\n"_s.toUtf8() << true;
    QTest::newRow("NUL") << QByteArray("a\0b", 3) << true;
    QTest::newRow("replacement character") << QByteArray("\xef\xbf\xbd") << true;
    QTest::newRow("last code point") << QByteArray("\xf4\x8f\xbf\xbf") << true;
    QTest::newRow("Latin-1") << QByteArray("caf\xe9") << false;
    QTest::newRow("Latin-1 in the middle") << QByteArray("caf\xe9,1\n") << false;
    QTest::newRow("Windows-1255") << QByteArray("\xf9\xec\xe5\xed") << false;
    QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << false;
    QTest::newRow("overlong NUL") << QByteArray("\xc0\x80") << false;
    QTest::newRow("overlong in three bytes") << QByteArray("\xe0\x80\xaf") << false;
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << false;
    QTest::newRow("pair of surrogates") << QByteArray("\xed\xa0\xbd\xed\xb5\x92") << false;
    QTest::newRow("cut off at the end") << QByteArray("a\xd7") << false;
    QTest::newRow("continuation alone") << QByteArray("\x80") << false;
    QTest::newRow("behind the last code point") << QByteArray("\xf4\x90\x80\x80") << false;
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe"
                                          "a\0",
                                          4)
                            << false;
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf"
                                                   "a,b\n")
                                     << false;
}

void MigrationTest::previewTakesOnlyWellFormedUtf8() {
    QFETCH(const QByteArray, bytes);
    QFETCH(const bool, taken);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource(bytes));
    migrant.preview();
    QTRY_COMPARE(migrant.controller.message(), taken ? Migrant::previewed() : u"CSV must be UTF-8"_s);
    QVERIFY(!migrant.controller.busy());
    QVERIFY(waitForSilence(migrant.controller));
    const QList<PeerRequest> sent = migrant.peer.requests("POST", Migrant::previewPath());
    QCOMPARE(sent.size(), taken ? 1 : 0);
    if (taken) {
        QVERIFY(sent.first().json().value(u"content").isString());
        QCOMPARE(sent.first().json().value(u"content").toString().toUtf8(), bytes);
    }
}

void MigrationTest::previewSendsTheWholeFile() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.writeSource("a,\"b\"\r\n"));
    migrant.peer.forgetRequests();
    migrant.controller.previewCsv(u" My source "_s, u"Not/A zone"_s, true);
    QVERIFY(migrant.controller.busy());
    QTRY_COMPARE(migrant.controller.message(), Migrant::previewed());
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(migrant.peer.log(), QStringList{u"POST "_s + Migrant::previewPath()});
    const PeerRequest sent = migrant.peer.requests().first();
    QCOMPARE(sent.json(), (QJsonObject{{u"content"_s, u"a,\"b\"\r\n"_s},
                                       {u"timezone"_s, u"Not/A zone"_s},
                                       {u"source_namespace"_s, u" My source "_s},
                                       {u"assign_to_me"_s, true}}));
    QVERIFY(!QUuid::fromString(QLatin1StringView(sent.headers.value("idempotency-key"))).isNull());
    QCOMPARE(migrant.shown(), Migrant::record(0, 60, u"previewed"_s));
}

void MigrationTest::previewWithoutAWorkspaceIsTheServersToRefuse() {
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    migrant.controller.applyDurable({});
    migrant.peer.answer("POST", u"/v1/workspaces//imports/csv/preview"_s,
                        Migrant::refusal(u"No such workspace."_s, 404));
    QVERIFY(migrant.writeSource("a"));
    migrant.preview();
    QTRY_COMPARE(migrant.controller.message(), u"No such workspace."_s);
    QVERIFY(migrant.shown().isEmpty());
}

void MigrationTest::failedPreviewKeepsTheFormerOne_data() {
    QTest::addColumn<PeerReply>("reply");
    QTest::addColumn<QString>("message");
    const QString fallback = u"Import preview failed"_s;
    QTest::newRow("with a message") << Migrant::refusal(u"Line 3 has no date."_s, 422)
                                    << u"Line 3 has no date."_s;
    QTest::newRow("message not a string") << Migrant::refusal(QJsonArray{}, 422) << fallback;
    QTest::newRow("200 instead of 201")
        << PeerReply::json(Migrant::record(0, 1, u"other"_s), 200) << fallback;
    QTest::newRow("empty body") << PeerReply::text({}, 413) << fallback;
    QTest::newRow("created without JSON") << PeerReply::text("ok", 201) << fallback;
    QTest::newRow("no answer") << PeerReply::only(PeerReply::Delivery::Close) << fallback;
}

void MigrationTest::failedPreviewKeepsTheFormerOne() {
    QFETCH(const PeerReply, reply);
    QFETCH(const QString, message);
    Migrant migrant;
    QVERIFY(migrant.connectAndSettle());
    QVERIFY(migrant.loadPreview());
    const QJsonObject before = migrant.shown();
    migrant.peer.answer("POST", Migrant::previewPath(), reply);
    migrant.preview();
    QTRY_COMPARE(migrant.controller.message(), message);
    QVERIFY(!migrant.controller.busy());
    QCOMPARE(migrant.shown(), before);
    migrant.controller.applyImport();
    QTRY_VERIFY(migrant.chunks() > 0);
}

QTEST_MAIN(MigrationTest)
#include "migration.moc"
