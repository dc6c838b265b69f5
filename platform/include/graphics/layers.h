/* SPDX-License-Identifier: Zlib */
/** @file graphics/layers.h  Kinds of layers. */
#ifndef GRAPHICS_LAYERS_H
#define GRAPHICS_LAYERS_H

#include <graphics/clip.h>

/** Covered pieces are not kept; uncovered ones are damaged and cleared. */
#define LAYERSIMPLE 1
/** Covered pieces are kept in bitmaps of their own. */
#define LAYERSMART 2
/** The whole layer has a bitmap of its own (LAYERSUPER | LAYERSMART is the same). */
#define LAYERSUPER 4
/** Stays behind all layers that lack this bit. */
#define LAYERBACKDROP 0x40
/** Set while DamageList holds something. */
#define LAYERREFRESH 0x80

/** The layers of one bitmap. */
struct Layer_Info {
    /** The frontmost layer. */
    struct Layer* top_layer;
};

#endif
