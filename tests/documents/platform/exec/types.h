/* SPDX-License-Identifier: Zlib */
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef int16_t int16;
typedef int32_t int32;
typedef uint8_t uint8;
typedef uint16_t uint16;
typedef uint32_t uint32;
typedef int16 BOOL;
typedef void* APTR;
typedef const char* CONST_STRPTR;

#define TRUE 1
#define FALSE 0
