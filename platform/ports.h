// SPDX-License-Identifier: Zlib
// What other components need of message ports and signals.
#pragma once

#include <exec/ports.h>

namespace host {

// Makes an empty port. Without a task it raises no signal.
void initPort(MsgPort& port, Task* task, uint8 signalBit);

// Takes the first message without looking at the host's input; null when there is none.
Message* takeMessage(MsgPort& port);

// The last message in the queue, or null. It stays there while no one else takes messages.
Message* lastMessage(MsgPort& port);

// From now on SIGINT raises the break signal. May be called again.
void catchBreak();

// Raises the break signal, as Ctrl-C does.
void raiseBreak();

// What ends a sleep besides signals: a descriptor that becomes readable (-1: none), and so many milliseconds
// (-1: no end).
struct Attention {
    int descriptor = -1;
    int milliseconds = -1;

    void within(int limit) {
        if (milliseconds < 0 || limit < milliseconds)
            milliseconds = limit;
    }
};

// Between two looks at what cannot wake a sleeper.
constexpr int kPollMilliseconds = 5;

// What the thread that uses the display has to heed while it sleeps.
struct DisplayAttention {
    Attention host;
    // Other threads that draw on a screen make it readable.
    int drawn = -1;
};

// Brings the host's input to the windows and shows what was drawn. Does nothing on other threads than the one
// that uses the display. Part of the intuition component.
DisplayAttention serviceDisplay() noexcept;

} // namespace host
