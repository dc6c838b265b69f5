/* SPDX-License-Identifier: Zlib */
#pragma once

#include <exec/types.h>

struct TagItem {
    uint32 ti_Tag;
    uintptr_t ti_Data;
};

#define TAG_DONE 0U
#define TAG_USER 0x80000000U
