// SPDX-License-Identifier: Zlib
// utility: tag lists.
#include "tags.h"

const TagItem* NextTagItem(const TagItem** list) noexcept {
    return host::nextTagItem(*list);
}

const TagItem* FindTagItem(Tag tag, const TagItem* list) noexcept {
    while (const TagItem* const item = NextTagItem(&list))
        if (item->ti_Tag == tag)
            return item;
    return nullptr;
}

TagData GetTagData(Tag tag, TagData fallback, const TagItem* list) noexcept {
    const TagItem* const item = FindTagItem(tag, list);
    return item ? item->ti_Data : fallback;
}
