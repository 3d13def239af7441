// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstring>

/// With "--tiny" a benchmark runs on a fiftieth of its data: that says nothing about what it measures, but
/// that the program still does its work.
class Tiny {
public:
    /// Takes the option out of the arguments.
    static void readOption(int& argc, char* argv[]) {
        char** const end = std::remove_if(argv + std::min(argc, 1), argv + argc, [](const char* argument) {
            return std::strcmp(argument, "--tiny") == 0;
        });
        wanted = end != argv + argc;
        argc = static_cast<int>(end - argv);
    }

    [[nodiscard]] static int sized(int entries) { return wanted ? entries / 50 : entries; }

private:
    static inline bool wanted = false;
};
