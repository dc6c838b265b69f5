// SPDX-License-Identifier: Zlib
// SDL's window as the X Window System knows it. SDL itself tells neither of moves nor how to sleep until
// there is input.
#pragma once

#include <optional>
#include <utility>

namespace host {

// Readable when the X server has sent something; -1 when SDL's window is no X window.
int x11Descriptor() noexcept;

// Where the window stands on the desktop; empty when SDL's window is no X window.
std::optional<std::pair<int, int>> x11Position() noexcept;

} // namespace host
