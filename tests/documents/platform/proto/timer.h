/* SPDX-License-Identifier: Zlib */
#pragma once

#include <devices/timer.h>

#ifdef __cplusplus
extern "C" {
#endif

void GetSysTime(struct TimeVal* dest);

#ifdef __cplusplus
}
#endif
