// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/entries/entries.h"
#include "devserver/reports/sums.h"

#include <QHash>

namespace devserver {

/// What a report needs to know of its workspace besides the entries: its rules,
/// and names by id.
struct ReportCatalog {
    struct Project {
        QString name;
        QString clientId; ///< empty without a client
        std::optional<qint64> hourlyRate;
    };

    QString workspace;
    QString language; ///< "he" or "en"
    QString currency;
    int roundingMinutes = 0;
    QHash<QString, Project> projects;
    QHash<QString, QString> clients;
    QHash<QString, QString> tasks;
    QHash<QString, QString> users;
    QHash<QString, QString> tags;

    [[nodiscard]] bool isHebrew() const { return language == u"he"; }
    [[nodiscard]] Project projectOf(const Entry& entry) const;
    [[nodiscard]] WorkedTime workOf(const Entry& closed) const;
};

[[nodiscard]] ReportCatalog readReportCatalog(Connection& connection, const QString& workspaceId);

} // namespace devserver
