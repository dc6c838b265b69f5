// SPDX-License-Identifier: Zlib
//
// libFuzzer target: the blits of blit_test with the fuzzer's bytes in place of random choices.
#include <cstdio>
#include <cstdlib>

#include "tests/blits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Arena arena(3, kBlitArea);
    Random random(data, size);
    for (int i = 0; i < 16 && random.hasInput(); ++i)
        if (const std::string wrong = randomBlit(random, arena); !wrong.empty()) {
            std::fprintf(stderr, "%s\n", wrong.c_str());
            std::abort();
        }
    return 0;
}
