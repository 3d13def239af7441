// SPDX-License-Identifier: MIT
#include "tests/endurance/wrongclock.h"

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::atomic<qint64> error = 0; // threads read it

int trueTime(clockid_t clock, timespec* time) {
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

} // namespace

// In the place of the C library's, for all that runs in this program.

extern "C" int gettimeofday(timeval* time, void*) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = trueTime(clock, time);
    if (result == 0 && clock == CLOCK_REALTIME) {
        time->tv_sec += error;
    }
    return result;
}

const QList<qint64>& WrongClock::errors() {
    static const QList<qint64> all{0, 3600, -3600, 90000, -90000, 86400 * 40, -86400 * 400};
    return all;
}

void WrongClock::set(qint64 seconds) {
    error = seconds;
}

qint64 WrongClock::trueSeconds() {
    timespec time{};
    trueTime(CLOCK_REALTIME, &time);
    return time.tv_sec;
}
