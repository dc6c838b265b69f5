// SPDX-License-Identifier: Zlib
#include "blt_family.h"

ORMSEL_ROUTINE(R8G8B8, R5G6B5)
