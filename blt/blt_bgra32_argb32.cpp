// SPDX-License-Identifier: Zlib
#include "blt_family.h"

ORMSEL_ROUTINE(B8G8R8A8, A8R8G8B8)
