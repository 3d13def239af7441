// SPDX-License-Identifier: MIT
#include "state/projectcolors.h"

#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

ProjectColors::ProjectColors(const QJsonArray& projects) {
    for (const auto& project : projects) {
        const QString color = read(project[u"color"].toString());
        m_byId.insert(project[u"id"].toString(), color);
        const QString name = project[u"name"].toString();
        const auto known = m_byName.constFind(name);
        m_byName.insert(name, known == m_byName.cend() || *known == color ? color : QString());
    }
}

QString ProjectColors::ofId(const QString& id) const {
    return m_byId.value(id);
}

QString ProjectColors::ofName(const QString& name) const {
    return m_byName.value(name);
}

QString ProjectColors::ofTask(const QString& label) const {
    const QString separator = u": "_s;
    for (qsizetype at = label.lastIndexOf(separator); at > 0; at = label.lastIndexOf(separator, at - 1)) {
        if (const QString name = label.left(at); m_byName.contains(name)) {
            return m_byName.value(name);
        }
    }
    return {};
}

QString ProjectColors::read(const QString& text) {
    static const QRegularExpression form(u"^#[0-9a-fA-F]{6}\\z"_s);
    return form.match(text).hasMatch() ? text.toLower() : QString();
}
