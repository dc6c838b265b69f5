// SPDX-License-Identifier: Zlib
#include "blt_family.h"

ORMSEL_ROUTINE(B8G8R8A8, R5G6B5)
