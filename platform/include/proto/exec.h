/* SPDX-License-Identifier: Zlib */
/** @file proto/exec.h  Memory, debug output, message ports and signals. All calls: any thread. */
#ifndef PROTO_EXEC_H
#define PROTO_EXEC_H

#include <dos/dos.h>
#include <exec/exectags.h>
#include <exec/memory.h>
#include <exec/ports.h>
#include <host/call.h>
#include <host/tagcall.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes text to the debug output: the standard error of a desktop host.
 * @param format as of printf
 */
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void DebugPrintF(const char* format, ...) HOST_CALL(DebugPrintF);

/**
 * @param size       bytes; 0 gives NULL
 * @param attributes MEMF_... bits
 * @return memory aligned for any type, or NULL; freed with FreeVec()
 */
APTR AllocVec(uint32 size, uint32 attributes) HOST_CALL(AllocVec);

/** Frees memory of AllocVec(); NULL is allowed. */
void FreeVec(APTR memory) HOST_CALL(FreeVec);

/**
 * Tells of the processor.
 * @param tags for each GCIT_... tag where to put what it asks for; others are passed over
 */
void GetCPUInfo(const struct TagItem* tags) HOST_CALL(GetCPUInfo);

#define GetCPUInfoTags(...) GetCPUInfo(HOST_TAGLIST(__VA_ARGS__))

/** A port of the calling thread with a signal of its own, or NULL. */
struct MsgPort* CreateMsgPort(void) HOST_CALL(CreateMsgPort);

/** Frees a port and its signal; messages still queued stay with their senders. NULL is allowed. */
void DeleteMsgPort(struct MsgPort* port) HOST_CALL(DeleteMsgPort);

/** Queues a message at the end and raises the port's signal. */
void PutMsg(struct MsgPort* port, struct Message* message) HOST_CALL(PutMsg);

/** Takes the first message from a port, or gives NULL when it is empty. Never waits. */
struct Message* GetMsg(struct MsgPort* port) HOST_CALL(GetMsg);

/** Gives a message back to its sender. */
void ReplyMsg(struct Message* message) HOST_CALL(ReplyMsg);

/**
 * Sleeps until at least one of the signals has been raised since the last Wait() that returned it.
 *
 * The host's input reaches the ports of windows from here and from GetMsg(), on the thread that opened the
 * window; what was drawn is shown from the same places.
 *
 * @param signals the signals to wait for, `1UL << port->mp_SigBit` and SIGBREAKF_CTRL_C; the break signal
 *                reaches the first thread that waits for it
 * @return those of them that were raised; they are lowered again
 */
uint32 Wait(uint32 signals) HOST_CALL(Wait);

#ifdef __cplusplus
}
#endif

#endif
