/* SPDX-License-Identifier: Zlib */
#pragma once

#include <exec/types.h>

struct TimeVal {
    uint32 Seconds;
    uint32 Microseconds;
};
