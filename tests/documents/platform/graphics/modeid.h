/* SPDX-License-Identifier: Zlib */
#pragma once

#define BIDTAG_NominalWidth (TAG_USER + 4)
#define BIDTAG_NominalHeight (TAG_USER + 5)
#define BIDTAG_Depth (TAG_USER + 8)
