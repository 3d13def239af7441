// SPDX-License-Identifier: MIT
// What is sealed, and what somebody made of it.
#include "tests/fuzz/fuzz.h"
#include "vault/vault.h"

using namespace Qt::StringLiterals;

namespace {

const QByteArray key = "an example key of 32 bytes, yes!"_ba;
const QByteArray context = "timer.desktop.vault.v1\nhttps://time.example\naccount-aware-v2"_ba;
constexpr std::size_t bitsPerByte = 8;

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = fuzz::bytesOf(data, size);
    bool ok = true;
    fuzz::require(Vault::unseal(bytes, key, context, &ok).isEmpty() && !ok, "a foreign blob does not open");

    QByteArray blob = Vault::seal(bytes, key, context);
    fuzz::require(Vault::unseal(blob, key, context, &ok) == bytes && ok, "what is sealed opens");
    const std::size_t bits = static_cast<std::size_t>(blob.size()) * bitsPerByte;
    const std::size_t bit = size == 0 ? 0 : (data[0] * std::size_t{251} + size) % bits;
    char& hit = blob[static_cast<qsizetype>(bit / bitsPerByte)];
    hit = static_cast<char>(hit ^ (1 << bit % bitsPerByte));
    fuzz::require(Vault::unseal(blob, key, context, &ok).isEmpty() && !ok, "a flipped bit is found");
    return 0;
}
