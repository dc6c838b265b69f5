/* SPDX-License-Identifier: Zlib */
/** @file exec/ports.h  Message ports. */
#ifndef EXEC_PORTS_H
#define EXEC_PORTS_H

#include <exec/lists.h>
#include <exec/types.h>

struct Task;

/** A queue of messages. A message that arrives raises the signal `1 << mp_SigBit` of `mp_SigTask`. */
struct MsgPort {
    uint8 mp_SigBit;
    struct Task* mp_SigTask;
    struct List mp_MsgList;
};

/** Head of every message. ReplyMsg() sends it on to `mn_ReplyPort`; NULL: nobody waits for it. */
struct Message {
    struct Node mn_Node;
    struct MsgPort* mn_ReplyPort;
    uint16 mn_Length;
};

#endif
