// SPDX-License-Identifier: Zlib
// The provider's records of layers, and drawing along their pieces.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <graphics/layers.h>
#include <graphics/rastport.h>

#include "bitmap.h"
#include "geometry.h"

namespace host {

struct LayerRecord;

struct PieceRecord : ClipRect {
    // Owns `BitMap` of a covered piece of a smart-refresh layer.
    BitMapPtr backing;
};

using Pieces = std::vector<std::unique_ptr<PieceRecord>>;

struct LayerInfoRecord : Layer_Info {
    std::mutex mutex;
    // From front to back.
    std::vector<LayerRecord*> order;

    LayerInfoRecord() : Layer_Info{} {}
    ~LayerInfoRecord();
};

struct LayerRecord : Layer {
    std::recursive_mutex mutex;
    RastPort rastPort{};
    // Own the lists that ClipRect and DamageList point at.
    Pieces pieces;
    Region damage{};
    std::vector<RegionRectangle> damaged;
    // The pieces, while an update shows the damaged ones only.
    Pieces setAside;
    // There was no memory to show the damaged ones.
    bool updateFailed = false;

    bool simple() const { return Flags & LAYERSIMPLE; }
    bool super() const { return Flags & LAYERSUPER; }
    Box box() const { return toBox(bounds); }
};

inline LayerRecord& record(Layer* layer) {
    return *static_cast<LayerRecord*>(layer);
}

// The bitmap on which the layer's visible pieces stand.
inline BitMapRecord& screenOf(const LayerRecord& layer) {
    return record(layer.rastPort.BitMap);
}

// What to draw for one piece of a request: `target` is where the piece is kept, `area` the piece on that
// bitmap, and (dx, dy) the way from the request's top-left corner to the piece's. Refers to the function that
// it is made of.
class DrawPiece {
public:
    template <typename Function>
    DrawPiece(const Function& function) // NOLINT(google-explicit-constructor): made by a call
        : function_(&function),
          call_([](const void* f, BitMapRecord& target, const Box& area, long dx, long dy) {
              (*static_cast<const Function*>(f))(target, area, dx, dy);
          }) {}
    void operator()(BitMapRecord& target, const Box& area, long dx, long dy) const {
        call_(function_, target, area, dx, dy);
    }

private:
    const void* function_;
    void (*call_)(const void* function, BitMapRecord& target, const Box& area, long dx, long dy);
};

// Splits a request, in the rastport's coordinates, along the layer's pieces, the layer being locked.
void drawThrough(RastPort& rp, const Box& request, const DrawPiece& draw) noexcept;

// The bitmap that holds a piece's pixels, and the piece on it; no bitmap: they are not kept.
struct Place {
    BitMapRecord* bitmap;
    Box area;
};
Place placeOf(const LayerRecord& layer, const ClipRect& piece);

// Makes pieces the layer's own, and gives back those that it had.
void install(LayerRecord& layer, Pieces& pieces) noexcept;

// Brings DamageList and LAYERREFRESH up to date with `damaged`.
void linkDamage(LayerRecord& layer) noexcept;

// Brings the layers into a new order and `changed` to new bounds; a layer that is new in the order or missing
// from it appears or goes. All memory is had before the first change: failure, or an exception, changes
// nothing.
bool arrange(LayerInfoRecord& li, std::vector<LayerRecord*> order, LayerRecord& changed, const Box& bounds);

// Frees a layer where there is no memory to show what it covers. That stays hidden until the layers change
// again.
void discardLayer(LayerRecord& layer) noexcept;

} // namespace host
