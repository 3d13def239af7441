// SPDX-License-Identifier: MIT
#include "vault/sealedblob.h"

#include "vault/wipe.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QByteArray magic = "TKV1"_ba;
constexpr qsizetype nonceSize = 12;
constexpr qsizetype tagSize = 16;
static_assert(sealedHeaderSize == 4 + nonceSize + tagSize);
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

// `nonce`, `tag` and `text` lie in one buffer of the caller.
bool encrypt(char* text, qsizetype size, const QByteArray& key, const QByteArray& aad, const char* nonce,
             char* tag) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    int length = 0;
    int finalLength = 0;
    return context && EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
           EVP_EncryptInit_ex(context.get(), nullptr, nullptr, bytes(key.constData()), bytes(nonce)) == 1 &&
           EVP_EncryptUpdate(context.get(), nullptr, &length, bytes(aad.constData()),
                             static_cast<int>(aad.size())) == 1 &&
           EVP_EncryptUpdate(context.get(), bytes(text), &length, bytes(text), static_cast<int>(size)) == 1 &&
           EVP_EncryptFinal_ex(context.get(), bytes(text) + length, &finalLength) == 1 &&
           length + finalLength == size &&
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

bool sealInPlace(QByteArray& record, qsizetype start, const QByteArray& key, const QByteArray& aad) {
    const qsizetype size = record.size() - start - sealedHeaderSize;
    if (key.size() != sealingKeySize || size < 0 || size > sizeLimit) {
        return false;
    }
    char* const header = record.data() + start;
    std::copy(magic.cbegin(), magic.cend(), header);
    char* const nonce = header + magic.size();
    if (RAND_bytes(bytes(nonce), static_cast<int>(nonceSize)) != 1) {
        return false;
    }
    return encrypt(header + sealedHeaderSize, size, key, aad, nonce, nonce + nonceSize);
}

QByteArray openSealed(const QByteArray& blob, const QByteArray& key, const QByteArray& aad, bool* ok) {
    if (ok) {
        *ok = false;
    }
    if (key.size() != sealingKeySize || blob.size() < sealedHeaderSize) {
        return {};
    }
    if (!blob.startsWith(magic) || blob.size() > sizeLimit) {
        return {};
    }
    QByteArray plaintext(blob.size() - sealedHeaderSize, '\0');
    if (!decrypt(blob, key, aad, plaintext)) {
        wipe(plaintext);
        return {};
    }
    if (ok) {
        *ok = true;
    }
    return plaintext;
}
