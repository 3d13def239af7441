// SPDX-License-Identifier: MIT
#include "devserver/http/certificate.h"

#include "devserver/base/text.h"

#include <QFile>

#include <openssl/pem.h>

#include <memory>

namespace devserver {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

/// In the place of the library's own question on the terminal.
int refusePassphrase(char*, int, int, void* asked) {
    *static_cast<bool*>(asked) = true;
    return -1;
}

Key readKey(const QString& file, bool& encrypted) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_file(QFile::encodeName(file), "r"), BIO_free);
    return {bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, refusePassphrase, &encrypted) : nullptr,
            EVP_PKEY_free};
}

bool isReadable(const QString& file) {
    return QFile(file).open(QIODevice::ReadOnly);
}

} // namespace

QString useCertificate(SSL_CTX& context, const CertificateFiles& files) {
    for (const QString& file : {files.certificate, files.key}) {
        if (!isReadable(file)) {
            return u"Cannot read the file %1."_s.arg(file);
        }
    }
    if (SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) != 1) {
        return u"The TLS library cannot speak TLS 1.2."_s;
    }
    SSL_CTX_set_options(&context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    if (SSL_CTX_use_certificate_chain_file(&context, QFile::encodeName(files.certificate)) != 1) {
        return u"The file %1 holds no usable certificate in PEM form."_s.arg(files.certificate);
    }
    bool encrypted = false;
    const Key key = readKey(files.key, encrypted);
    if (encrypted) {
        return u"The private key %1 is encrypted; this server takes one without a passphrase."_s.arg(
            files.key);
    }
    if (!key) {
        return u"The file %1 holds no usable private key in PEM form."_s.arg(files.key);
    }
    // A key of another kind than the certificate's is taken at first, and found out by the check.
    if (SSL_CTX_use_PrivateKey(&context, key.get()) != 1 || SSL_CTX_check_private_key(&context) != 1) {
        return u"The private key %1 does not belong to the certificate %2."_s.arg(files.key,
                                                                                  files.certificate);
    }
    return {};
}

} // namespace devserver
