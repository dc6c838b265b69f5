// SPDX-License-Identifier: Zlib
#include <chrono>

#include <proto/timer.h>

void GetSysTime(TimeVal* dest) noexcept {
    using namespace std::chrono;
    const auto now = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    dest->Seconds = static_cast<uint32>(now / 1000000);
    dest->Microseconds = static_cast<uint32>(now % 1000000);
}
