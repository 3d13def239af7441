// SPDX-License-Identifier: MIT
#include "vault/vault.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QSocketNotifier>
#include <QTextStream>

using namespace Qt::StringLiterals;

// Another program on the store of one server: it says what came of its unlock,
// saves each line of its standard input, says what came of that, and ends with the input.
int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(u"TimerKelvaro"_s);
    QTextStream out(stdout);
    Vault vault;
    QObject::connect(&vault, &Vault::ready, &application, [&out] { out << "ready" << Qt::endl; });
    QObject::connect(&vault, &Vault::unavailable, &application,
                     [&out](const QString& message) { out << message << Qt::endl; });
    vault.unlock(QCoreApplication::arguments().at(1));

    QFile input;
    if (!input.open(0, QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return EXIT_FAILURE;
    }
    const QSocketNotifier lines(0, QSocketNotifier::Read);
    QObject::connect(&lines, &QSocketNotifier::activated, &application, [&] {
        const QString line = QString::fromUtf8(input.readLine()).trimmed();
        if (line.isEmpty()) {
            QCoreApplication::quit();
            return;
        }
        const bool saved = vault.save({{u"queue"_s, QJsonArray{line}}});
        out << (saved ? "saved" : "refused") << Qt::endl;
    });
    return QCoreApplication::exec();
}
