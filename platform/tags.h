// SPDX-License-Identifier: Zlib
// Pointers in tag lists.
#pragma once

#include <proto/utility.h>

namespace host {

template <typename Pointer>
Pointer asPointer(TagData data) {
    return reinterpret_cast<Pointer>(data); // NOLINT(performance-no-int-to-ptr): what a tag's data is
}

// The pointer that the first item with this tag holds, or null.
template <typename Pointer>
Pointer pointerTag(Tag tag, const TagItem* tags) {
    return asPointer<Pointer>(GetTagData(tag, 0, tags));
}

} // namespace host
