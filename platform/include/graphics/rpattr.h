/* SPDX-License-Identifier: Zlib */
/** @file graphics/rpattr.h  The tags of SetRPAttrs(). */
#ifndef GRAPHICS_RPATTR_H
#define GRAPHICS_RPATTR_H
#include <graphics/rastport.h>
#endif
