// SPDX-License-Identifier: Zlib
//
// Random blits through every public entry point, compared byte by byte with the model. Images lie against
// inaccessible pages.
#include <gtest/gtest.h>

#include "tests/blits.h"
#include "tests/faults.h"

TEST(Blit, RandomBlitsEqualTheModel) {
    Arena arena(3, kBlitArea);
    EXPECT_EQ(forCases(700000, [&](Random& random, long) { return randomBlit(random, arena); }), "");
    EXPECT_EQ(liveAllocations(), 0);
}
