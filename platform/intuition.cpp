// SPDX-License-Identifier: Zlib
#include "intuition.h"

namespace host {

Intuition& intuition() {
    static Intuition state;
    return state;
}

ConnectionUse::ConnectionUse() noexcept {
    Intuition& shared = intuition();
    if (shared.connections++ > 0)
        return;
    catchBreak(); // before SDL, which would otherwise take SIGINT for itself
    shared.displayThread = std::this_thread::get_id();
    shared.desktop = kDefaultDesktop;
    hostDisplay().connect(shared.desktop);
}

ConnectionUse::~ConnectionUse() {
    Intuition& shared = intuition();
    if (--shared.connections > 0)
        return;
    hostDisplay().disconnect();
    shared.displayThread = std::thread::id();
}

Size desktopSize() {
    const ConnectionUse connected;
    return intuition().desktop;
}

} // namespace host
