// SPDX-License-Identifier: Zlib
/** @file ports.h  What other components need of message ports and signals. */
#ifndef PLATFORM_PORTS_H
#define PLATFORM_PORTS_H

#include <exec/ports.h>

namespace host {

/** Makes an empty port. Without a task it raises no signal. */
void initPort(MsgPort& port, Task* task, uint8 signalBit);

/** Takes the first message without looking at the host's input; NULL when there is none. */
Message* takeMessage(MsgPort& port);

/** The last message in the queue, or NULL. It stays there while no one else takes messages. */
Message* lastMessage(MsgPort& port);

/** From now on SIGINT raises the break signal. May be called again. */
void catchBreak();

/** Raises the break signal, as Ctrl-C does. */
void raiseBreak();

/**
 * Brings the host's input to the windows and shows what was drawn. Does nothing on other threads than the
 * one that uses the display. Part of the intuition component.
 */
void serviceDisplay();

} // namespace host

#endif
