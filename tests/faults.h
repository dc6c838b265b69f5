// SPDX-License-Identifier: Zlib
// Faults on demand in the provider's calls, and what is allocated and locked. The linker puts these in the
// place of the calls (`--wrap`), so the library knows nothing of them.
#pragma once

// After `skip` more allocations of memory for programs, bitmaps or pixels (the provider's own included)
// `count` ones fail.
void failAllocations(long skip, long count);

// After `skip` more calls of p96LockBitMap() `count` ones fail.
void failLocks(long skip, long count);

// p96LockBitMap() calls not yet undone.
long heldBitMapLocks();

// Allocations of memory, bitmaps and pixels not yet freed.
long liveAllocations();
