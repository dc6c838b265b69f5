// SPDX-License-Identifier: Zlib
//
// The dispatchers and the routines for pairs of formats, source first, destination second. See BltRoutine.
#pragma once

#include "blt_framework.h"

extern "C" {

// Chooses the routine for a context without a mask, by formats and then by depths, and runs it.
unsigned long BLT_FallbackBltContext(const BltContext* ctx);

// The same for a context with a mask, by depths alone.
unsigned long BLT_FallbackBltMaskContext(const BltContext* ctx);

// 32-bit sources with alpha onto R5G6B5. A destination in graphics-card memory is read through a row copy;
// when that can't be allocated, nothing is drawn.
unsigned long BLT_A8R8G8B8_R5G6B5(const BltContext* ctx);
unsigned long BLT_A8B8G8R8_R5G6B5(const BltContext* ctx);
unsigned long BLT_R8G8B8A8_R5G6B5(const BltContext* ctx);
unsigned long BLT_B8G8R8A8_R5G6B5(const BltContext* ctx);

// Sources without alpha onto R5G6B5, by the constant alpha: nothing, a copy, or a blend through a row copy.
unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx);
unsigned long BLT_R8G8B8_R5G6B5(const BltContext* ctx);
unsigned long BLT_B8G8R8_R5G6B5(const BltContext* ctx);

// 32-bit sources with alpha onto A8R8G8B8, or a raw copy when the copy flag is set.
unsigned long BLT_A8R8G8B8_A8R8G8B8(const BltContext* ctx);
unsigned long BLT_A8B8G8R8_A8R8G8B8(const BltContext* ctx);
unsigned long BLT_R8G8B8A8_A8R8G8B8(const BltContext* ctx);
unsigned long BLT_B8G8R8A8_A8R8G8B8(const BltContext* ctx);
}
