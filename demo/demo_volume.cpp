// SPDX-License-Identifier: Zlib
// The program names its files by absolute paths on its own volume. That volume is a folder: the one that the
// environment variable KORVALEN_VOLUME names, else the installed one, else the build tree's.
#include "demo_volume.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

std::string volumePath(const char* path) {
    if (const char* chosen = std::getenv("KORVALEN_VOLUME"); chosen && *chosen)
        return std::string(chosen) + path;
    std::error_code ignored;
    const bool installed = std::filesystem::is_directory(KORVALEN_INSTALLED_VOLUME, ignored);
    return std::string(installed ? KORVALEN_INSTALLED_VOLUME : KORVALEN_BUILD_VOLUME) + path;
}
