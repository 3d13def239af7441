// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QRect>
#include <QString>

class QDBusConnection;

/// The bus that assistive technology and programs meet on.
[[nodiscard]] const QDBusConnection& accessibilityBus();
[[nodiscard]] QString accessibilityAddress();

/// One element of another program's window, as assistive technology sees it
/// over AT-SPI. A handle: every question goes to the program and is answered as
/// things stand now; an element that is gone answers as an empty one.
class Element {
public:
    /// AT-SPI's numbers.
    enum class Role : quint32 {
        CheckBox = 7,
        ComboBox = 11,
        Label = 29,
        List = 31,
        ListItem = 32,
        MenuItem = 35,
        PageTab = 37,
        PasswordText = 40,
        PushButton = 43,
        SpinButton = 52,
        Text = 61,
        ToggleButton = 62,
        Entry = 79,
        Notification = 101,
    };

    Element() = default;
    Element(QString service, QString path);
    /// The program of that process id; null until it can be reached.
    [[nodiscard]] static Element application(qint64 processId);

    [[nodiscard]] bool isNull() const { return m_path.isEmpty(); }
    [[nodiscard]] QString name() const;
    [[nodiscard]] QString description() const;
    [[nodiscard]] Role role() const;
    /// What a text field holds.
    [[nodiscard]] QString text() const;
    [[nodiscard]] bool isShowing() const;
    [[nodiscard]] bool isEnabled() const;
    [[nodiscard]] bool isFocused() const;
    /// A tick box.
    [[nodiscard]] bool isChecked() const;
    /// On the screen.
    [[nodiscard]] QRect area() const;

    [[nodiscard]] QList<Element> children() const;
    /// Everything on the screen below this element, top down.
    [[nodiscard]] QList<Element> everything() const;
    /// The first of these on the screen; null when there is none.
    [[nodiscard]] Element find(Role role, const QString& name) const;
    /// The first whose name starts so, whatever it is.
    [[nodiscard]] Element findStarting(const QString& start) const;

    /// Does what a screen reader does to press it; false when it cannot be pressed.
    [[nodiscard]] bool press() const;

private:
    [[nodiscard]] bool has(int state) const;

    QString m_service;
    QString m_path;
};
