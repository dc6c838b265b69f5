/* SPDX-License-Identifier: Zlib */
/** @file exec/types.h  The platform's basic types. */
#ifndef EXEC_TYPES_H
#define EXEC_TYPES_H

#include <stddef.h>
#include <stdint.h>

typedef int8_t int8;
typedef uint8_t uint8;
typedef int16_t int16;
typedef uint16_t uint16;
typedef int32_t int32;
typedef uint32_t uint32;

typedef void* APTR;
typedef const char* CONST_STRPTR;
/** Truth value of 16 bits. */
typedef int16 BOOL;

#ifndef TRUE
#    define TRUE 1
#endif
#ifndef FALSE
#    define FALSE 0
#endif

#endif
