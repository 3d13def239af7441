// SPDX-License-Identifier: MIT
#include "technicaldetails.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QScreen>
#include <QStringList>
#include <QSysInfo>

void TechnicalDetails::copy() const {
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP", QStringLiteral("unknown"));
    const QStringList lines{
        QStringLiteral("Timer.Kelvaro ") + QCoreApplication::applicationVersion(),
        QStringLiteral("Qt %1, built with %2")
            .arg(QString::fromLatin1(qVersion()), QStringLiteral(QT_VERSION_STR)),
        QStringLiteral("System: %1, %2 %3, %4")
            .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion(),
                 QSysInfo::currentCpuArchitecture()),
        QStringLiteral("Platform: %1, desktop %2, scale %3")
            .arg(QGuiApplication::platformName(), desktop, QString::number(qGuiApp->devicePixelRatio())),
        QStringLiteral("Secure storage: ") + storage(),
        QStringLiteral("Closed entries: %1").arg(m_controller->entries().size()),
        QStringLiteral("Waiting changes: %1").arg(m_controller->pending()),
        QStringLiteral("Last status: ") + status(),
    };
    QGuiApplication::clipboard()->setText(lines.join(u'\n') + u'\n');
}

QString TechnicalDetails::storage() const {
    if (m_controller->queueReady()) {
        return QStringLiteral("open");
    }
    return m_controller->secureStorage() ? QStringLiteral("open, record not readable")
                                         : QStringLiteral("unavailable");
}

QString TechnicalDetails::status() const {
    // A server's sentence can name anything.
    return m_controller->messageQuotesServer() ? QStringLiteral("not one of the program's own, so not copied")
                                               : m_controller->message();
}
