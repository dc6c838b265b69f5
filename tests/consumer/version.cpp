// SPDX-License-Identifier: Zlib
//
// Every public header from C++20, and the version that the package says.
#include <cstdio>
#include <string>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_utils.h>
#include <ormsel/ormsel_version.h>

int main(int argc, char** argv) {
    const std::string version = std::to_string(ORMSEL_VERSION_MAJOR) + "." +
                                std::to_string(ORMSEL_VERSION_MINOR) + "." +
                                std::to_string(ORMSEL_VERSION_PATCH);
    BLT_SetupBltEngine();
    const bool named = std::string(p96Fmt2Str(6)) == "RGBFB_A8R8G8B8";
    BLT_ShutDownBltEngine();
    std::printf("%s\n", version.c_str());
    return argc > 1 && version == argv[1] && named ? 0 : 1;
}
