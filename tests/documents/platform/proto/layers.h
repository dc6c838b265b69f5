/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/layers.h>

#ifdef __cplusplus
extern "C" {
#endif

void LockLayerRom(struct Layer* layer);
void UnlockLayerRom(struct Layer* layer);

#ifdef __cplusplus
}
#endif
