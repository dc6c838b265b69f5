// SPDX-License-Identifier: Zlib
/** @file layers.h  The provider's records of layers, and drawing along their pieces. */
#ifndef PLATFORM_LAYERS_H
#define PLATFORM_LAYERS_H

#include <graphics/layers.h>
#include <graphics/rastport.h>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "bitmap.h"
#include "geometry.h"

namespace host {

struct LayerRecord;

struct PieceRecord : ClipRect {
    /** Owns `BitMap` of a covered piece of a smart-refresh layer. */
    BitMapPtr backing;
};

using Pieces = std::vector<std::unique_ptr<PieceRecord>>;

struct LayerInfoRecord : Layer_Info {
    std::mutex mutex;
    /** From front to back. */
    std::vector<LayerRecord*> order;

    LayerInfoRecord() : Layer_Info{} {}
    ~LayerInfoRecord();
};

struct LayerRecord : Layer {
    std::recursive_mutex mutex;
    RastPort rastPort{};
    /** Own the lists that ClipRect and DamageList point at. */
    Pieces pieces;
    Region damage{};
    std::vector<RegionRectangle> damaged;
    /** The pieces, while an update shows the damaged ones only. */
    Pieces setAside;

    bool simple() const { return Flags & LAYERSIMPLE; }
    bool super() const { return Flags & LAYERSUPER; }
    Box box() const { return toBox(bounds); }
};

inline LayerRecord& record(Layer* layer) {
    return *static_cast<LayerRecord*>(layer);
}

/**
 * What to draw for one piece of a request.
 * @param target where the piece is kept
 * @param area   the piece, on that bitmap
 * @param dx,dy  of the piece's top-left corner from the request's
 */
using DrawPiece = std::function<void(BitMapRecord& target, const Box& area, long dx, long dy)>;

/** Splits a request, in the rastport's coordinates, along the layer's pieces, the layer being locked. */
void drawThrough(RastPort& rp, const Box& request, const DrawPiece& draw);

} // namespace host

#endif
