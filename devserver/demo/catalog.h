// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QStringList>

#include <optional>

namespace devserver {

enum class Language { Hebrew, English };

/// A client of the demo and the projects done for it.
struct DemoClient {
    QString name;
    Language language;
    std::optional<int> hourlyRate; ///< hundredths of the workspace's currency
    QStringList projects;
};

/// The clients of the shared workspace.
[[nodiscard]] QList<DemoClient> sharedClients();

/// The clients of the development user's own workspace.
[[nodiscard]] QList<DemoClient> ownClients();

/// The one project that is finished and archived.
[[nodiscard]] QString archivedProject();

/// What one does all day: whole descriptions.
[[nodiscard]] QStringList plainDescriptions(Language language);

/// Descriptions in two halves, "%1" standing for one of `subjects`.
[[nodiscard]] QStringList patterns(Language language);
[[nodiscard]] QStringList subjects(Language language);

[[nodiscard]] QStringList colors();

/// The tasks of every project.
[[nodiscard]] QStringList tasks(Language language);

[[nodiscard]] QStringList tags(Language language);

} // namespace devserver
