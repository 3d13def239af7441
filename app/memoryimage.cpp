// SPDX-License-Identifier: MIT
#include "app/memoryimage.h"

#ifdef __linux__
#include <sys/prctl.h>
#include <sys/resource.h>
#endif
#ifdef __GLIBC__
#include <malloc.h>
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

void returnFreedMemory() {
#ifdef __GLIBC__
    // Said outright, it does not grow with what was freed last.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
}
