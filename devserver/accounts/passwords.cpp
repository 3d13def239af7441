// SPDX-License-Identifier: MIT
#include "devserver/accounts/passwords.h"

#include <sodium.h>

#include <cerrno>
#include <stdexcept>

namespace devserver {
namespace {

constexpr auto rounds = crypto_pwhash_OPSLIMIT_MODERATE;
constexpr auto memory = crypto_pwhash_MEMLIMIT_MODERATE;

QByteArray randomText(qsizetype bytes) {
    QByteArray random(bytes, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(bytes));
    return random.toBase64(QByteArray::OmitTrailingEquals);
}

} // namespace

QByteArray hashPassword(const QByteArray& password) {
    QByteArray hash(crypto_pwhash_STRBYTES, '\0');
    if (crypto_pwhash_str(hash.data(), password.constData(), static_cast<unsigned long long>(password.size()),
                          rounds, memory) != 0) {
        throw std::runtime_error("there is not enough memory to hash a password");
    }
    return QByteArray(hash.constData()); // up to its zero byte
}

bool hasHash(const QByteArray& password, const QByteArray& hash) {
    if (crypto_pwhash_str_needs_rehash(hash.constData(), rounds, memory) < 0) {
        throw std::runtime_error("what is stored of a password is not a hash");
    }
    errno = 0;
    if (crypto_pwhash_str_verify(hash.constData(), password.constData(),
                                 static_cast<unsigned long long>(password.size())) == 0) {
        return true;
    }
    // The library's word for a comparison that was made and failed; it also fails without enough memory.
    if (errno != EINVAL) {
        throw std::runtime_error("a password could not be compared with its hash");
    }
    return false;
}

QByteArray unmatchedHash() {
    return QByteArray("$argon2id$v=19$m=") + QByteArray::number(qulonglong{memory / 1024}) +
           ",t=" + QByteArray::number(qulonglong{rounds}) + ",p=1$" + randomText(crypto_pwhash_SALTBYTES) +
           '$' + randomText(32);
}

} // namespace devserver
