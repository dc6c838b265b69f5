// SPDX-License-Identifier: Zlib
//
// What the public calls make of their arguments.
#pragma once

#include "blt_framework.h"

namespace ormsel {

// Positions are cut to signed 16 bits, sizes to unsigned ones.
constexpr short position(long value) {
    return static_cast<short>(value);
}
constexpr unsigned short extent(unsigned long value) {
    return static_cast<unsigned short>(value);
}

// The constant alpha that a surface brings along.
inline unsigned char alphaOfSurface(const SDL_Surface* src) {
    return src && src->format && src->flags & SDL_SRCALPHA ? src->format->alpha : 255;
}

} // namespace ormsel
