// SPDX-License-Identifier: MIT
#pragma once

#include "controllertype.h"
#include "state/projection.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>
#include <qqmlintegration.h>

#include <utility>

/// What the listed entries were called, to be offered again while one types: each
/// description with its project once, the newest first. Read anew when the entries are
/// others, a stretch at a time, so that no key waits for it.
class EarlierDescriptions : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Controller* controller MEMBER m_controller WRITE setController REQUIRED)
    /// Somebody may ask; until then nothing is read.
    Q_PROPERTY(bool wanted MEMBER m_wanted WRITE setWanted)

public:
    explicit EarlierDescriptions(QObject* parent = nullptr);

    void setController(Controller* controller);
    void setWanted(bool wanted);

    /// The newest few that hold this text, in whatever case: "description", "project_id", "project" (its
    /// name), "color" and "billable". A project that cannot be chosen any more is left out.
    Q_INVOKABLE [[nodiscard]] QVariantList matching(const QString& text) const;

Q_SIGNALS:
    /// Others are offered than before.
    void updated();

private:
    struct Earlier {
        QString description;
        QString folded;
        QString projectId;
        bool billable;
    };
    using Key = std::pair<QString, QString>;

    void refresh();
    void readOn();
    void read(const QJsonObject& entry);
    void forget();

    Controller* m_controller = nullptr;
    bool m_wanted = false;
    QList<Earlier> m_offered;

    // What is being read, and how far
    QString m_workspace;
    QVariantList m_projectRows;
    QHash<QString, QVariantMap> m_projects;
    ProjectedEntries m_entries;
    qsizetype m_next = 0;
    QSet<Key> m_known;
    QList<Earlier> m_found;
    QTimer m_more;
};
