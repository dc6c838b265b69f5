// SPDX-License-Identifier: Zlib
#include "geometry.h"

namespace host {

Boxes intersect(const Boxes& from, const Box& cut) {
    Boxes result;
    for (const Box& box : from)
        if (const Box part = box & cut)
            result.push_back(part);
    return result;
}

Boxes subtract(const Boxes& from, const Box& cut) {
    Boxes result;
    for (const Box& box : from) {
        const Box gone = box & cut;
        if (!gone) {
            result.push_back(box);
            continue;
        }
        // The full width above and below, then what is left beside.
        const Box rest[] = {{box.x0, box.y0, box.x1, gone.y0},
                            {box.x0, gone.y1, box.x1, box.y1},
                            {box.x0, gone.y0, gone.x0, gone.y1},
                            {gone.x1, gone.y0, box.x1, gone.y1}};
        for (const Box& part : rest)
            if (part)
                result.push_back(part);
    }
    return result;
}

} // namespace host
