// SPDX-License-Identifier: MIT
#include "app/probe.h"

#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/devserver.h"
#include "tests/support/keyring.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"
#include "tests/support/scriptedpeer.h"
#include "tests/support/vaultfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QJsonDocument>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString serverKey = u"server"_s;

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// What the list of closed entries has to hold, by the server's word.
int closedEntries(const DevServer& server) {
    const QString user = server.request("GET", u"/me"_s).body.value(u"id").toString();
    const QJsonArray entries = server.entries();
    return int(std::count_if(entries.begin(), entries.end(), [&user](const QJsonValue& value) {
        const QJsonObject entry = value.toObject();
        return entry.value(u"user_id") == user && entry.value(u"stop_at").isString() &&
               !entry.value(u"deleted_at").isString();
    }));
}

} // namespace

class ProbeTest : public QObject {
    Q_OBJECT

    /// A probe run to its end; its result, empty when it failed.
    [[nodiscard]] QJsonObject probe(const QStringList& arguments, const QString& scale = u"1"_s);

    QTemporaryDir m_folder;
    QString m_file = m_folder.filePath(u"probe.json"_s);

private Q_SLOTS:
    void init() { startClean(); }
    void tellsWhatWasLoadedWithAPicture_data();
    void tellsWhatWasLoadedWithAPicture();
    void leavesNoVaultAndNoKey();
    void givenServerOverridesTheStoredOneAndIsStored();
    void storedServerIsUsed();
    void readyTwiceWritesOnce();
};

QJsonObject ProbeTest::probe(const QStringList& arguments, const QString& scale) {
    QFile::remove(m_file);
    QFile::remove(m_file + u".png"_s);
    Program program;
    program.setVariable(u"QT_SCALE_FACTOR"_s, scale);
    program.start(arguments + QStringList{u"--read-only-probe"_s, m_file});
    const int code = program.exitCode();
    if (code != 0) {
        qWarning("The probe ended with code %d: %s", code, program.output().constData());
        return {};
    }
    return QJsonDocument::fromJson(contents(m_file)).object();
}

void ProbeTest::tellsWhatWasLoadedWithAPicture_data() {
    QTest::addColumn<QString>("scale");
    QTest::addColumn<QSize>("size");
    QTest::newRow("1") << u"1"_s << QSize(1160, 820);
    QTest::newRow("1.25") << u"1.25"_s << QSize(1450, 1025);
    QTest::newRow("2") << u"2"_s << QSize(2320, 1640);
}

void ProbeTest::tellsWhatWasLoadedWithAPicture() {
    QFETCH(const QString, scale);
    QFETCH(const QSize, size);
    DevServer server(DevServer::Data::Demo);
    QVERIFY(server.start());
    const QJsonObject expected{
        {u"native_qml_loaded"_s, true}, {u"workspaces"_s, 2},      {u"entries"_s, closedEntries(server)},
        {u"read_only"_s, true},         {u"platform"_s, u"xcb"_s}, {u"pending"_s, 0},
    };
    QVERIFY(expected.value(u"entries").toInt() > 1000);

    QCOMPARE(probe({u"--server"_s, server.url()}, scale), expected);
    QCOMPARE(contents(m_file), QJsonDocument(expected).toJson(QJsonDocument::Indented));
    const QString picture = m_file + u".png"_s;
    QCOMPARE(QImageReader::imageFormat(picture), QByteArray("png"));
    const QImage image(picture);
    QCOMPARE(image.size(), size);
    // The window is painted: the timer button is there, in the accent colour.
    const QRgb accent = qRgb(0x66, 0x56, 0xf0);
    int painted = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            painted += int(image.pixel(x, y) == accent);
        }
    }
    QVERIFY2(painted > 1000, qPrintable(QString::number(painted)));
}

void ProbeTest::leavesNoVaultAndNoKey() {
    DevServer server;
    QVERIFY(server.start());
    QVERIFY(!probe({u"--server"_s, server.url()}).isEmpty());
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    QVERIFY(!QFile::exists(vaultFile(server.url())));
    QVERIFY(!QDir(folder).exists() || QDir(folder).entryList({u"*.sqlite*"_s}, QDir::Files).isEmpty());
    QCOMPARE(keyring::keyCount(), 0);

    // What it is that a run without the probe does leave.
    Controller controller;
    QVERIFY(connectAndLoad(controller, server.url()));
    QVERIFY(QFile::exists(vaultFile(server.url())));
    QCOMPARE(keyring::keyCount(), 1);
}

void ProbeTest::givenServerOverridesTheStoredOneAndIsStored() {
    const ScriptedPeer stored;
    QSettings().setValue(serverKey, stored.url());
    DevServer server;
    QVERIFY(server.start());
    QCOMPARE(probe({u"--server"_s, u" %1/path/ "_s.arg(server.url())}).value(u"workspaces").toInt(), 1);
    QVERIFY(stored.requests().isEmpty());
    QCOMPARE(QSettings().value(serverKey).toString(), server.url());
}

void ProbeTest::storedServerIsUsed() {
    DevServer server;
    QVERIFY(server.start());
    QSettings().setValue(serverKey, server.url());
    QCOMPARE(probe({}).value(u"workspaces").toInt(), 1);
    QCOMPARE(QSettings().value(serverKey).toString(), server.url());
}

void ProbeTest::readyTwiceWritesOnce() {
    DevServer server;
    QVERIFY(server.start());
    QFile::remove(m_file);
    Controller controller;
    controller.setReadOnly(true);
    const Probe probe(controller, nullptr, m_file);
    QTimer::singleShot(0, &controller, [&] { controller.connectServer(server.url()); });
    QCOMPARE(QCoreApplication::exec(), 0);
    const QJsonObject result = QJsonDocument::fromJson(contents(m_file)).object();
    QCOMPARE(result.value(u"native_qml_loaded"), QJsonValue(false));

    QVERIFY(QFile::remove(m_file));
    Q_EMIT controller.ready();
    QVERIFY(!QFile::exists(m_file));
}

QTEST_MAIN(ProbeTest)
#include "probe.moc"
