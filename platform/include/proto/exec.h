/* SPDX-License-Identifier: Zlib */
/** @file proto/exec.h  Memory, debug output, message ports and signals. All calls: any thread. */
#ifndef PROTO_EXEC_H
#define PROTO_EXEC_H

#include <dos/dos.h>
#include <exec/memory.h>
#include <exec/ports.h>

/* The C library's own note that the process has never had a second thread, where it keeps one. */
#if defined(__has_include)
#    if __has_include(<sys/single_threaded.h>)
#        include <sys/single_threaded.h>
#        define HOST_HAS_ONE_THREAD __libc_single_threaded
#    endif
#endif
#ifndef HOST_HAS_ONE_THREAD
#    define HOST_HAS_ONE_THREAD 0
#endif

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
void DebugPrintF(const char* format, ...);

/**
 * @param size       bytes; 0 gives NULL
 * @param attributes MEMF_... bits
 * @return memory aligned for any type, or NULL; freed with FreeVec()
 */
APTR AllocVec(uint32 size, uint32 attributes);

/** Frees memory of AllocVec(); NULL is allowed. */
void FreeVec(APTR memory);

/**
 * Keeps other threads out of what they do between Forbid() and Permit(), until the matching Permit(). Calls
 * nest. Meant for a few instructions; the caller must not wait for anything in between.
 */
static inline void Forbid(void);

/** Ends what Forbid() began. */
static inline void Permit(void);

/** @cond What Forbid() and Permit() do when the process has threads to keep out. */
void HOST_Forbid(void);
void HOST_Permit(void);
/** @endcond */

static inline void Forbid(void) {
    if (!HOST_HAS_ONE_THREAD)
        HOST_Forbid();
}

static inline void Permit(void) {
    if (!HOST_HAS_ONE_THREAD)
        HOST_Permit();
}

/** A port of the calling thread with a signal of its own, or NULL. */
struct MsgPort* CreateMsgPort(void);

/** Frees a port and its signal; messages still queued stay with their senders. NULL is allowed. */
void DeleteMsgPort(struct MsgPort* port);

/** Queues a message at the end and raises the port's signal. */
void PutMsg(struct MsgPort* port, struct Message* message);

/** Takes the first message from a port, or gives NULL when it is empty. Never waits. */
struct Message* GetMsg(struct MsgPort* port);

/** Gives a message back to its sender. */
void ReplyMsg(struct Message* message);

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
uint32 Wait(uint32 signals);

#ifdef __cplusplus
}
#endif

#endif
