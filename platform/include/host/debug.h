/* SPDX-License-Identifier: Zlib */
/** @file host/debug.h  Where the debug output goes; an extension of the host's. */
#ifndef HOST_DEBUG_H
#define HOST_DEBUG_H

#include <host/call.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sends the debug output to `sink`, one call per DebugPrintF(); NULL: to standard error again.
 *
 * Any thread. Calls of the sink exclude one another; the sink must not use the debug output itself. When
 * HOST_SetDebugSink() returns, the sink before it is not running any more.
 *
 * @param sink takes a text that lasts until it returns; in C++ it must not throw
 * @param user handed on to the sink
 */
void HOST_SetDebugSink(void (*sink)(const char* text, void* user), void* user) HOST_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
