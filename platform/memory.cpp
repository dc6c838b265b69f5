// SPDX-License-Identifier: Zlib
// exec: memory and debug output.
#include <proto/exec.h>

#include <host/testing.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

#include "testing.h"

APTR AllocVec(uint32 size, uint32 attributes) {
    if (size == 0 || host::allocationFault.strikes())
        return nullptr;
    void* const memory = (attributes & MEMF_CLEAR) ? std::calloc(1, size) : std::malloc(size);
    if (memory)
        ++host::liveAllocations;
    return memory;
}

void FreeVec(APTR memory) {
    if (!memory)
        return;
    std::free(memory);
    --host::liveAllocations;
}

namespace {

std::mutex sinkMutex;
void (*debugSink)(const char*, void*) = nullptr;
void* debugSinkUser = nullptr;

} // namespace

void HOST_SetDebugSink(void (*sink)(const char* text, void* user), void* user) {
    const std::lock_guard lock(sinkMutex);
    debugSink = sink;
    debugSinkUser = user;
}

void DebugPrintF(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);

    const std::lock_guard lock(sinkMutex);
    if (debugSink)
        debugSink(text.c_str(), debugSinkUser);
    else
        std::fputs(text.c_str(), stderr);
}
