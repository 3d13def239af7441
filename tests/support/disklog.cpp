// SPDX-License-Identifier: MIT
#include "tests/support/disklog.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

using Call = DiskLog::Call;
using Kind = DiskLog::Call::Kind;

constexpr qsizetype sectorSize = 512;

DiskLog* listening = nullptr;

void put(QByteArray& content, qint64 offset, const QByteArray& bytes) {
    content.resize(std::max<qsizetype>(content.size(), offset + bytes.size()), '\0');
    std::copy(bytes.begin(), bytes.end(), content.begin() + offset);
}

/// Does to the files what one call does, as far as it was in time.
void apply(DiskLog::Files& files, const Call& call, const DiskLog::Chance& inTime) {
    switch (call.kind) {
    case Kind::Write:
        for (qsizetype at = 0; at < call.bytes.size(); at += sectorSize) {
            if (inTime()) {
                put(files[call.path], call.offset + at, call.bytes.sliced(at).left(sectorSize));
            }
        }
        break;
    case Kind::Resize:
        if (inTime()) {
            files[call.path].resize(call.offset, '\0');
        }
        break;
    case Kind::Remove:
        if (inTime()) {
            files.remove(call.path);
        }
        break;
    case Kind::Sync:
        break;
    }
}

/// A name belongs to its folder, and goes for good when that is synced.
bool settles(const Call& sync, const Call& other) {
    return other.path == sync.path ||
           (other.kind == Kind::Remove && QFileInfo(other.path).path() == sync.path);
}

} // namespace

DiskLog::DiskLog(const QString& folder) : m_folder(folder) {
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files);
    for (const QFileInfo& info : files) {
        QFile file(info.filePath());
        if (file.open(QIODevice::ReadOnly)) {
            m_before.insert(info.filePath(), file.readAll());
        }
    }
    listening = this;
}

DiskLog::~DiskLog() {
    listening = nullptr;
}

bool DiskLog::isListening() {
    return listening != nullptr;
}

void DiskLog::note(const Call& call) {
    if (call.path.startsWith(listening->m_folder)) {
        listening->m_calls.append(call);
    }
}

DiskLog::Files DiskLog::after(qsizetype calls, const Chance& inTime) const {
    Files files = m_before;
    QList<Call> open; // not synced yet
    for (const Call& call : m_calls.first(calls)) {
        if (call.kind != Kind::Sync) {
            open.append(call);
            continue;
        }
        for (const Call& other : std::as_const(open)) {
            if (settles(call, other)) {
                apply(files, other, [] { return true; });
            }
        }
        open.removeIf([&call](const Call& other) { return settles(call, other); });
    }
    for (const Call& call : std::as_const(open)) {
        apply(files, call, inTime);
    }
    return files;
}
