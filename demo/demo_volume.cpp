// SPDX-License-Identifier: Zlib
// The program names its files by absolute paths on its own volume. That volume is a folder: the one that the
// environment variable KORVALEN_VOLUME names, else the installed one, else the build tree's.
#include "demo_volume.h"

#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>

namespace fs = std::filesystem;

namespace {

std::string volume() {
    if (const char* chosen = std::getenv("KORVALEN_VOLUME"); chosen && *chosen)
        return chosen;
    // Found from the program's own place, so that an installed tree may be moved. Where the system does not
    // tell that place, only the build tree is left.
    std::error_code failed;
    const fs::path program = fs::read_symlink("/proc/self/exe", failed);
    const fs::path installed = (program.parent_path() / KORVALEN_INSTALLED_VOLUME).lexically_normal();
    if (!failed && fs::is_directory(installed, failed))
        return installed.string();
    return KORVALEN_BUILD_VOLUME;
}

} // namespace

std::string volumePath(const char* path) noexcept {
    try {
        return volume() + path;
    } catch (const std::bad_alloc&) {
        return {};
    }
}
