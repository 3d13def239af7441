// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A certificate authority that only this test knows, and a server's
/// certificate that it has signed. All files go with it.
class Authority {
public:
    Authority();

    /// Whether all files could be made.
    [[nodiscard]] bool isReady() const { return m_ready; }

    /// What has to be trusted.
    [[nodiscard]] QString root() const { return m_folder.filePath(QStringLiteral("root.pem")); }

    /// For 127.0.0.1 and localhost.
    [[nodiscard]] QString certificate() const { return m_folder.filePath(QStringLiteral("server.pem")); }
    [[nodiscard]] QString key() const { return m_folder.filePath(QStringLiteral("server.key")); }
    /// The same key under a passphrase.
    [[nodiscard]] QString encryptedKey() const { return m_folder.filePath(QStringLiteral("encrypted.key")); }

    /// The development server's options for https.
    [[nodiscard]] QStringList options() const;

private:
    [[nodiscard]] bool openssl(const QStringList& arguments) const;

    QTemporaryDir m_folder;
    bool m_ready = false;
};
