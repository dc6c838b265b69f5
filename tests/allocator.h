// SPDX-License-Identifier: Zlib
// The program's allocator, replaced: malloc and its kin, and with them operator new, for everything in the
// process, libraries included. glibc only.
#pragma once

namespace allocator {

// After `skip` more allocations `count` ones fail.
void fail(long skip, long count);

// From now on none fails.
void stop();

// How many have failed since fail().
long failures();

// Blocks that are allocated and not freed; those that were there before this began counted negative.
long live();

} // namespace allocator
