// SPDX-License-Identifier: Zlib
#include "blt_family.h"

ORMSEL_ROUTINE(A8B8G8R8, A8R8G8B8)
