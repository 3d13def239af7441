// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// A certificate authority that only this test knows, and a server's
/// certificate that it has signed. All files go with it.
class Authority {
public:
    Authority();

    /// Whether all files could be made.
    [[nodiscard]] bool isReady() const { return m_ready; }

    /// What has to be trusted.
    [[nodiscard]] QString root() const { return m_folder.filePath(u"root.pem"_s); }

    /// For 127.0.0.1 and localhost.
    [[nodiscard]] QString certificate() const { return m_folder.filePath(u"server.pem"_s); }
    [[nodiscard]] QString key() const { return m_folder.filePath(u"server.key"_s); }
    /// The same key under a passphrase.
    [[nodiscard]] QString encryptedKey() const { return m_folder.filePath(u"encrypted.key"_s); }

    /// The development server's options for https.
    [[nodiscard]] QStringList options() const;

private:
    [[nodiscard]] bool openssl(const QStringList& arguments) const;

    QTemporaryDir m_folder;
    bool m_ready = false;
};
