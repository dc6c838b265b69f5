/* SPDX-License-Identifier: Zlib */
/**
 * @file utility/tagitem.h
 * @brief Tag lists: arguments as pairs of a number and a value.
 *
 * A value is as wide as a pointer, so that lists work on 64-bit hosts too.
 */
#ifndef UTILITY_TAGITEM_H
#define UTILITY_TAGITEM_H

#include <exec/types.h>

typedef uint32 Tag;
typedef uintptr_t TagData;

struct TagItem {
    Tag ti_Tag;
    TagData ti_Data;
};

/** Ends the list. */
#define TAG_DONE 0U
#define TAG_END TAG_DONE
/** Skips this item. */
#define TAG_IGNORE 1U
/** The list goes on at the item that ti_Data points at; NULL ends it. */
#define TAG_MORE 2U
/** Skips this item and the next ti_Data ones. */
#define TAG_SKIP 3U
/** Tags of the system's and programs' own begin here. */
#define TAG_USER 0x80000000U

#endif
