// SPDX-License-Identifier: Zlib
//
// The routines of ORMSEL_ROUTES, source first, destination second. See BltRoutine.
//
// Onto R5G6B5, a destination in graphics-card memory is read through a row copy, and so is every destination
// of a blend without source alpha; when the copy can't be allocated, nothing is drawn.
#pragma once

#include "blt_framework.h"

extern "C" {
#define ROUTE(Src, Dst, Rule) unsigned long BLT_##Src##_##Dst(const BltContext* ctx);
ORMSEL_ROUTES(ROUTE)
#undef ROUTE
}

namespace ormsel {

struct Bounds; // see blt_block.h

// What the routine of a route does, without leaving the images.
template <class Src, class Dst>
unsigned long runRouteInside(const BltContext& ctx, const Bounds& bounds);

} // namespace ormsel
