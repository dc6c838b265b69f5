// SPDX-License-Identifier: Zlib
// utility: tag lists.
#include "tags.h"

const TagItem* NextTagItem(const TagItem** list) noexcept {
    const TagItem* item = *list;
    while (item) {
        switch (item->ti_Tag) {
        case TAG_DONE:
            item = nullptr;
            break;
        case TAG_IGNORE:
            ++item;
            break;
        case TAG_MORE:
            item = host::asPointer<const TagItem*>(item->ti_Data);
            break;
        case TAG_SKIP:
            item += 1 + item->ti_Data;
            break;
        default:
            *list = item + 1;
            return item;
        }
    }
    *list = nullptr;
    return nullptr;
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
