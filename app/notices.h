// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QVariantMap>

class Controller;
class QQuickWindow;

/// What a person must know while the window is hidden, as notifications of the desktop: each kind once,
/// until the window is seen again; and a question that waits in a window behind others. A click leads there.
/// They show on locked screens as well, so they hold nothing that was written or recorded.
class Notices : public QObject {
    Q_OBJECT

public:
    enum class Kind { Refused, SessionEnded, NotSaved, NotAcknowledged, Absence };

    /// `window` may be null; both must outlive the notices.
    Notices(Controller& controller, QQuickWindow* window);

private:
    void follow();
    void followWindow();
    [[nodiscard]] bool isHidden() const;
    [[nodiscard]] bool isToBeTold(Kind kind) const;
    [[nodiscard]] QSet<Kind> standing() const;
    void tell(Kind kind);
    void listen();
    void lead(Kind kind) const;

    Q_SLOT void actionInvoked(uint id, const QString& action);
    Q_SLOT void activationToken(uint id, const QString& token);
    Q_SLOT void notificationClosed(uint id, uint reason);

    Controller& m_controller;
    QPointer<QQuickWindow> m_window;
    QSet<Kind> m_standing;
    QSet<Kind> m_told;
    QHash<uint, Kind> m_shown;
    QVariantMap m_platformData; ///< what the desktop gave with the last click
    bool m_listening = false;
};

[[nodiscard]] inline size_t qHash(Notices::Kind kind, size_t seed = 0) {
    return qHash(int(kind), seed);
}
