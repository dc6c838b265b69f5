// SPDX-License-Identifier: Zlib
//
// The routines of ORMSEL_ROUTES: for blends, source first, destination second. See BltRoutine.
//
// Onto R5G6B5, a destination in graphics-card memory is read through a row copy, and so is every destination
// of a blend without source alpha; when the copy can't be allocated, nothing is drawn.
#pragma once

#include "kernels/block.h"
#include "kernels/context.h"
#include "kernels/rules.h"

extern "C" {
#define ROW(operation, Src, Dst, Rule) unsigned long BLT_##Src##_##Dst(const BltContext* ctx);
ORMSEL_ROUTES(ROW)
#undef ROW
}

namespace ormsel {

// What the routine of a route does; with bounds, without leaving the images.
template <class Route>
unsigned long runRoute(const BltContext& ctx, const Bounds* bounds);

// Copies what nothing fades, see blt_rgb16.cpp.
template <>
unsigned long runRoute<Route<Operation::kBlend, R5G6B5, R5G6B5>>(const BltContext& ctx, const Bounds* bounds);

} // namespace ormsel
