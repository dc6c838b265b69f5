// SPDX-License-Identifier: Zlib
//
// The processor target whose kernels are used: scalar, sse4, avx2, avx512 or neon.
//
// It is chosen at the first blit: the best that the processor has, or the one that the environment variable
// ORMSEL_TARGET names. A name that is unknown or not available here is reported on the debug output, and the
// best one is used. Every target gives the same results.
#pragma once

// The name of the target in use.
const char* BLT_TargetName();

// Uses another target from now on, for tests and benchmarks; nullptr goes back to the best one. False, and no
// change, when the name is unknown or the processor can't run it. Not to be called while blits run.
bool BLT_ForceTarget(const char* name);

// The names of the targets that this processor can run, best first, ended by nullptr.
const char* const* BLT_Targets();
