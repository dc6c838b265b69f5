// SPDX-License-Identifier: Zlib
// exec: message ports and signals.
#include "ports.h"

#include <atomic>
#include <csignal>
#include <iterator>
#include <mutex>
#include <new>

#include <poll.h>
#include <proto/exec.h>
#include <pthread.h>

#include "wake.h"

// The signals of one thread.
struct Task {
    uint32 allocated = 0x0000FFFF; // the lower half is the system's
    uint32 received = 0;
    // Waits for signals or is about to.
    bool sleeping = false;
    // Made for the first sleep; null before, and where memory is short.
    host::WakePipe* wake;
};

namespace {

// Guards all ports and tasks.
std::mutex execMutex;
// Without a destructor: where there is no memory to note one, the C library ends the program.
thread_local constinit Task currentTask{};

// The pipe that wakes a thread, which goes with the thread.
host::WakePipe* wakePipe(Task& task) {
    static pthread_key_t key;
    static const bool usable =
        pthread_key_create(&key, [](void* pipe) { delete static_cast<host::WakePipe*>(pipe); }) == 0;
    if (!task.wake && usable) {
        auto* const pipe = new (std::nothrow) host::WakePipe;
        if (pipe && pthread_setspecific(key, pipe) == 0)
            task.wake = pipe;
        else
            delete pipe;
    }
    return task.wake;
}

std::atomic<int> breakRaised{0}; // a word: RISC-V has no atomic exchange of bytes
static_assert(ATOMIC_INT_LOCK_FREE != 0, "set by a signal handler"); // on ARMv5 the kernel sees to it

// Readable after a break, for every thread that waits for one.
host::WakePipe& breakPipe() {
    static host::WakePipe pipe;
    return pipe;
}

void onInterrupt(int) {
    breakRaised = 1;
    breakPipe().wake();
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

// The node is the first member of its message.
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
    breakPipe(); // made before a handler needs it
    std::signal(SIGINT, onInterrupt);
}

void raiseBreak() {
    onInterrupt(SIGINT);
}

} // namespace host

MsgPort* CreateMsgPort() noexcept {
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

void DeleteMsgPort(MsgPort* port) noexcept {
    if (!port)
        return;
    {
        const std::lock_guard lock(execMutex);
        port->mp_SigTask->allocated &= ~(1U << port->mp_SigBit);
    }
    FreeVec(port);
}

void PutMsg(MsgPort* port, Message* message) noexcept {
    const std::lock_guard lock(execMutex);
    addTail(port->mp_MsgList, message->mn_Node);
    Task* const task = port->mp_SigTask;
    if (!task)
        return;
    task->received |= 1U << port->mp_SigBit;
    if (task->sleeping && task->wake)
        task->wake->wake();
}

Message* GetMsg(MsgPort* port) noexcept {
    // Every time and not just when the port is empty: SDL's queue of 128 events would overflow while a
    // program works off a long one of ours.
    host::serviceDisplay();
    return host::takeMessage(*port);
}

void ReplyMsg(Message* message) noexcept {
    if (message->mn_ReplyPort)
        PutMsg(message->mn_ReplyPort, message);
}

namespace {

// Sleeps until something may have happened that Wait() has to look at.
void sleepUntilWoken(Task& task, bool heedBreak, const host::DisplayAttention& display) {
    const int descriptors[] = {task.wake ? task.wake->descriptor() : -1,
                               heedBreak ? breakPipe().descriptor() : -1, display.host.descriptor,
                               display.drawn};
    pollfd sources[std::size(descriptors)];
    for (std::size_t i = 0; i < std::size(descriptors); ++i)
        sources[i] = {descriptors[i], POLLIN, 0}; // poll() skips -1
    host::Attention limit = display.host;
    if (descriptors[0] < 0 || (heedBreak && descriptors[1] < 0))
        limit.within(host::kPollMilliseconds);
    poll(sources, std::size(sources), limit.milliseconds);
}

} // namespace

uint32 Wait(uint32 signals) noexcept {
    Task& task = currentTask;
    wakePipe(task);
    const bool heedBreak = signals & SIGBREAKF_CTRL_C;
    if (heedBreak)
        host::catchBreak();
    for (;;) {
        const host::DisplayAttention display = host::serviceDisplay();
        {
            const std::lock_guard lock(execMutex);
            if (heedBreak && breakRaised.exchange(0) != 0)
                task.received |= static_cast<uint32>(SIGBREAKF_CTRL_C);
            const uint32 got = task.received & signals;
            task.received &= ~got;
            task.sleeping = got == 0;
            if (got)
                return got;
        }
        sleepUntilWoken(task, heedBreak, display);
        if (task.wake)
            task.wake->drain();
        if (heedBreak)
            breakPipe().drain();
    }
}
