// SPDX-License-Identifier: Zlib
// exec: message ports and signals.
#include "ports.h"

#include <proto/exec.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>

/** The signals of one thread. */
struct Task {
    uint32 allocated = 0x0000FFFF; // the lower half is the system's
    uint32 received = 0;
};

namespace {

/** Guards all ports and tasks. */
std::mutex execMutex;
std::condition_variable signalled;
thread_local Task currentTask;

/** Between two looks at the host's input and at Ctrl-C, neither of which can wake a condition variable. */
constexpr std::chrono::milliseconds pollInterval{5};

std::atomic<bool> breakRaised{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void onInterrupt(int) {
    breakRaised = true;
}

bool isEmpty(const List& list) {
    return list.lh_Head.ln_Succ == &list.lh_Head;
}

void addTail(List& list, Node& node) {
    node.ln_Succ = &list.lh_Head;
    node.ln_Pred = list.lh_Head.ln_Pred;
    node.ln_Pred->ln_Succ = &node;
    list.lh_Head.ln_Pred = &node;
}

void remove(Node& node) {
    node.ln_Pred->ln_Succ = node.ln_Succ;
    node.ln_Succ->ln_Pred = node.ln_Pred;
}

/** The node is the first member of its message. */
Message* messageOf(Node* node) {
    return reinterpret_cast<Message*>(node);
}

} // namespace

namespace host {

void initPort(MsgPort& port, Task* task, uint8 signalBit) {
    port.mp_SigBit = signalBit;
    port.mp_SigTask = task;
    port.mp_MsgList.lh_Head.ln_Succ = port.mp_MsgList.lh_Head.ln_Pred = &port.mp_MsgList.lh_Head;
}

Message* takeMessage(MsgPort& port) {
    const std::lock_guard lock(execMutex);
    if (isEmpty(port.mp_MsgList))
        return nullptr;
    Node* const node = port.mp_MsgList.lh_Head.ln_Succ;
    remove(*node);
    return messageOf(node);
}

Message* lastMessage(MsgPort& port) {
    const std::lock_guard lock(execMutex);
    return isEmpty(port.mp_MsgList) ? nullptr : messageOf(port.mp_MsgList.lh_Head.ln_Pred);
}

void catchBreak() {
    std::signal(SIGINT, onInterrupt);
}

void raiseBreak() {
    breakRaised = true;
}

} // namespace host

MsgPort* CreateMsgPort() {
    auto* const port = static_cast<MsgPort*>(AllocVec(sizeof(MsgPort), MEMF_ANY));
    if (!port)
        return nullptr;
    const std::lock_guard lock(execMutex);
    uint8 bit = 0;
    while (bit < 32 && currentTask.allocated >> bit & 1)
        ++bit;
    if (bit == 32) {
        FreeVec(port);
        return nullptr;
    }
    currentTask.allocated |= 1U << bit;
    currentTask.received &= ~(1U << bit);
    host::initPort(*port, &currentTask, bit);
    return port;
}

void DeleteMsgPort(MsgPort* port) {
    if (!port)
        return;
    {
        const std::lock_guard lock(execMutex);
        port->mp_SigTask->allocated &= ~(1U << port->mp_SigBit);
    }
    FreeVec(port);
}

void PutMsg(MsgPort* port, Message* message) {
    const std::lock_guard lock(execMutex);
    addTail(port->mp_MsgList, message->mn_Node);
    if (port->mp_SigTask)
        port->mp_SigTask->received |= 1U << port->mp_SigBit;
    signalled.notify_all();
}

Message* GetMsg(MsgPort* port) {
    // Every time and not just when the port is empty: SDL's queue of 128 events would overflow while a
    // program works off a long one of ours.
    host::serviceDisplay();
    return host::takeMessage(*port);
}

void ReplyMsg(Message* message) {
    if (message->mn_ReplyPort)
        PutMsg(message->mn_ReplyPort, message);
}

uint32 Wait(uint32 signals) {
    if (signals & SIGBREAKF_CTRL_C)
        host::catchBreak();
    for (;;) {
        host::serviceDisplay();
        std::unique_lock lock(execMutex);
        if ((signals & SIGBREAKF_CTRL_C) && breakRaised.exchange(false))
            currentTask.received |= static_cast<uint32>(SIGBREAKF_CTRL_C);
        if (const uint32 got = currentTask.received & signals) {
            currentTask.received &= ~got;
            return got;
        }
        signalled.wait_for(lock, pollInterval);
    }
}
