/* SPDX-License-Identifier: Zlib */
#pragma once

#define MEMF_SHARED 0x00000001UL
#define MEMF_CLEAR 0x00010000UL
