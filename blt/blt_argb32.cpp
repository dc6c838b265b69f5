// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

unsigned long BLT_A8R8G8B8_A8R8G8B8(const BltContext* ctx) {
    return ormsel::blendAlphaToArgb32(*ctx, ormsel::kArgb32);
}
