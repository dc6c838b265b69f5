/* SPDX-License-Identifier: Zlib */
#pragma once

#include <exec/types.h>

struct Message {
    struct MsgPort* mn_ReplyPort;
};

struct MsgPort {
    uint8 mp_SigBit;
};
