// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// A full disk as far as this process goes: no file may grow beyond `bytes`
/// while it lives.
class FileLimit {
public:
    explicit FileLimit(quint64 bytes);
    ~FileLimit();
    FileLimit(const FileLimit&) = delete;
    FileLimit& operator=(const FileLimit&) = delete;
};
