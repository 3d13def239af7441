// SPDX-License-Identifier: MIT
#include "app/endsignals.h"

#include <QCoreApplication>

#ifdef Q_OS_UNIX
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::array<int, 2> wakeUp{-1, -1};

/// Nothing but writing is allowed here. A pipe that is full has woken the application already.
extern "C" void tell(int /*number*/) {
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(wakeUp[1], &byte, 1);
}

bool makePipe() {
    if (pipe(wakeUp.data()) != 0) {
        return false;
    }
    return std::ranges::all_of(wakeUp, [](int end) {
        return fcntl(end, F_SETFD, FD_CLOEXEC) == 0 && fcntl(end, F_SETFL, O_NONBLOCK) == 0;
    });
}

bool follow(int number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0) {
        return false;
    }
    if (action.sa_handler == SIG_IGN) {
        return true; // as nohup wants it
    }
    action = {};
    action.sa_handler = tell;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    return sigaction(number, &action, nullptr) == 0;
}

} // namespace

void quitOnSignals() {
    if (!makePipe()) {
        std::perror("A signal will end Timer.Kelvaro without recording what waits");
        return;
    }
    auto* notifier = new QSocketNotifier(wakeUp[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        if (!follow(number)) {
            std::perror("A signal will end Timer.Kelvaro without recording what waits");
        }
    }
}

#else

void quitOnSignals() {
}

#endif
