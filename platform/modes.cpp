// SPDX-License-Identifier: Zlib
// graphics: display modes. The host shows screens of any size, so a mode's number spells out the mode.
#include "modes.h"

#include <algorithm>
#include <iterator>

#include <proto/graphics.h>
#include <proto/utility.h>

#include "display.h"

namespace host {

namespace {

constexpr uint32 kDepths[] = {15, 16, 24, 32};
constexpr unsigned kSideBits = 14;
constexpr uint32 kSideMask = (1U << kSideBits) - 1;

} // namespace

bool isScreenDepth(uint32 depth) {
    return std::find(std::begin(kDepths), std::end(kDepths), depth) != std::end(kDepths);
}

std::optional<Mode> findMode(uint32 id) {
    const Mode mode = {id >> kSideBits & kSideMask, id & kSideMask, kDepths[id >> 2 * kSideBits & 3]};
    if (id >> (2 * kSideBits + 2) || mode.width == 0 || mode.height == 0)
        return std::nullopt;
    return mode;
}

} // namespace host

using namespace host;

uint32 BestModeIDA(const TagItem* tags) noexcept {
    auto width = static_cast<uint32>(GetTagData(BIDTAG_NominalWidth, 0, tags));
    auto height = static_cast<uint32>(GetTagData(BIDTAG_NominalHeight, 0, tags));
    const auto depth = static_cast<uint32>(GetTagData(BIDTAG_Depth, 24, tags));
    if (width == 0 || height == 0) {
        const Size size = desktopSize();
        width = static_cast<uint32>(size.width);
        height = static_cast<uint32>(size.height);
    }
    if (width > kSideMask || height > kSideMask || !isScreenDepth(depth))
        return INVALID_ID;
    const auto index =
        static_cast<uint32>(std::find(std::begin(kDepths), std::end(kDepths), depth) - kDepths);
    return index << 2 * kSideBits | width << kSideBits | height;
}
