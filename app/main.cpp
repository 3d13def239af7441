// SPDX-License-Identifier: MIT
#include "app/foreground.h"
#include "app/handover.h"
#include "app/instance.h"
#include "app/memoryimage.h"
#include "app/probe.h"
#include "app/tray.h"
#include "controller/controller.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFont>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>

#include <cstdio>
#include <optional>

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

namespace {

constexpr int exitWindowNotLoaded = 1;
constexpr int exitUnanswered = 1;

const QCommandLineOption& serverOption() {
    static const QCommandLineOption option(QStringLiteral("server"), QStringLiteral("Server URL"),
                                           QStringLiteral("url"));
    return option;
}

const QCommandLineOption& probeOption() {
    static const QCommandLineOption option(
        QStringLiteral("read-only-probe"),
        QStringLiteral("Write a read-only native smoke-test result and exit"), QStringLiteral("file"));
    return option;
}

void describeApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("TimerKelvaro"));
    QCoreApplication::setOrganizationName(QStringLiteral("Kelvaro"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TIMER_VERSION));
}

void parseArguments(QCommandLineParser& parser) {
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(serverOption());
    parser.addOption(probeOption());
    parser.process(*qApp);
}

void loadWindow(QQmlApplicationEngine& engine) {
    engine.addImportPath(QStringLiteral(":/qt/qml"));
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    engine.loadFromModule("TimerKelvaro", "Main");
#else
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/TimerKelvaro/Main.qml")));
#endif
}

QString chosenServer(const QCommandLineParser& parser) {
    if (parser.isSet(serverOption())) {
        return parser.value(serverOption());
    }
    return QSettings().value(QStringLiteral("server"), QStringLiteral("http://127.0.0.1:18080")).toString();
}

/// The exit code, when this is not to be the program that opens a window.
std::optional<int> leaveToAnother(Instance& instance, const QVariantMap& platformData,
                                  const QCommandLineParser& parser) {
    Instance::Start start{platformData, std::nullopt};
    if (parser.isSet(serverOption())) {
        start.server = parser.value(serverOption());
    }
    switch (instance.claim(start)) {
    case Instance::Role::First:
        break;
    case Instance::Role::HandedOver:
        return 0;
    case Instance::Role::Unanswered:
        std::fputs("Timer.Kelvaro is already open but does not answer; end it, then start it again.\n",
                   stderr);
        return exitUnanswered;
    }
    return std::nullopt;
}

void follow(const Instance& instance, Controller& controller, QQuickWindow* window) {
    if (window != nullptr) {
        QObject::connect(&instance, &Instance::activated, window,
                         [window](const QVariantMap& platformData) { bringToFront(*window, platformData); });
    }
    QObject::connect(&instance, &Instance::serverGiven, &controller,
                     [&controller](const QString& address) { connectWhenFree(controller, address); });
}

} // namespace

int main(int argc, char* argv[]) {
    protectMemoryImage();
    const QVariantMap platformData = Instance::platformData();
    const QApplication application(argc, argv);
    describeApplication();
    QCommandLineParser parser;
    parseArguments(parser);
    const bool probing = parser.isSet(probeOption());

    // Outlives the controller: who comes next finds the store given up.
    Instance instance;
    if (!probing) {
        if (const auto code = leaveToAnother(instance, platformData, parser)) {
            return *code;
        }
    }

    QQuickStyle::setStyle(QStringLiteral("Material"));
    QApplication::setFont(QFont(QStringLiteral("Arimo"), 11));
    QGuiApplication::setDesktopFileName(QStringLiteral("timer-kelvaro"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/qt/qml/TimerKelvaro/timer.svg")));

    Controller controller;
    controller.setReadOnly(probing);

    QQmlApplicationEngine engine;
    const bool trayAvailable = QSystemTrayIcon::isSystemTrayAvailable();
    engine.rootContext()->setContextProperty(QStringLiteral("controller"), &controller);
    engine.rootContext()->setContextProperty(QStringLiteral("trayAvailable"), trayAvailable);
    loadWindow(engine);
    if (engine.rootObjects().isEmpty()) {
        return exitWindowNotLoaded;
    }
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());

    follow(instance, controller, window);

    Tray tray(controller, window);
    if (trayAvailable) {
        tray.install();
    }

    const QString server = chosenServer(parser);
    std::optional<Probe> probe;
    if (probing) {
        probe.emplace(controller, window, parser.value(probeOption()));
    }
    QTimer::singleShot(0, &controller, [&controller, server] { controller.connectServer(server); });
    return QApplication::exec();
}
