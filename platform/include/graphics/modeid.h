/* SPDX-License-Identifier: Zlib */
/** @file graphics/modeid.h  Display modes. */
#ifndef GRAPHICS_MODEID_H
#define GRAPHICS_MODEID_H

#include <utility/tagitem.h>

#define INVALID_ID 0xFFFFFFFFU

/** @name Tags of BestModeID() @{ */
#define BIDTAG_NominalWidth (TAG_USER + 4)
#define BIDTAG_NominalHeight (TAG_USER + 5)
#define BIDTAG_Depth (TAG_USER + 8)
/** @} */

#endif
