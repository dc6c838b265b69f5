// SPDX-License-Identifier: Zlib
//
// Keeps routines inside the memory of the images. docs/memory-safety.md argues why it is complete.
#pragma once

#include "blt_framework.h"

// The number of rows of each image; its memory is that many times its pitch, read as unsigned, from its
// first pixel. mask is 0 for a blit without one.
struct BltRows {
    long src, dst, mask;
};

// Whether a routine may take the whole clipped rectangle in one call: each row ends, with all that the
// routine reads or writes behind it, before the next one begins, and the pitches fit the signed 16 bits
// that routines take them as. Almost every blit does.
bool BLT_StaysInside(const BltContext& ctx, long maskRows);

// Runs a routine over the rectangle of any other context, in pieces that stay inside, with the results that
// one call would have had there: bytes outside the images are not written, and read as 0.
unsigned long BLT_RunInside(const BltContext& ctx, BltRoutine routine, const BltRows& rows);
