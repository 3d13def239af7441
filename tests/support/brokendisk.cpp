// SPDX-License-Identifier: MIT
// The calls themselves stand here, in front of the C library's: a program that is
// linked with its symbols exported meets them wherever it writes.
#include "tests/support/brokendisk.h"

#include "tests/support/disklog.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Kind = DiskLog::Call::Kind;

bool armed = false;
bool broken = false;
BrokenDisk::Mend mending = BrokenDisk::Mend::AtOnce;
bool synced = false;
int goodCalls = 0;
char root[PATH_MAX];

/// Whether the call that asks, for this file, fails; `errno` says why.
bool breaks(const char* path, bool syncs = false) {
    const bool mended = broken && mending == BrokenDisk::Mend::AtOnce;
    const bool counts = syncs || mending != BrokenDisk::Mend::Unsynced;
    if (!armed || mended || !counts || std::strncmp(path, root, std::strlen(root)) != 0) {
        return false;
    }
    if (goodCalls > 0) {
        --goodCalls;
        return false;
    }
    broken = true;
    errno = mending == BrokenDisk::Mend::Never ? ENOSPC : EIO;
    return true;
}

/// Sockets and pipes are no disk.
bool isOnDisk(int file) {
    struct stat found {};
    return armed && fstat(file, &found) == 0 && (S_ISREG(found.st_mode) || S_ISDIR(found.st_mode));
}

/// The name of an open file; empty when it has none.
struct Name {
    explicit Name(int file) {
        char link[32];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
        if (readlink(link, text, sizeof text - 1) < 0) {
            text[0] = '\0';
        }
    }
    char text[PATH_MAX] = {};
};

bool breaksFor(int file, bool syncs = false) {
    return isOnDisk(file) && breaks(Name(file).text, syncs);
}

/// What a call did to a file is told to who listens; its result is handed on.
template <typename Result>
Result noted(int file, DiskLog::Call::Kind kind, off64_t offset, const void* bytes, Result result) {
    if (result >= 0 && DiskLog::isListening()) {
        const QByteArray written = bytes ? QByteArray(static_cast<const char*>(bytes), result) : QByteArray();
        DiskLog::note({kind, QString::fromLocal8Bit(Name(file).text), offset, written});
    }
    return result;
}

template <typename Call>
Call* real(Call* /*ours*/, const char* name) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

} // namespace

BrokenDisk::BrokenDisk(const QString& folder, int good, Mend mend) {
    std::snprintf(root, sizeof root, "%s", qUtf8Printable(folder));
    goodCalls = good;
    mending = mend;
    broken = false;
    synced = false;
    armed = true;
}

BrokenDisk::~BrokenDisk() {
    armed = false;
}

bool BrokenDisk::hasBroken() {
    return broken;
}

bool BrokenDisk::hasSynced() {
    return synced;
}

extern "C" {

ssize_t write(int file, const void* bytes, size_t count) {
    if (breaksFor(file)) {
        return -1;
    }
    const off64_t offset = DiskLog::isListening() ? lseek64(file, 0, SEEK_CUR) : 0;
    return noted(file, Kind::Write, offset, bytes, real(&write, "write")(file, bytes, count));
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
    if (breaksFor(file)) {
        return -1;
    }
    return noted(file, Kind::Write, offset, bytes, real(&pwrite64, "pwrite64")(file, bytes, count, offset));
}

int fsync(int file) {
    if (breaksFor(file, true)) {
        return -1;
    }
    synced = synced || (!broken && isOnDisk(file));
    return noted(file, Kind::Sync, 0, nullptr, real(&fsync, "fsync")(file));
}

int fdatasync(int file) {
    return breaksFor(file, true) ? -1
                                 : noted(file, Kind::Sync, 0, nullptr, real(&fdatasync, "fdatasync")(file));
}

int ftruncate64(int file, off64_t size) noexcept {
    return breaksFor(file)
               ? -1
               : noted(file, Kind::Resize, size, nullptr, real(&ftruncate64, "ftruncate64")(file, size));
}

int rename(const char* from, const char* to) noexcept {
    return breaks(to) ? -1 : real(&rename, "rename")(from, to);
}

// How a file gets a name that was made without one.
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
    return breaks(to) ? -1 : real(&linkat, "linkat")(fromFolder, from, toFolder, to, flags);
}

int unlink(const char* path) noexcept {
    if (breaks(path)) {
        return -1;
    }
    if (DiskLog::isListening()) {
        DiskLog::note({Kind::Remove, QString::fromLocal8Bit(path)});
    }
    return real(&unlink, "unlink")(path);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    return writes && breaks(path) ? -1 : real(&open64, "open64")(path, flags, mode);
}

} // extern "C"
