// SPDX-License-Identifier: Zlib
// exec: the processor. Needs no C++ runtime.
#include <proto/exec.h>

#include "tags.h"

#if defined(__linux__) && defined(__powerpc__)
#    include <sys/auxv.h>
#endif

namespace {

// What the unit's instructions need: a processor that has them, and a system that keeps its registers.
uint32 vectorUnit() {
#if defined(__linux__) && defined(__powerpc__)
    constexpr unsigned long kHasAltivec = 0x10000000; // PPC_FEATURE_HAS_ALTIVEC, of the kernel's headers
    return getauxval(AT_HWCAP) & kHasAltivec ? VECTORTYPE_ALTIVEC : VECTORTYPE_NONE;
#else
    return VECTORTYPE_NONE;
#endif
}

} // namespace

void GetCPUInfo(const TagItem* tags) noexcept {
    while (const TagItem* const item = host::nextTagItem(tags))
        if (item->ti_Tag == GCIT_VectorUnit)
            *host::asPointer<uint32*>(item->ti_Data) = vectorUnit();
}
