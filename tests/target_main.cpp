// SPDX-License-Identifier: Zlib
//
// main() of the tests that CTest runs once per processor target, and their loop over random cases.
// ORMSEL_TARGET must take effect: a target that this machine doesn't have ends in 77, which CTest counts as
// skipped. After each failure stands the command that repeats it.
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include <ormsel/ormsel_target.h>

#include "tests/images.h"

#ifndef __has_feature
#    define __has_feature(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) ||     \
    __has_feature(thread_sanitizer)
static constexpr bool kSlow = true;
#else
static constexpr bool kSlow = false;
#endif

static std::string failedCase;

static long fromEnvironment(const char* name, long otherwise) {
    const char* text = std::getenv(name);
    return text && *text ? std::strtol(text, nullptr, 0) : otherwise;
}

long caseCount(long normal) {
    return fromEnvironment("ORMSEL_CASES", kSlow ? normal / 20 : normal);
}

uint32_t stride() {
    return static_cast<uint32_t>(fromEnvironment("ORMSEL_STRIDE", kSlow ? 15 : 1));
}

std::string forCases(long normal, const std::function<std::string(Random&)>& body) {
    const long seed = fromEnvironment("ORMSEL_SEED", 1), single = fromEnvironment("ORMSEL_CASE", -1);
    const long last = single >= 0 ? single : caseCount(normal) - 1;
    for (long number = std::max(0L, single); number <= last; ++number) {
        Random random(static_cast<uint64_t>(seed), static_cast<uint64_t>(number));
        if (std::string wrong = body(random); !wrong.empty()) {
            failedCase =
                "ORMSEL_SEED=" + std::to_string(seed) + " ORMSEL_CASE=" + std::to_string(number) + " ";
            return wrong;
        }
    }
    return {};
}

namespace {

class CommandPrinter : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& test) override {
        if (test.result()->Failed())
            std::cout << "Repeat it with: ORMSEL_TARGET=" << ormsel_TargetName() << " " << failedCase
                      << program_invocation_name << " --gtest_filter=" << test.test_suite_name() << "."
                      << test.name() << std::endl;
        failedCase.clear();
    }
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new CommandPrinter);
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
