// SPDX-License-Identifier: MIT
#include "app/tray.h"

#include "controller/controller.h"
#include "tests/support/client.h"
#include "tests/support/sample.h"
#include "tests/support/screen.h"

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QTest>
#include <QWidget>

namespace {

constexpr int smallest = 16;

QImage emptyPanel(QColor panel) {
    QImage image(smallest, smallest, QImage::Format_RGB32);
    image.fill(panel);
    return image;
}

/// The icon as a panel of this colour shows it.
QImage onPanel(const QString& name, QColor panel) {
    QImage image = emptyPanel(panel);
    QPainter painter(&image);
    QIcon(u":/qt/qml/TimerKelvaro/"_s + name).paint(&painter, image.rect());
    return image;
}

/// Pixels that a person tells apart.
int difference(const QImage& left, const QImage& right) {
    int count = 0;
    for (int y = 0; y < smallest; ++y) {
        for (int x = 0; x < smallest; ++x) {
            const int distance = qAbs(qGray(left.pixel(x, y)) - qGray(right.pixel(x, y)));
            count += distance > 48 ? 1 : 0;
        }
    }
    return count;
}

QWidget* dockedIcon() {
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        if (widget->inherits("QSystemTrayIconSys") && widget->isVisible()) {
            return widget;
        }
    }
    return nullptr;
}

bool isGreen(QRgb pixel) {
    return qGreen(pixel) > 180 && qRed(pixel) < 120;
}

bool hasGreen(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isGreen(image.pixel(x, y))) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

/// What the icon in the tray tells at a glance.
class TrayIconTest : public QObject {
    Q_OBJECT

    Screen m_screen{Screen::Tray::Shown};

private Q_SLOTS:
    void initTestCase();
    void init() { startClean(); }

    void runningDiffersFromStoppedInGreyAsWell_data();
    void runningDiffersFromStoppedInGreyAsWell();
    void theIconFollowsTheTimer();
};

void TrayIconTest::initTestCase() {
    QVERIFY(m_screen.start());
}

void TrayIconTest::runningDiffersFromStoppedInGreyAsWell_data() {
    QTest::addColumn<QColor>("panel");
    QTest::newRow("light") << QColor(0xf5, 0xf5, 0xf5);
    QTest::newRow("dark") << QColor(0x20, 0x20, 0x20);
}

void TrayIconTest::runningDiffersFromStoppedInGreyAsWell() {
    QFETCH(const QColor, panel);
    const QImage empty = emptyPanel(panel);
    const QImage stopped = onPanel(u"timer.svg"_s, panel);
    const QImage running = onPanel(u"timer-running.svg"_s, panel);
    QVERIFY(difference(stopped, empty) > 60);
    QVERIFY(difference(running, empty) > 60);
    QVERIFY2(difference(running, stopped) > 20, qPrintable(QString::number(difference(running, stopped))));
}

void TrayIconTest::theIconFollowsTheTimer() {
    Controller controller;
    Tray tray(controller, nullptr);
    tray.install();
    QTRY_VERIFY_WITH_TIMEOUT(dockedIcon() != nullptr, Screen::patienceMs);
    const auto tellsRunning = [] { return hasGreen(dockedIcon()->grab().toImage()); };
    QVERIFY(!tellsRunning());

    QJsonObject state = sample::durable(sample::snapshot());
    state.insert(u"timer", sample::entry(u"t1"_s, u"2026-01-05T08:00:00Z"_s, {}));
    controller.applyDurable(state);
    Q_EMIT controller.changed();
    QTRY_VERIFY(tellsRunning());
    controller.applyDurable(sample::durable(sample::snapshot()));
    Q_EMIT controller.changed();
    QTRY_VERIFY(!tellsRunning());
    QGuiApplication::setQuitOnLastWindowClosed(true);
}

QTEST_MAIN(TrayIconTest)
#include "trayicon.moc"
