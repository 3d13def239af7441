// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/http/server.h"

#include <QStringList>

#include <optional>
#include <variant>

namespace devserver {

/// What the command line asks for.
struct Options {
    ListenAddress listen;
    DatabaseAddress database;
    bool demo = false;
    bool revokeSessions = false;
    std::optional<CertificateFiles> tls;
};

/// Nothing to serve: print `text` and end with `exitCode`.
struct Notice {
    QString text;
    int exitCode = 0;
};

/// Reads the program's arguments, its own name first. `--help` and `--version`
/// are notices with exit code 0, mistakes one sentence with exit code 2.
[[nodiscard]] std::variant<Options, Notice> readOptions(const QStringList& arguments);

} // namespace devserver
