// SPDX-License-Identifier: MIT
#include "devserver/demo/catalog.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <stdexcept>

namespace devserver {
namespace {

QStringList textsOf(const QJsonValue& array) {
    return array.toVariant().toStringList();
}

} // namespace

DemoCatalog::DemoCatalog() {
    QFile file(u":/demo/catalog.json"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::logic_error("the demo's catalog was not built in");
    }
    m_content = QJsonDocument::fromJson(file.readAll()).object();
}

QList<DemoClient> DemoCatalog::clients(const QString& whose) const {
    QList<DemoClient> clients;
    const QJsonArray array = m_content.value(whose).toArray();
    for (const auto& client : array) {
        const QJsonValue rate = client[u"hourly_rate"];
        clients +=
            {client[u"name"].toString(), client[u"language"].toString(),
             rate.isNull() ? std::nullopt : std::optional(rate.toInteger()), textsOf(client[u"projects"])};
    }
    return clients;
}

QString DemoCatalog::archivedProject() const {
    return m_content.value(u"archived_project").toString();
}

QStringList DemoCatalog::words(const QString& kind, const QString& language) const {
    return textsOf(m_content.value(kind)[language]);
}

} // namespace devserver
