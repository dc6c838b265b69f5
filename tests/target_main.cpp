// SPDX-License-Identifier: Zlib
//
// main() of the tests that CTest runs once per processor target: ORMSEL_TARGET must take effect. A target
// that this machine doesn't have ends in 77, which CTest counts as skipped.
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <gtest/gtest.h>

#include "blt/blt_target.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (const char* wanted = std::getenv("ORMSEL_TARGET")) {
        bool available = false;
        for (const char* const* name = BLT_Targets(); *name != nullptr; ++name)
            available = available || std::strcmp(*name, wanted) == 0;
        if (!available) {
            std::cerr << "this machine has no target " << wanted << "\n";
            return 77;
        }
        if (std::strcmp(BLT_TargetName(), wanted) != 0) {
            std::cerr << "ORMSEL_TARGET=" << wanted << " gave " << BLT_TargetName() << "\n";
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
