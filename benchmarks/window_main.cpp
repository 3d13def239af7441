// SPDX-License-Identifier: MIT
#include "benchmarks/window.h"

#include <QApplication>

/// What the program's start is compared with.
int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    return showBareWindow();
}
