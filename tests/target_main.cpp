// SPDX-License-Identifier: Zlib
//
// main() of the tests that CTest runs once per processor target: ORMSEL_TARGET must take effect. A target
// that this machine doesn't have ends in 77, which CTest counts as skipped.
#include <cstdlib>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include <ormsel/ormsel_target.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (const char* wanted = std::getenv("ORMSEL_TARGET")) {
        const std::string chosen = ormsel_TargetName();
        if (!ormsel_ForceTarget(wanted)) {
            std::cerr << "this machine has no target " << wanted << "\n";
            return 77;
        }
        if (chosen != wanted) {
            std::cerr << "ORMSEL_TARGET=" << wanted << " gave " << chosen << "\n";
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
