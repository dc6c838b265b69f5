// SPDX-License-Identifier: Zlib
#include "testing.h"

#include <host/testing.h>

namespace host {

Fault allocationFault;
Fault lockFault;
std::atomic<long> liveAllocations{0};
std::atomic<long> heldLocks{0};

bool Fault::strikes() {
    if (count_ <= 0)
        return false;
    if (skip_.fetch_sub(1) > 0)
        return false;
    return count_.fetch_sub(1) > 0;
}

} // namespace host

void HOST_FailAllocations(long skip, long count) {
    host::allocationFault.arm(skip, count);
}
void HOST_FailLocks(long skip, long count) {
    host::lockFault.arm(skip, count);
}
long HOST_HeldBitMapLocks() {
    return host::heldLocks;
}
long HOST_LiveAllocations() {
    return host::liveAllocations;
}
