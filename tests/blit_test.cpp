// SPDX-License-Identifier: Zlib
//
// Random blits through every public entry point, and through every routine and dispatcher with bare
// contexts, compared with the model: results, and which bytes are written. Images lie against inaccessible
// pages.
#include <gtest/gtest.h>

#include "tests/blits.h"
#include "tests/faults.h"

static void compareWithModel(long cases, std::string (*blit)(Random&, Arena&)) {
    Arena arena(3, kBlitArea);
    const std::string wrong = forCases(cases, [&](Random& random) { return blit(random, arena); });
    EXPECT_TRUE(wrong.empty()) << wrong;
    EXPECT_EQ(liveAllocations, 0);
}

TEST(Blit, EntryPointsEqualTheModel) {
    compareWithModel(700000, randomBlit);
}
TEST(Blit, RoutinesEqualTheModel) {
    compareWithModel(300000, randomContext);
}
