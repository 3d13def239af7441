// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusVirtualObject>
#include <QString>

/// The session's Secret Service, from outside the program that uses it.
namespace keyring {

/// The number of keys that the program has stored.
[[nodiscard]] int keyCount();

/// Locks the collection that holds them.
[[nodiscard]] bool lock();
/// With the password of the session that the tests run in, as the login would.
[[nodiscard]] bool unlock();

/// In the place of the desktop's password dialog, which would take hold of mouse
/// and keyboard: a person who is asked and does not answer.
class SilentPerson : public QDBusVirtualObject {
public:
    SilentPerson();
    ~SilentPerson() override;
    SilentPerson(const SilentPerson&) = delete;
    SilentPerson& operator=(const SilentPerson&) = delete;

    /// How often the keyring has asked for its password.
    [[nodiscard]] int questions() const { return m_questions; }

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    int m_questions = 0;
};

} // namespace keyring
