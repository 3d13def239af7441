// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QJsonArray>
#include <QString>

/// Which colour stands for a project, by a workspace's catalog. A colour is "#rrggbb"; what is unknown,
/// of another form or in doubt, is "".
class ProjectColors {
public:
    explicit ProjectColors(const QJsonArray& projects);

    [[nodiscard]] QString ofId(const QString& id) const;
    /// In doubt are two projects of one name and different colours.
    [[nodiscard]] QString ofName(const QString& name) const;
    /// Of "PROJECT: TASK", where either may hold a colon as well.
    [[nodiscard]] QString ofTask(const QString& label) const;

    /// The text, if it is a colour.
    [[nodiscard]] static QString read(const QString& text);

private:
    QHash<QString, QString> m_byId;
    QHash<QString, QString> m_byName;
};
