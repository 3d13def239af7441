// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QStringList>

class QDBusMessage;

/// Listens to all programs as a screen reader does, and remembers what it would
/// have spoken without being asked.
class Announcements : public QObject {
    Q_OBJECT

public:
    Announcements();

    [[nodiscard]] const QStringList& heard() const { return m_heard; }
    void forget() { m_heard.clear(); }

private Q_SLOTS:
    void hearState(const QDBusMessage& event);
    void hearAnnouncement(const QDBusMessage& event);

private:
    QStringList m_heard;
};
