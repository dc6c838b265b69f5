// SPDX-License-Identifier: Zlib
//
// The one thing that the library's blits by SDL's rules want of the platform: a line of debug output.
#include <cstdarg>
#include <cstdio>

#include <proto/exec.h>

void DebugPrintF(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}
