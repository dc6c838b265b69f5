// SPDX-License-Identifier: Zlib
// Pointers in tag lists.
#pragma once

#include <proto/utility.h>

namespace host {

template <typename Pointer>
Pointer asPointer(TagData data) {
    return reinterpret_cast<Pointer>(data); // NOLINT(performance-no-int-to-ptr): what a tag's data is
}

// NextTagItem(), which parts of the library need that have no others of its calls.
inline const TagItem* nextTagItem(const TagItem*& list) {
    const TagItem* item = list;
    while (item) {
        switch (item->ti_Tag) {
        case TAG_DONE:
            item = nullptr;
            break;
        case TAG_IGNORE:
            ++item;
            break;
        case TAG_MORE:
            item = asPointer<const TagItem*>(item->ti_Data);
            break;
        case TAG_SKIP:
            item += 1 + item->ti_Data;
            break;
        default:
            list = item + 1;
            return item;
        }
    }
    list = nullptr;
    return nullptr;
}

// The pointer that the first item with this tag holds, or null.
template <typename Pointer>
Pointer pointerTag(Tag tag, const TagItem* tags) {
    return asPointer<Pointer>(GetTagData(tag, 0, tags));
}

} // namespace host
