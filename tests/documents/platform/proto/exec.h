/* SPDX-License-Identifier: Zlib */
#pragma once

#include <dos/dos.h>
#include <exec/memory.h>
#include <exec/ports.h>

#ifdef __cplusplus
extern "C" {
#endif

void DebugPrintF(const char* format, ...);
APTR AllocVec(uint32 size, uint32 attributes);
void FreeVec(APTR memory);
struct Message* GetMsg(struct MsgPort* port);
void ReplyMsg(struct Message* message);
uint32 Wait(uint32 signals);

#ifdef __cplusplus
}
#endif
