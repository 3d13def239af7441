// SPDX-License-Identifier: MIT
#include "benchmarks/barestore.h"
#include "benchmarks/data.h"
#include "benchmarks/window.h"

#include <QApplication>

/// bench_stored FILE [COUNT]: puts COUNT entries into a bare store; without COUNT it opens the store, reads
/// all of it and then shows the bare window. What the program's start with entries is compared with.
int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    BareStore store(arguments.value(1));
    if (arguments.size() > 2) {
        store.save(makeState(arguments.value(2).toInt()));
        return 0;
    }
    const QJsonObject state = store.load();
    return state.isEmpty() ? 1 : showBareWindow();
}
