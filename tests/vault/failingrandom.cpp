// SPDX-License-Identifier: MIT
// There is no other way to make RAND_bytes() fail, deprecated or not.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "tests/vault/failingrandom.h"

#include <openssl/rand.h>

namespace {

int refuse(unsigned char* /*buffer*/, int /*length*/) {
    return 0;
}

const RAND_METHOD refusing{nullptr, refuse, nullptr, nullptr, refuse, nullptr};

} // namespace

FailingRandom::FailingRandom() {
    RAND_set_rand_method(&refusing);
}

FailingRandom::~FailingRandom() {
    RAND_set_rand_method(nullptr);
}
