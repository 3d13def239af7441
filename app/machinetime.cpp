// SPDX-License-Identifier: MIT
#include "app/machinetime.h"

#include <chrono>
#include <ctime>

namespace {

qint64 steadyMs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

} // namespace

MachineTime MachineTime::now() {
    const qint64 awake = steadyMs();
#ifdef CLOCK_BOOTTIME
    timespec time{};
    if (clock_gettime(CLOCK_BOOTTIME, &time) == 0) {
        return {qint64{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000, awake};
    }
#endif
    return {awake, awake};
}
