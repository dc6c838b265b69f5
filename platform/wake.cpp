// SPDX-License-Identifier: Zlib
#include "wake.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace host {

WakePipe::WakePipe() noexcept {
    if (pipe(ends_) != 0) {
        ends_[0] = ends_[1] = -1;
        return;
    }
    for (const int end : ends_) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

WakePipe::~WakePipe() {
    for (const int end : ends_)
        if (end >= 0)
            close(end);
}

void WakePipe::wake() noexcept {
    const int saved = errno;
    const char byte = 0;
    // A pipe that is full wakes as well.
    [[maybe_unused]] const auto written = write(ends_[1], &byte, 1);
    errno = saved;
}

void WakePipe::drain() noexcept {
    char bytes[64];
    while (read(ends_[0], bytes, sizeof bytes) > 0) {
    }
}

} // namespace host
