// SPDX-License-Identifier: Zlib
// Rectangles and lists of rectangles that do not overlap.
#pragma once

#include <algorithm>
#include <vector>

#include <graphics/gfx.h>

namespace host {

// A rectangle whose maximum corner lies outside of it, one pixel beyond.
struct Box {
    long x0 = 0, y0 = 0, x1 = 0, y1 = 0;

    static Box sized(long x, long y, long width, long height) { return {x, y, x + width, y + height}; }
    explicit operator bool() const { return x0 < x1 && y0 < y1; }
    long width() const { return x1 - x0; }
    long height() const { return y1 - y0; }
    Box moved(long dx, long dy) const { return {x0 + dx, y0 + dy, x1 + dx, y1 + dy}; }
    bool operator==(const Box&) const = default;
};

inline Box operator&(const Box& a, const Box& b) {
    return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

// The smallest rectangle that holds both.
inline Box around(const Box& a, const Box& b) {
    return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

inline Box toBox(const Rectangle& r) {
    return {r.MinX, r.MinY, r.MaxX + 1L, r.MaxY + 1L};
}

inline Rectangle toRectangle(const Box& b) {
    return {static_cast<int16>(b.x0), static_cast<int16>(b.y0), static_cast<int16>(b.x1 - 1),
            static_cast<int16>(b.y1 - 1)};
}

using Boxes = std::vector<Box>;

// What of `from` lies inside `cut`.
Boxes intersect(const Boxes& from, const Box& cut);

// What of `from` lies outside `cut`.
Boxes subtract(const Boxes& from, const Box& cut);

} // namespace host
