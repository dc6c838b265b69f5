// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

unsigned long BLT_R8G8B8A8_A8R8G8B8(const BltContext* ctx) {
    return ormsel::blendAlphaToArgb32(*ctx, ormsel::kRgba32);
}
