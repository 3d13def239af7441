// SPDX-License-Identifier: MIT
//
// memorysubject open|protected
//
// Starts a process of its own user, which protects its memory or does not, and
// tries from outside what somebody would who is after it. Prints what worked.
// Built without sanitizers, which attach to the process themselves.
#include "app/memoryimage.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void check(bool done, const char* what) {
    if (!done) {
        std::perror(what);
        std::exit(EXIT_FAILURE);
    }
}

bool canOpen(pid_t process, const char* name) {
    const std::string path = "/proc/" + std::to_string(process) + '/' + name;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return file >= 0 && close(file) == 0;
}

bool canAttach(pid_t process) {
    int status = 0;
    return ptrace(PTRACE_ATTACH, process, nullptr, nullptr) == 0 && waitpid(process, &status, 0) == process &&
           ptrace(PTRACE_DETACH, process, nullptr, nullptr) == 0;
}

/// The one whose memory it is.
[[noreturn]] void live(bool protect, int started) {
    rlimit cores{};
    check(getrlimit(RLIMIT_CORE, &cores) == 0, "getrlimit");
    cores.rlim_cur = cores.rlim_max;
    check(setrlimit(RLIMIT_CORE, &cores) == 0, "setrlimit");
    if (protect) {
        protectMemoryImage();
    }
    check(write(started, "", 1) == 1, "write");
    for (;;) {
        pause();
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const bool protect = argc == 2 && std::string_view(argv[1]) == "protected";
    int ends[2];
    check(pipe(ends) == 0, "pipe");
    const pid_t process = fork();
    check(process >= 0, "fork");
    if (process == 0) {
        live(protect, ends[1]);
    }
    char byte = 0;
    check(read(ends[0], &byte, 1) == 1, "read");
    for (const char* name : {"mem", "environ", "auxv"}) {
        if (canOpen(process, name)) {
            std::puts(name);
        }
    }
    if (canAttach(process)) {
        std::puts("attach");
    }
    int status = 0;
    check(kill(process, SIGABRT) == 0, "kill");
    check(waitpid(process, &status, 0) == process && WIFSIGNALED(status), "waitpid");
    if (WCOREDUMP(status)) {
        std::puts("core");
    }
    return EXIT_SUCCESS;
}
