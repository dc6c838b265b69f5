// SPDX-License-Identifier: Zlib

// Waking a thread that sleeps in poll().
#pragma once

namespace host {

// A pipe with at most a few bytes in it.
class WakePipe {
public:
    // Without descriptors left the pipe never wakes anyone, and descriptor() is -1.
    WakePipe() noexcept;
    ~WakePipe();
    WakePipe(const WakePipe&) = delete;
    WakePipe& operator=(const WakePipe&) = delete;

    // Makes descriptor() readable until drain(). A signal handler may call it.
    void wake() noexcept;
    void drain() noexcept;
    int descriptor() const { return ends_[0]; }

private:
    int ends_[2] = {-1, -1};
};

} // namespace host
