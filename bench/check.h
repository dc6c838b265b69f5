// SPDX-License-Identifier: Zlib
//
// What the library promises about its speed, and whether a measurement keeps it.
#pragma once

#include "bench/report.h"

namespace bench {

// Prints every promise with the ratio needed and the ratio seen; the number of promises not met.
int printCheck(const Report& report);

// Prints the rows that are slower than in an older report by more than their noise; their number. Compared is
// the share of the limit (for calls, the ratio to SDL 1.2), so that another clock or load doesn't count.
int printComparison(const Report& old, const Report& now);

} // namespace bench
