// SPDX-License-Identifier: Zlib
//
// Forbid() and Permit(). The platform stops task switching between them; a host excludes the other threads
// that call Forbid(), which is what programs use it for.
#include <proto/exec.h>

#include <atomic>
#include <thread>

namespace {

std::atomic_flag forbidden;
thread_local unsigned depth;

} // namespace

void HOST_Forbid(void) {
    if (depth++ != 0)
        return;
    while (forbidden.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
}

void HOST_Permit(void) {
    // 0: the process had one thread when Forbid() was called.
    if (depth != 0 && --depth == 0)
        forbidden.clear(std::memory_order_release);
}
