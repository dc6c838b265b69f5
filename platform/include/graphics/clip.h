/* SPDX-License-Identifier: Zlib */
/** @file graphics/clip.h  Layers and their clip rectangles. */
#ifndef GRAPHICS_CLIP_H
#define GRAPHICS_CLIP_H

#include <graphics/gfx.h>

struct Layer;
struct Layer_Info;
struct RastPort;

/**
 * One piece of a layer. The pieces of a layer do not overlap and together fill its bounds.
 *
 * `lobs` is NULL for a visible piece, else the layer (or the bitmap's outside, for which a record of no
 * layer stands) that covers it. A covered piece of a smart-refresh layer has its own `BitMap`, in which the
 * piece starts at column `bounds.MinX & 15`, row 0; one of a super-bitmap layer has the layer's bitmap.
 */
struct ClipRect {
    struct ClipRect* Next;
    struct Layer* lobs;
    struct BitMap* BitMap;
    /** On the screen's bitmap. */
    struct Rectangle bounds;
};

/** One rectangle of a region. */
struct RegionRectangle {
    struct RegionRectangle* Next;
    /** In pixels from the layer's top-left corner. */
    struct Rectangle bounds;
};

/** A set of rectangles that do not overlap; empty when the list is NULL. */
struct Region {
    struct RegionRectangle* RegionRectangle;
};

/** A rectangular area of a bitmap that other layers may cover. Locked with LockLayerRom() while walked. */
struct Layer {
    /** Next layers to the front and to the back; NULL at the ends. */
    struct Layer *front, *back;
    struct ClipRect* ClipRect;
    struct RastPort* rp;
    struct Rectangle bounds;
    /** LAYER... bits, see graphics/layers.h. */
    uint16 Flags;
    /** The layer pixel that stands at the top-left corner. */
    int16 Scroll_X, Scroll_Y;
    struct BitMap* SuperBitMap;
    struct Layer_Info* LayerInfo;
    /** Areas of a simple-refresh layer whose pixels were lost; see BeginUpdate(). */
    struct Region* DamageList;
};

#endif
