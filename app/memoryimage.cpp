// SPDX-License-Identifier: MIT
#include "app/memoryimage.h"

#ifdef __linux__
#include <sys/prctl.h>
#include <sys/resource.h>
#endif

void protectMemoryImage() {
#ifdef __linux__
    rlimit cores{};
    if (getrlimit(RLIMIT_CORE, &cores) == 0) {
        // The upper limit stays, for the browser that is started from here.
        cores.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &cores);
    }
#ifndef TIMER_OPEN_TO_DEBUGGERS
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
#endif
#endif
}
