// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/base/text.h"

#include <QStringList>

#include <optional>

namespace devserver {

/// A client of the demo and the projects done for it.
struct DemoClient {
    QString name;
    QString language;                 ///< "he" or "en"
    std::optional<qint64> hourlyRate; ///< hundredths of the workspace's currency
    QStringList projects;
};

/// What the demo is made of, as catalog.json has it.
class DemoCatalog {
public:
    DemoCatalog();

    /// "shared_clients", of the shared workspace, or "own_clients", of the development user's own.
    [[nodiscard]] QList<DemoClient> clients(const QString& whose) const;

    /// The one project that is finished and archived.
    [[nodiscard]] QString archivedProject() const;

    /// In a language: "descriptions" as a whole; "patterns" of others, "%1"
    /// standing for one of the "subjects"; "tasks" of every project; "tags".
    [[nodiscard]] QStringList words(const QString& kind, const QString& language) const;

private:
    QJsonObject m_content;
};

} // namespace devserver
