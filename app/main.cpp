// SPDX-License-Identifier: MIT
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

#include <optional>

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

namespace {

constexpr int exitWindowNotLoaded = 1;

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

} // namespace

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    describeApplication();
    QCommandLineParser parser;
    parseArguments(parser);
    const bool probing = parser.isSet(probeOption());

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
