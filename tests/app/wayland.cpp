// SPDX-License-Identifier: MIT
#include "tests/support/client.h"
#include "tests/support/compositor.h"
#include "tests/support/devserver.h"
#include "tests/support/program.h"
#include "tests/support/screen.h"

#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Role = Element::Role;

} // namespace

/// The program under a Wayland compositor.
class WaylandTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { startClean(); }

    void paintsInEveryScale_data();
    void paintsInEveryScale();
    void answersAnotherStart();
};

void WaylandTest::paintsInEveryScale_data() {
    QTest::addColumn<int>("ofTheScreen");
    QTest::addColumn<QString>("ofThePerson");
    QTest::addColumn<QSize>("size");
    QTest::newRow("1") << 1 << u"1"_s << QSize(1160, 820);
    QTest::newRow("1.25") << 1 << u"1.25"_s << QSize(1450, 1025);
    QTest::newRow("2") << 2 << u"1"_s << QSize(2320, 1640);
}

void WaylandTest::paintsInEveryScale() {
    QFETCH(const int, ofTheScreen);
    QFETCH(const QString, ofThePerson);
    QFETCH(const QSize, size);
    Compositor compositor;
    QVERIFY(compositor.start(ofTheScreen));
    DevServer server(DevServer::Data::Demo);
    QVERIFY(server.start());
    const QTemporaryDir folder;
    const QString result = folder.filePath(u"probe.json"_s);
    Program program;
    Compositor::show(program);
    program.setVariable(u"QT_SCALE_FACTOR"_s, ofThePerson);
    program.start({u"--server"_s, server.url(), u"--read-only-probe"_s, result});
    QVERIFY2(program.exitCode() == 0, program.output().constData());
    QFile file(result);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QJsonDocument::fromJson(file.readAll())[u"platform"].toString(), u"wayland"_s);
    const QImage picture(result + u".png"_s);
    // Whole pixels of either side.
    QVERIFY2(qAbs(picture.width() - size.width()) < 5 && qAbs(picture.height() - size.height()) < 5,
             qPrintable(u"%1 × %2"_s.arg(picture.width()).arg(picture.height())));
    // The accent of the timer's button, and so more than an empty window.
    int painted = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            painted += int(picture.pixel(x, y) == qRgb(0x66, 0x56, 0xf0));
        }
    }
    QVERIFY2(painted > 1000, qPrintable(QString::number(painted)));
}

void WaylandTest::answersAnotherStart() {
    Compositor compositor;
    QVERIFY(compositor.start());
    DevServer server;
    QVERIFY(server.start());
    Program program;
    Compositor::show(program);
    program.start({u"--server"_s, server.url()});
    QVERIFY(retry([&] { return program.usable(Role::PushButton, u"EN"_s).press(); },
                  [&] { return program.shows(Role::PageTab, u"Settings"_s); }));

    Program again;
    Compositor::show(again);
    again.setVariable(u"XDG_ACTIVATION_TOKEN"_s, u"of-the-one-who-starts"_s);
    QVERIFY(again.handsOver());
    QVERIFY(program.isRunning());
    QVERIFY(program.shows(Role::PageTab, u"Settings"_s));
}

QTEST_MAIN(WaylandTest)
#include "wayland.moc"
