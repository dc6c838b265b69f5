// SPDX-License-Identifier: Zlib
// Layers: the platform's calls, and drawing along a layer's pieces.
#include "layers.h"

#include <limits>
#include <new>

#include <proto/layers.h>

#include "guard.h"

namespace host {

Place placeOf(const LayerRecord& layer, const ClipRect& piece) {
    const Box box = toBox(piece.bounds);
    if (!piece.lobs)
        return {&screenOf(layer), box};
    if (layer.simple())
        return {nullptr, {}};
    if (layer.super())
        return {&record(layer.SuperBitMap),
                box.moved(layer.Scroll_X - layer.bounds.MinX, layer.Scroll_Y - layer.bounds.MinY)};
    return {&record(piece.BitMap), Box::sized(piece.bounds.MinX & 15, 0, box.width(), box.height())};
}

void install(LayerRecord& layer, Pieces& pieces) noexcept {
    layer.pieces.swap(pieces);
    layer.ClipRect = layer.pieces.empty() ? nullptr : layer.pieces.front().get();
}

void linkDamage(LayerRecord& layer) noexcept {
    auto& all = layer.damaged;
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].Next = i + 1 < all.size() ? &all[i + 1] : nullptr;
    layer.damage.RegionRectangle = all.empty() ? nullptr : all.data();
    layer.Flags = static_cast<uint16>(all.empty() ? layer.Flags & ~LAYERREFRESH : layer.Flags | LAYERREFRESH);
}

namespace {

// Where a layer belongs to be the frontmost, or the backmost, of its kind.
std::vector<LayerRecord*> ordered(const LayerInfoRecord& li, LayerRecord& layer, bool atFront) {
    std::vector<LayerRecord*> order = li.order;
    std::erase(order, &layer);
    const auto backdrops = std::find_if(order.begin(), order.end(),
                                        [](const LayerRecord* l) { return l->Flags & LAYERBACKDROP; });
    const bool backdrop = layer.Flags & LAYERBACKDROP;
    order.insert(atFront ? (backdrop ? backdrops : order.begin()) : (backdrop ? order.end() : backdrops),
                 &layer);
    return order;
}

bool fits16(long v) {
    return v >= std::numeric_limits<int16>::min() && v <= std::numeric_limits<int16>::max();
}

bool fits16(const Box& b) {
    return fits16(b.x0) && fits16(b.y0) && fits16(b.x1 - 1) && fits16(b.y1 - 1);
}

LayerInfoRecord& infoOf(LayerRecord& layer) {
    return *static_cast<LayerInfoRecord*>(layer.LayerInfo);
}

Layer* createLayer(Layer_Info* li, BitMap* bitmap, const Box& box, uint32 flags, BitMap* super,
                   bool atFront) {
    const bool wantsSuper = flags & LAYERSUPER;
    if (!box || !fits16(box) || wantsSuper != (super != nullptr))
        return nullptr;
    return orFail<Layer*>(nullptr, [&]() -> Layer* {
        auto layer = std::make_unique<LayerRecord>();
        layer->rastPort.Layer = layer.get();
        layer->rastPort.BitMap = bitmap;
        layer->rp = &layer->rastPort;
        layer->bounds = toRectangle(box);
        layer->Flags = static_cast<uint16>(flags & (LAYERSIMPLE | LAYERSMART | LAYERSUPER | LAYERBACKDROP));
        layer->SuperBitMap = super;
        layer->LayerInfo = li;
        layer->DamageList = &layer->damage;
        auto& info = static_cast<LayerInfoRecord&>(*li);
        const std::lock_guard lock(info.mutex);
        if (!arrange(info, ordered(info, *layer, atFront), *layer, box))
            return nullptr;
        return layer.release();
    });
}

int32 reorder(LayerRecord& layer, bool atFront) {
    return orFail(FALSE, [&]() -> int32 {
        LayerInfoRecord& li = infoOf(layer);
        const std::lock_guard lock(li.mutex);
        return arrange(li, ordered(li, layer, atFront), layer, layer.box());
    });
}

// Copies of a layer's visible pieces, cut to the damaged areas.
Pieces damagedPieces(const LayerRecord& layer) {
    Pieces result;
    for (const auto& piece : layer.pieces) {
        for (const RegionRectangle& area : layer.damaged) {
            const Box part =
                toBox(piece->bounds) & toBox(area.bounds).moved(layer.bounds.MinX, layer.bounds.MinY);
            if (piece->lobs || !part)
                continue;
            auto copied = std::make_unique<PieceRecord>();
            copied->bounds = toRectangle(part);
            if (!result.empty())
                result.back()->Next = copied.get();
            result.push_back(std::move(copied));
        }
    }
    return result;
}

} // namespace

LayerInfoRecord::~LayerInfoRecord() {
    for (LayerRecord* layer : order)
        delete layer;
}

void drawThrough(RastPort& rp, const Box& request, const DrawPiece& draw) noexcept {
    if (!rp.Layer) {
        draw(record(rp.BitMap), request, 0, 0);
        return;
    }
    LayerRecord& layer = record(rp.Layer);
    const std::lock_guard lock(layer.mutex);
    const Box onScreen =
        request.moved(layer.bounds.MinX - layer.Scroll_X, layer.bounds.MinY - layer.Scroll_Y);
    for (const ClipRect* piece = layer.ClipRect; piece; piece = piece->Next) {
        const Box part = onScreen & toBox(piece->bounds);
        const Place place = placeOf(layer, *piece);
        if (!part || !place.bitmap)
            continue;
        const Box area = part.moved(place.area.x0 - piece->bounds.MinX, place.area.y0 - piece->bounds.MinY);
        draw(*place.bitmap, area, part.x0 - onScreen.x0, part.y0 - onScreen.y0);
    }
}

} // namespace host

using namespace host;

Layer_Info* NewLayerInfo() noexcept {
    return new (std::nothrow) LayerInfoRecord();
}

void DisposeLayerInfo(Layer_Info* li) noexcept {
    delete static_cast<LayerInfoRecord*>(li);
}

Layer* CreateUpfrontLayer(Layer_Info* li, BitMap* bitmap, int32 x0, int32 y0, int32 x1, int32 y1,
                          uint32 flags, BitMap* super) noexcept {
    return createLayer(li, bitmap, {x0, y0, x1 + 1L, y1 + 1L}, flags, super, true);
}

Layer* CreateBehindLayer(Layer_Info* li, BitMap* bitmap, int32 x0, int32 y0, int32 x1, int32 y1, uint32 flags,
                         BitMap* super) noexcept {
    return createLayer(li, bitmap, {x0, y0, x1 + 1L, y1 + 1L}, flags, super, false);
}

int32 DeleteLayer(int32, Layer* which) noexcept {
    LayerRecord& layer = record(which);
    const int32 gone = orFail(FALSE, [&]() -> int32 {
        LayerInfoRecord& li = infoOf(layer);
        const std::lock_guard lock(li.mutex);
        std::vector<LayerRecord*> order = li.order;
        std::erase(order, &layer);
        return arrange(li, std::move(order), layer, layer.box());
    });
    if (gone)
        delete &layer;
    return gone;
}

int32 UpfrontLayer(int32, Layer* layer) noexcept {
    return reorder(record(layer), true);
}

int32 BehindLayer(int32, Layer* layer) noexcept {
    return reorder(record(layer), false);
}

int32 MoveLayer(int32, Layer* which, int32 dx, int32 dy) noexcept {
    LayerRecord& layer = record(which);
    return orFail(FALSE, [&]() -> int32 {
        LayerInfoRecord& li = infoOf(layer);
        const std::lock_guard lock(li.mutex);
        const Box box = layer.box().moved(dx, dy);
        return fits16(box) && arrange(li, li.order, layer, box);
    });
}

int32 BeginUpdate(Layer* which) noexcept {
    LayerRecord& layer = record(which);
    layer.mutex.lock();
    Pieces shown;
    layer.updateFailed = !orFail(false, [&] {
        shown = damagedPieces(layer);
        return true;
    });
    install(layer, shown);
    layer.setAside = std::move(shown);
    return layer.ClipRect != nullptr;
}

void EndUpdate(Layer* which, uint32 done) noexcept {
    LayerRecord& layer = record(which);
    install(layer, layer.setAside);
    layer.setAside.clear();
    if (done && !layer.updateFailed) {
        layer.damaged.clear();
        linkDamage(layer);
    }
    layer.mutex.unlock();
}

void LockLayerRom(Layer* layer) noexcept {
    record(layer).mutex.lock();
}

void UnlockLayerRom(Layer* layer) noexcept {
    record(layer).mutex.unlock();
}
