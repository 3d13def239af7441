// SPDX-License-Identifier: MIT
//
// writer SERVER
//
// The program without its window and without a bus to others of its kind. Says
// how the connection came out; then reads numbers, records an entry for each,
// and says how that came out.
#include "controller/controller.h"

#include <QApplication>
#include <QDateTime>
#include <QSocketNotifier>
#include <QTextStream>

#include <iostream>
#include <string>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

void say(const QString& message) {
    QTextStream(stdout) << message << Qt::endl;
}

void record(Controller& controller, int number) {
    const QDateTime start =
        QDateTime::fromString(u"2026-01-01T00:00:00Z"_s, Qt::ISODate).addSecs(number * 3600LL);
    controller.addManual(QString::number(number), QString(), start.toString(Qt::ISODate),
                         start.addSecs(1800).toString(Qt::ISODate), false);
}

} // namespace

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    Controller controller;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    input.setEnabled(false);
    QObject::connect(&input, &QSocketNotifier::activated, &controller, [&controller] {
        std::string line;
        if (!std::getline(std::cin, line)) {
            QCoreApplication::quit();
            return;
        }
        record(controller, std::stoi(line));
        say(controller.message());
    });
    QObject::connect(&controller, &Controller::changed, &input, [&] {
        if (!controller.busy() && !input.isEnabled()) {
            input.setEnabled(true);
            say(controller.message());
        }
    });
    controller.connectServer(QCoreApplication::arguments().value(1));
    return QApplication::exec();
}
