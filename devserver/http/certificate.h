// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <openssl/ssl.h>

namespace devserver {

/// What https is served with: PEM files, the certificate followed by those that
/// vouch for it, and its private key without a passphrase.
struct CertificateFiles {
    QString certificate;
    QString key;
};

/// Lets the context speak TLS 1.2 and later with this certificate. Returns why
/// it cannot, as one sentence; empty when it can.
[[nodiscard]] QString useCertificate(SSL_CTX& context, const CertificateFiles& files);

} // namespace devserver
