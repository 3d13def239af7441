// SPDX-License-Identifier: MIT
#include "app/display.h"

#include <QRegularExpression>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int exitNoDisplay = 1;

/// What Qt says while it looks for a display. It concerns nobody where the sentence below takes its place.
struct Saying {
    QtMsgType type;
    QByteArray category;
    QString text;
};

std::vector<Saying>& sayings() {
    static std::vector<Saying> all;
    return all;
}

QtMessageHandler& usualHandler() {
    static QtMessageHandler handler = nullptr;
    return handler;
}

/// The platforms that were asked for and that Qt does not have here.
QStringList missingPlatforms() {
    static const QRegularExpression missing(u"^Could not find the Qt platform plugin \"([^\"]+)\""_s);
    QStringList names;
    for (const Saying& saying : sayings()) {
        const QRegularExpressionMatch match = missing.match(saying.text);
        if (match.hasMatch()) {
            names.append(match.captured(1));
        }
    }
    return names;
}

/// Where the environment says that there is a display.
QStringList namedDisplays() {
    QStringList displays;
    for (const char* const variable : {"WAYLAND_DISPLAY", "DISPLAY"}) {
        const QString name = qEnvironmentVariable(variable);
        if (!name.isEmpty()) {
            displays.append(QString::fromLatin1(variable) + u'=' + name);
        }
    }
    return displays;
}

/// Whether a platform failed by itself, and not for want of somebody who answers.
bool isBroken() {
    static const QRegularExpression unanswered(u"could not connect to display|Failed to create wl_display"_s);
    int failed = 0;
    for (const Saying& saying : sayings()) {
        failed += int(saying.text.startsWith(u"Could not load the Qt platform plugin"));
        failed -= int(unanswered.match(saying.text).hasMatch());
    }
    return failed > 0;
}

void passOn() {
    for (const Saying& saying : sayings()) {
        usualHandler()(saying.type, QMessageLogContext(nullptr, 0, nullptr, saying.category.constData()),
                       saying.text);
    }
    sayings().clear();
}

QString whatToDo() {
    const QStringList missing = missingPlatforms();
    const bool waylandMissing = missing.contains(u"wayland"_s);
    if (!missing.isEmpty() && !waylandMissing) {
        return u"Qt has no platform \"%1\" here: leave QT_QPA_PLATFORM and -platform away, or "
               "name another one."_s.arg(missing.constFirst());
    }
    const QStringList displays = namedDisplays();
    if (displays.isEmpty()) {
        return u"There is no display for the window: start Timer.Kelvaro in a desktop session, "
               "or set DISPLAY or WAYLAND_DISPLAY."_s;
    }
    if (waylandMissing) {
        return u"Qt has no plug-in for Wayland here: install Qt's Wayland plug-in (Debian: "
               "qt6-wayland), then start Timer.Kelvaro again."_s;
    }
    if (isBroken()) {
        return u"Qt's plug-in for the display does not work, for the reason above: see that Qt is installed "
               "whole, or start Timer.Kelvaro with QT_DEBUG_PLUGINS=1, which tells more."_s;
    }
    return u"The display does not answer (%1): start Timer.Kelvaro in a desktop session that "
           "is open and yours."_s.arg(displays.join(u", "_s));
}

void listen(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (type == QtInfoMsg || type == QtWarningMsg || type == QtCriticalMsg) {
        sayings().push_back({type, context.category, text});
        return;
    }
    if (type == QtFatalMsg && text.contains(u"platform plugin")) {
        const QString sentence = whatToDo();
        if (isBroken()) {
            passOn();
        }
        std::fputs(qPrintable(sentence + u'\n'), stderr);
        std::_Exit(exitNoDisplay); // the application object is half made: nothing to tear down
    }
    usualHandler()(type, context, text);
}

} // namespace

std::unique_ptr<QApplication> openDisplay(int& argc, char* argv[]) {
    usualHandler() = qInstallMessageHandler(listen);
    auto application = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(usualHandler());
    passOn();
    return application;
}
