/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel_target.h
 * @brief Which of the processor's instructions the blits use.
 *
 * A target is a set of routines for one kind of processor: "scalar" (plain code, on every one), "sse4",
 * "avx2", "avx512", "neon" or "altivec". Every target gives the same results; they differ in speed alone.
 *
 * The target is chosen at the first blit: the best that the processor has, or the one that the environment
 * variable `ORMSEL_TARGET` names. A name that is unknown, or not available here, is reported on the debug
 * output, and the best one is used.
 */
#ifndef ORMSEL_TARGET_H
#define ORMSEL_TARGET_H

#include "ormsel_version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @return the name of the target in use; never NULL, never to be freed. Safe from any thread. */
const char* ormsel_TargetName(void) ORMSEL_NOEXCEPT;

/** @return the names of the targets that this processor can run, best first, ended by NULL. Safe from any
 * thread. */
const char* const* ormsel_Targets(void) ORMSEL_NOEXCEPT;

/**
 * Uses another target from now on, for tests and benchmarks. Not to be called while blits run.
 * @param name a name of ormsel_Targets(), or NULL for the best one
 * @return 1; or 0, and no change, when the name is unknown or the processor can't run it
 */
int ormsel_ForceTarget(const char* name) ORMSEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
