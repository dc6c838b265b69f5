// SPDX-License-Identifier: Zlib
#pragma once

#include <string>

// Where a file of the program's volume lies on this system; empty when memory has run out.
// @param path absolute on the volume, such as "/pictures/blue.png"
std::string volumePath(const char* path) noexcept;
