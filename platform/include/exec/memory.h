/* SPDX-License-Identifier: Zlib */
/** @file exec/memory.h  Attributes of AllocVec(). */
#ifndef EXEC_MEMORY_H
#define EXEC_MEMORY_H

#define MEMF_ANY 0x00000000UL
/** Any task may use the memory; always so on a desktop host. */
#define MEMF_SHARED 0x00000001UL
/** Fill the memory with zeroes. */
#define MEMF_CLEAR 0x00010000UL

#endif
