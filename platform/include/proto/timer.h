/* SPDX-License-Identifier: Zlib */
/** @file proto/timer.h  The system time. */
#ifndef PROTO_TIMER_H
#define PROTO_TIMER_H

#include <devices/timer.h>
#include <host/call.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Reads the system's clock. Any thread. It may jump when the clock is set. */
void GetSysTime(struct TimeVal* dest) HOST_CALL(GetSysTime);

#ifdef __cplusplus
}
#endif

#endif
