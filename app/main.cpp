// SPDX-License-Identifier: MIT
#include "app/absencewatch.h"
#include "app/commandline.h"
#include "app/display.h"
#include "app/endsignals.h"
#include "app/foreground.h"
#include "app/handover.h"
#include "app/instance.h"
#include "app/memoryimage.h"
#include "app/notices.h"
#include "app/probe.h"
#include "app/tray.h"
#include "controller/controller.h"
#include "controller/serveraddress.h"

#include <QApplication>
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

using namespace Qt::StringLiterals;

Q_IMPORT_QML_PLUGIN(TimerKelvaroPlugin)

namespace {

constexpr int exitWindowNotLoaded = 1;
constexpr int exitUnanswered = 1;
constexpr int exitBadAddress = 1;

void describeApplication() {
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(TIMER_VERSION));
}

/// Opens nothing, and is always there, whichever platform was asked for.
void useNoDisplay(int argc, char* argv[]) {
    static char minimal[] = "minimal";
    qputenv("QT_QPA_PLATFORM", minimal);
    for (int i = 1; i + 1 < argc; ++i) {
        if (qstrcmp(argv[i], "-platform") == 0 || qstrcmp(argv[i], "--platform") == 0) {
            argv[i + 1] = minimal;
        }
    }
}

void loadWindow(QQmlApplicationEngine& engine) {
    engine.addImportPath(u":/qt/qml"_s);
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    engine.loadFromModule("TimerKelvaro", "Main");
#else
    engine.load(QUrl(u"qrc:/qt/qml/TimerKelvaro/Main.qml"_s));
#endif
}

/// Says why not, below what Qt says.
bool isLoaded(const QQmlApplicationEngine& engine) {
    if (!engine.rootObjects().isEmpty()) {
        return true;
    }
    std::fputs("The window could not be loaded, for the reason above: see that Timer.Kelvaro and "
               "Qt's QML modules are installed whole.\n",
               stderr);
    return false;
}

QString chosenServer(const CommandLine& commandLine) {
    if (const std::optional<QString> given = commandLine.server()) {
        return *given;
    }
    return QSettings().value(u"server"_s, u"http://127.0.0.1:18080"_s).toString();
}

/// The exit code, when this is not to be the program that opens a window.
std::optional<int> leaveToAnother(Instance& instance, const QVariantMap& platformData,
                                  const CommandLine& commandLine) {
    switch (instance.claim({platformData, commandLine.server()})) {
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

/// The small pictures of a few controls share one texture, which Qt would make larger than the window: 8 MiB.
void keepTextureSmall() {
    for (const char* const side : {"QSG_ATLAS_WIDTH", "QSG_ATLAS_HEIGHT"}) {
        if (!qEnvironmentVariableIsSet(side)) {
            qputenv(side, "256");
        }
    }
}

void dressApplication() {
    keepTextureSmall();
    QQuickStyle::setStyle(u"Material"_s);
    QApplication::setFont(QFont(u"Arimo"_s, 11));
    QGuiApplication::setDesktopFileName(Instance::name());
    QApplication::setWindowIcon(QIcon(u":/qt/qml/TimerKelvaro/timer.svg"_s));
}

/// Says why not where nobody would see it in a window.
bool canBeAsked(const QString& server) {
    if (serverAddress(server)) {
        return true;
    }
    std::fputs("The server's address must begin with https://, or with http:// where the server is on "
               "this machine or a private network.\n",
               stderr);
    return false;
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
    returnFreedMemory();
    const QVariantMap platformData = Instance::platformData();
    CommandLine commandLine;
    if (commandLine.onlyTells(argc, argv)) {
        useNoDisplay(argc, argv);
    }
    const auto application = openDisplay(argc, argv);
    describeApplication();
    commandLine.read(*application);
    const QString server = chosenServer(commandLine);
    const std::optional<QString> probeFile = commandLine.probeFile();
    const bool probing = probeFile.has_value();
    if (probing && !canBeAsked(server)) {
        return exitBadAddress;
    }

    // Outlives the controller: who comes next finds the store given up.
    Instance instance;
    if (!probing) {
        if (const auto code = leaveToAnother(instance, platformData, commandLine)) {
            return *code;
        }
    }

    dressApplication();

    Controller controller;
    controller.setReadOnly(probing);

    QQmlApplicationEngine engine;
    const bool trayAvailable = QSystemTrayIcon::isSystemTrayAvailable();
    engine.rootContext()->setContextProperty(u"controller"_s, &controller);
    engine.rootContext()->setContextProperty(u"trayAvailable"_s, trayAvailable);
    loadWindow(engine);
    if (!isLoaded(engine)) {
        return exitWindowNotLoaded;
    }
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());

    follow(instance, controller, window);

    Tray tray(controller, window);
    if (trayAvailable) {
        tray.install();
    }

    const Notices notices(controller, window);

    std::optional<Probe> probe;
    std::optional<AbsenceWatch> absences;
    if (probing) {
        probe.emplace(controller, window, *probeFile);
    } else {
        absences.emplace(controller);
        quitOnSignals();
    }
    QTimer::singleShot(0, &controller, [&controller, server] { controller.connectServer(server); });
    return QApplication::exec();
}
