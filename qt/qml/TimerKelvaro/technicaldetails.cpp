// SPDX-License-Identifier: MIT
#include "technicaldetails.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QScreen>
#include <QStringList>
#include <QSysInfo>

using namespace Qt::StringLiterals;

void TechnicalDetails::copy() const {
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP", u"unknown"_s);
    const QStringList lines{
        u"Timer.Kelvaro "_s + QCoreApplication::applicationVersion(),
        u"Qt %1, built with %2"_s.arg(QString::fromLatin1(qVersion()), QStringLiteral(QT_VERSION_STR)),
        u"System: %1, %2 %3, %4"_s.arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(),
                                       QSysInfo::kernelVersion(), QSysInfo::currentCpuArchitecture()),
        u"Platform: %1, desktop %2, scale %3"_s.arg(QGuiApplication::platformName(), desktop,
                                                    QString::number(qGuiApp->devicePixelRatio())),
        u"Secure storage: "_s + storage(),
        u"Closed entries: %1"_s.arg(m_controller->entries().size()),
        u"Waiting changes: %1"_s.arg(m_controller->pending()),
        u"Last status: "_s + status(),
    };
    QGuiApplication::clipboard()->setText(lines.join(u'\n') + u'\n');
}

QString TechnicalDetails::storage() const {
    if (m_controller->queueReady()) {
        return u"open"_s;
    }
    return m_controller->secureStorage() ? u"open, record not readable"_s : u"unavailable"_s;
}

QString TechnicalDetails::status() const {
    // A server's sentence can name anything.
    return m_controller->messageQuotesServer() ? u"not one of the program's own, so not copied"_s
                                               : m_controller->message();
}
