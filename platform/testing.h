// SPDX-License-Identifier: Zlib
/** @file testing.h  Faults on demand and the counters that tests read; used by the allocating components. */
#ifndef PLATFORM_TESTING_H
#define PLATFORM_TESTING_H

#include <atomic>

namespace host {

/** Fails calls from the (skip+1)-th on, count of them, once armed. */
class Fault {
public:
    void arm(long skip, long count) {
        skip_ = skip;
        count_ = count;
    }
    /** Counts a call; true when it has to fail. */
    bool strikes();

private:
    std::atomic<long> skip_{0}, count_{0};
};

extern Fault allocationFault;
extern Fault lockFault;
extern std::atomic<long> liveAllocations;
extern std::atomic<long> heldLocks;

} // namespace host

#endif
