// SPDX-License-Identifier: Zlib
// Memory for pixels. Plain functions for the linker, as those of exec are, so that tests can make them fail.
#pragma once

#include <cstddef>

namespace host {

// Alignment of the first pixel, and so the most that rows can have.
constexpr std::size_t kPixelAlignment = 64;

} // namespace host

extern "C" {

// Memory that begins at a multiple of kPixelAlignment, or null.
void* ormsel_host_AllocPixels(std::size_t bytes) noexcept;
void ormsel_host_FreePixels(void* pixels) noexcept;
}
