// SPDX-License-Identifier: MIT
#include "vault/sealedblob.h"

#include "vault/wipe.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QByteArray magic = "TKV1"_ba;
constexpr qsizetype nonceSize = 12;
constexpr qsizetype tagSize = 16;
constexpr qsizetype headerSize = 4 + nonceSize + tagSize;
constexpr qsizetype sizeLimit = 52'428'800;

struct ContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, ContextDeleter>;

const unsigned char* bytes(const char* data) {
    return reinterpret_cast<const unsigned char*>(data);
}

unsigned char* bytes(char* data) {
    return reinterpret_cast<unsigned char*>(data);
}

// `nonce`, `tag` and `ciphertext` lie in one buffer of the caller; the last is as long as the plaintext.
bool encrypt(const QByteArray& plaintext, const QByteArray& key, const QByteArray& aad, const char* nonce,
             char* tag, char* ciphertext) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    int length = 0;
    int finalLength = 0;
    return context && EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
           EVP_EncryptInit_ex(context.get(), nullptr, nullptr, bytes(key.constData()), bytes(nonce)) == 1 &&
           EVP_EncryptUpdate(context.get(), nullptr, &length, bytes(aad.constData()),
                             static_cast<int>(aad.size())) == 1 &&
           EVP_EncryptUpdate(context.get(), bytes(ciphertext), &length, bytes(plaintext.constData()),
                             static_cast<int>(plaintext.size())) == 1 &&
           EVP_EncryptFinal_ex(context.get(), bytes(ciphertext) + length, &finalLength) == 1 &&
           length + finalLength == plaintext.size() &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(tagSize), tag) == 1;
}

bool decrypt(const QByteArray& blob, const QByteArray& key, const QByteArray& aad, QByteArray& plaintext) {
    const char* const nonce = blob.constData() + magic.size();
    const char* const tag = nonce + nonceSize;
    const char* const ciphertext = tag + tagSize;
    const CipherContext context(EVP_CIPHER_CTX_new());
    int length = 0;
    int finalLength = 0;
    // OpenSSL only reads the tag, but takes it by a pointer to mutable data.
    return context && EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
           EVP_DecryptInit_ex(context.get(), nullptr, nullptr, bytes(key.constData()), bytes(nonce)) == 1 &&
           EVP_DecryptUpdate(context.get(), nullptr, &length, bytes(aad.constData()),
                             static_cast<int>(aad.size())) == 1 &&
           EVP_DecryptUpdate(context.get(), bytes(plaintext.data()), &length, bytes(ciphertext),
                             static_cast<int>(plaintext.size())) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(tagSize),
                               const_cast<char*>(tag)) == 1 &&
           EVP_DecryptFinal_ex(context.get(), bytes(plaintext.data()) + length, &finalLength) == 1 &&
           length + finalLength == plaintext.size();
}

} // namespace

bool appendSealed(QByteArray& record, const QByteArray& plaintext, const QByteArray& key,
                  const QByteArray& aad) {
    if (key.size() != sealingKeySize || plaintext.size() > sizeLimit) {
        return false;
    }
    const qsizetype start = record.size() + magic.size();
    record.reserve(record.size() + headerSize + plaintext.size());
    record.append(magic);
    record.resize(start - magic.size() + headerSize + plaintext.size());
    char* const nonce = record.data() + start;
    if (RAND_bytes(bytes(nonce), static_cast<int>(nonceSize)) != 1) {
        return false;
    }
    char* const tag = nonce + nonceSize;
    return encrypt(plaintext, key, aad, nonce, tag, tag + tagSize);
}

QByteArray openSealed(const QByteArray& blob, const QByteArray& key, const QByteArray& aad, bool* ok) {
    if (ok) {
        *ok = false;
    }
    if (key.size() != sealingKeySize || blob.size() < headerSize) {
        return {};
    }
    if (!blob.startsWith(magic) || blob.size() > sizeLimit) {
        return {};
    }
    QByteArray plaintext(blob.size() - headerSize, '\0');
    if (!decrypt(blob, key, aad, plaintext)) {
        wipe(plaintext);
        return {};
    }
    if (ok) {
        *ok = true;
    }
    return plaintext;
}
