// SPDX-License-Identifier: Zlib
// exec: debug output. Needs neither heap nor C++ runtime: it tells of memory that has run out, too.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <host/debug.h>
#include <proto/exec.h>
#include <pthread.h>

namespace {

// Longer texts end in an ellipsis.
constexpr int kLongestText = 1023;

// Where texts go, and what keeps it from changing while one is on its way.
struct Output {
    pthread_mutex_t mutex;
    void (*sink)(const char* text, void* user);
    void* user;
};
Output output = {PTHREAD_MUTEX_INITIALIZER, nullptr, nullptr};

} // namespace

void HOST_SetDebugSink(void (*sink)(const char* text, void* user), void* user) noexcept {
    pthread_mutex_lock(&output.mutex);
    output.sink = sink;
    output.user = user;
    pthread_mutex_unlock(&output.mutex);
}

void DebugPrintF(const char* format, ...) noexcept {
    char text[kLongestText + 1];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length < 0)
        return;
    if (length > kLongestText)
        std::snprintf(text + kLongestText - 4, 5, "...\n");

    pthread_mutex_lock(&output.mutex);
    if (output.sink)
        output.sink(text, output.user);
    else
        std::fwrite(text, 1, std::strlen(text), stderr);
    pthread_mutex_unlock(&output.mutex);
}
