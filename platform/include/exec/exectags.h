/* SPDX-License-Identifier: Zlib */
/** @file exec/exectags.h  Tags of GetCPUInfoTags(). */
#ifndef EXEC_EXECTAGS_H
#define EXEC_EXECTAGS_H

#include <utility/tagitem.h>

/** The processor's vector unit, a VECTORTYPE_... number. */
#define GCIT_VectorUnit (TAG_USER + 12)

#define VECTORTYPE_NONE 0U
#define VECTORTYPE_ALTIVEC 1U

#endif
