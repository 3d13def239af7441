// SPDX-License-Identifier: MIT
// There is no other way to make RAND_bytes() fail, deprecated or not.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "tests/vault/failingrandom.h"

#include <openssl/rand.h>

namespace {

int goodDraws = 0;
bool failed = false;

int draw(unsigned char* buffer, int length) {
    if (goodDraws > 0) {
        --goodDraws;
        return RAND_OpenSSL()->bytes(buffer, length);
    }
    failed = true;
    return 0;
}

const RAND_METHOD drawing{nullptr, draw, nullptr, nullptr, draw, nullptr};

} // namespace

FailingRandom::FailingRandom(int good) {
    goodDraws = good;
    failed = false;
    RAND_set_rand_method(&drawing);
}

FailingRandom::~FailingRandom() {
    RAND_set_rand_method(nullptr);
}

bool FailingRandom::hasFailed() {
    return failed;
}
