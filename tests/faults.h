// SPDX-License-Identifier: Zlib
// Faults on demand, and what is allocated and locked. The linker puts these in the place of the provider's
// calls
// (`--wrap`), so the library knows nothing of them.
#pragma once

#include <atomic>

// Fails calls from the (skip + 1)-th on, `count` of them.
class Fault {
public:
    void arm(long skip, long count) {
        struck_ = 0;
        skip_ = skip;
        count_ = count;
    }
    void disarm() { count_ = 0; }
    // Counts a call; true when it has to fail.
    bool strikes() {
        const bool now = count_ > 0 && skip_.fetch_sub(1) <= 0 && count_.fetch_sub(1) > 0;
        struck_ += now;
        return now;
    }
    long struck() const { return struck_; } // since arm()

private:
    std::atomic<long> skip_{0}, count_{0}, struck_{0};
};

extern Fault allocationFault; // of memory for programs, bitmaps or pixels, the provider's own included
extern Fault lockFault;       // of p96LockBitMap()
extern Fault heapFault; // of malloc() and its kin, for everything in the process: with allocator.cpp alone

// Allocations of memory, bitmaps and pixels not yet freed; p96LockBitMap() calls not yet undone; blocks of
// the heap, as far as allocator.cpp counts them.
extern std::atomic<long> liveAllocations, heldBitMapLocks, liveBlocks;
