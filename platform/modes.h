// SPDX-License-Identifier: Zlib
// Display modes as numbers.
#pragma once

#include <optional>

#include <exec/types.h>

namespace host {

struct Mode {
    uint32 width, height, depth;
};

// The mode that a number from BestModeID() stands for.
std::optional<Mode> findMode(uint32 id);

// Whether screens can have this depth.
bool isScreenDepth(uint32 depth);

} // namespace host
