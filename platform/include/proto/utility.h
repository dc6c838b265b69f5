/* SPDX-License-Identifier: Zlib */
/** @file proto/utility.h  Reading tag lists. */
#ifndef PROTO_UTILITY_H
#define PROTO_UTILITY_H

#include <host/call.h>
#include <utility/tagitem.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The next item that is none of the four control tags, or NULL at the end.
 * @param list where to read on; moved behind the item returned, NULL after the last
 */
const struct TagItem* NextTagItem(const struct TagItem** list) HOST_CALL(NextTagItem);

/** The first item with this tag, or NULL. A NULL list is empty. */
const struct TagItem* FindTagItem(Tag tag, const struct TagItem* list) HOST_CALL(FindTagItem);

/** The data of the first item with this tag, or `fallback`. */
TagData GetTagData(Tag tag, TagData fallback, const struct TagItem* list) HOST_CALL(GetTagData);

#ifdef __cplusplus
}
#endif

#endif
