// SPDX-License-Identifier: MIT
#include "devserver/base/text.h"
#include "devserver/program.h"

#include <QCoreApplication>

#include <iostream>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(u"Kelvaro"_s);
    QCoreApplication::setApplicationName(u"TimerKelvaroDevServer"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(TIMER_VERSION));

    const auto wanted = devserver::readOptions(QCoreApplication::arguments());
    if (const auto* notice = std::get_if<devserver::Notice>(&wanted)) {
        (notice->exitCode == 0 ? std::cout : std::cerr) << notice->text.toStdString() << std::endl;
        return notice->exitCode;
    }
    return devserver::serve(std::get<devserver::Options>(wanted));
}
