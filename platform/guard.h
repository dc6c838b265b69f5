// SPDX-License-Identifier: Zlib
// No call of the platform's throws.
#pragma once

#include <exception>

namespace host {

// Does a call's work. Memory that runs out meanwhile is the call's failure; the work must have undone what it
// did by then.
template <typename Result, typename Work>
Result orFail(Result failure, Work work) noexcept {
    try {
        return work();
    } catch (const std::exception&) {
        return failure;
    }
}

} // namespace host
