// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

unsigned long BLT_B8G8R8_R5G6B5(const BltContext* ctx) {
    return ormsel::blendRgb24ToRgb16(*ctx, ormsel::kBgr24);
}
