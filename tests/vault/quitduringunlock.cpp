// SPDX-License-Identifier: MIT
#include "vault/vault.h"

#include <QCoreApplication>
#include <QSocketNotifier>

using namespace Qt::StringLiterals;

// A program that is told to quit, by a byte on its standard input, while its
// vault still waits for the credential store.
int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    Vault vault;
    vault.unlock(u"https://time.example"_s);
    const QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    return QCoreApplication::exec();
}
