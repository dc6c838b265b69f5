// SPDX-License-Identifier: Zlib
#include "blit.c"
