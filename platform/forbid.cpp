// SPDX-License-Identifier: Zlib
//
// Forbid() and Permit(). The platform stops task switching between them; a host excludes the other threads
// that call Forbid(), which is what programs use it for.
#include <proto/exec.h>

#include <atomic>
#include <thread>

#if __has_include(<sys/single_threaded.h>)
#    include <sys/single_threaded.h>
#else
constexpr bool __libc_single_threaded = false;
#endif

namespace {

std::atomic_flag forbidden;
thread_local unsigned depth;
thread_local bool holding; // false, too, while the process has no other thread to keep out

} // namespace

void Forbid(void) {
    if (depth++ != 0 || __libc_single_threaded)
        return;
    while (forbidden.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
    holding = true;
}

void Permit(void) {
    if (--depth != 0 || !holding)
        return;
    holding = false;
    forbidden.clear(std::memory_order_release);
}
