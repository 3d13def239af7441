// SPDX-License-Identifier: MIT
#include "tests/controller/filelimit.h"

#include <QtGlobal>

#include <csignal>
#include <sys/resource.h>

namespace {

void limitFiles(rlim_t bytes) {
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0) {
        qFatal("The limit of file sizes cannot be read.");
    }
    limit.rlim_cur = bytes;
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        qFatal("The limit of file sizes cannot be set.");
    }
}

} // namespace

FileLimit::FileLimit(quint64 bytes) {
    // The write has to fail as on a full disk, not to end the process.
    if (std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR) {
        qFatal("The signal of the file limit cannot be ignored.");
    }
    limitFiles(bytes);
}

FileLimit::~FileLimit() {
    limitFiles(RLIM_INFINITY);
}
