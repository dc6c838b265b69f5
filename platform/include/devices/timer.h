/* SPDX-License-Identifier: Zlib */
/** @file devices/timer.h  Times. */
#ifndef DEVICES_TIMER_H
#define DEVICES_TIMER_H

#include <exec/types.h>

struct TimeVal {
    uint32 Seconds;
    /** 0 to 999999. */
    uint32 Microseconds;
};

#endif
