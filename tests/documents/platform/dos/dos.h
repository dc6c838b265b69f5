/* SPDX-License-Identifier: Zlib */
#pragma once

#define SIGBREAKF_CTRL_C 0x1000UL
