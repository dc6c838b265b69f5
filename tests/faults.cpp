// SPDX-License-Identifier: Zlib
#include "tests/faults.h"

#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include "platform/memory.h"

constinit Fault allocationFault, lockFault, heapFault;
constinit std::atomic<long> liveAllocations{0}, heldBitMapLocks{0}, liveBlocks{0};

// Declares the provider's own call as real<name>, and defines what everyone gets instead.
#define INSTEAD_OF(result, name, ...)                                                                        \
    extern "C" result real##name(__VA_ARGS__) __asm__("__real_ormsel_host_" #name);                          \
    extern "C" result wrap##name(__VA_ARGS__) __asm__("__wrap_ormsel_host_" #name);                          \
    result wrap##name(__VA_ARGS__)

template <typename Take>
static auto taken(Fault& fault, std::atomic<long>& count, Take take) {
    const auto result = fault.strikes() ? decltype(take()){} : take();
    count += result != decltype(take()){};
    return result;
}

INSTEAD_OF(void*, AllocVec, uint32 size, uint32 attributes) {
    return taken(allocationFault, liveAllocations, [=] { return realAllocVec(size, attributes); });
}

INSTEAD_OF(void*, AllocPixels, std::size_t bytes) {
    return taken(allocationFault, liveAllocations, [=] { return realAllocPixels(bytes); });
}

INSTEAD_OF(int32, p96LockBitMap, BitMap* bitmap, uint8* buffer, uint32 size) {
    return taken(lockFault, heldBitMapLocks, [=] { return realp96LockBitMap(bitmap, buffer, size); });
}

INSTEAD_OF(void, FreeVec, void* memory) {
    liveAllocations -= memory != nullptr;
    realFreeVec(memory);
}

INSTEAD_OF(void, FreePixels, void* pixels) {
    liveAllocations -= pixels != nullptr;
    realFreePixels(pixels);
}

INSTEAD_OF(void, p96UnlockBitMap, BitMap* bitmap, int32 lock) {
    heldBitMapLocks -= lock != 0;
    realp96UnlockBitMap(bitmap, lock);
}
