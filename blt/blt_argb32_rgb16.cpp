// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

unsigned long BLT_A8R8G8B8_R5G6B5(const BltContext* ctx) {
    return ormsel::blendAlphaToRgb16(*ctx, ormsel::kArgb32);
}
