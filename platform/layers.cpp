// SPDX-License-Identifier: Zlib
// Layers: splitting them into pieces, and keeping their pictures while the pieces change.
#include "layers.h"

#include <proto/layers.h>

#include <limits>
#include <new>

namespace host {

namespace {

/** Stands in `lobs` for what lies outside the bitmap. */
Layer outside{};

struct PiecePlan {
    Box box;
    Layer* lobs;
};

/** A layer as it is to be. */
struct LayerPlan {
    LayerRecord* layer;
    Box bounds;
    std::vector<PiecePlan> layout;
    Pieces pieces;
    /** The whole of the layer's picture on its way from the old pieces to the new ones. */
    BitMapPtr picture;
    /** Where the old pieces held pixels, on the screen as the layer will stand. */
    Boxes valid;
};

/** Cuts `bounds` into what is visible behind the plans in front of it and what each of them covers. */
std::vector<PiecePlan> splitPieces(const Box& bounds, const std::vector<LayerPlan>& inFront,
                                   const Box& bitmap) {
    std::vector<PiecePlan> covered;
    for (const Box& box : subtract({bounds}, bitmap))
        covered.push_back({box, &outside});
    Boxes visible = intersect({bounds}, bitmap);
    for (const LayerPlan& front : inFront) {
        for (const Box& box : intersect(visible, front.bounds))
            covered.push_back({box, front.layer});
        visible = subtract(visible, front.bounds);
    }
    std::vector<PiecePlan> all;
    for (const Box& box : visible)
        all.push_back({box, nullptr});
    all.insert(all.end(), covered.begin(), covered.end());
    return all;
}

bool isAsBefore(const LayerPlan& plan) {
    const Pieces& old = plan.layer->pieces;
    return plan.bounds == plan.layer->box() &&
           std::equal(old.begin(), old.end(), plan.layout.begin(), plan.layout.end(),
                      [](const auto& piece, const PiecePlan& next) {
                          return toBox(piece->bounds) == next.box && piece->lobs == next.lobs;
                      });
}

BitMapRecord& screenOf(const LayerRecord& layer) {
    return record(layer.rastPort.BitMap);
}

/** Allocates what the plan needs; false when memory is short. */
bool prepare(LayerPlan& plan) {
    const LayerRecord& layer = *plan.layer;
    const RGBFTYPE code = screenOf(layer).code;
    for (const PiecePlan& next : plan.layout) {
        auto piece = std::make_unique<PieceRecord>();
        piece->lobs = next.lobs;
        piece->bounds = toRectangle(next.box);
        if (next.lobs && layer.super()) {
            piece->BitMap = layer.SuperBitMap;
        } else if (next.lobs && !layer.simple()) {
            const long width = next.box.width() + (piece->bounds.MinX & 15);
            piece->backing =
                makeBitMap(static_cast<uint32>(width), static_cast<uint32>(next.box.height()), code, true);
            if (!piece->backing)
                return false;
            piece->BitMap = piece->backing.get();
        }
        plan.pieces.push_back(std::move(piece));
    }
    for (std::size_t i = 1; i < plan.pieces.size(); ++i)
        plan.pieces[i - 1]->Next = plan.pieces[i].get();
    if (layer.super())
        return true;
    plan.picture = makeBitMap(static_cast<uint32>(plan.bounds.width()),
                              static_cast<uint32>(plan.bounds.height()), code, true);
    return plan.picture != nullptr;
}

/** The bitmap that holds a piece's pixels, and the piece on it; no bitmap: they are not kept. */
struct Place {
    BitMapRecord* bitmap;
    Box area;
};

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

/** What gathers a layer's picture: the plan's, or the layer's own bitmap. */
Place pictureOf(const LayerRecord& layer, BitMapRecord* picture, const Rectangle& bounds) {
    const Box box = toBox(bounds).moved(-layer.bounds.MinX, -layer.bounds.MinY);
    if (layer.super())
        return {&record(layer.SuperBitMap), box.moved(layer.Scroll_X, layer.Scroll_Y)};
    return {picture, box};
}

void copy(const Place& from, const Place& to) {
    if (from.bitmap && to.bitmap && from.bitmap != to.bitmap)
        copyPixels(*from.bitmap, from.area.x0, from.area.y0, *to.bitmap, to.area.x0, to.area.y0,
                   from.area.width(), from.area.height());
}

/** Gathers the picture from the old pieces, before anything on the screen changes. */
void lift(const LayerRecord& layer, BitMapRecord* picture) {
    for (const auto& piece : layer.pieces)
        copy(placeOf(layer, *piece), pictureOf(layer, picture, piece->bounds));
}

/** Where a simple-refresh layer has pixels to show at its new place; a new layer has them everywhere. */
Boxes validAreas(const LayerPlan& plan) {
    const LayerRecord& layer = *plan.layer;
    if (layer.pieces.empty())
        return {plan.bounds};
    Boxes valid;
    for (const auto& piece : layer.pieces)
        if (!piece->lobs)
            valid.push_back(
                toBox(piece->bounds)
                    .moved(plan.bounds.x0 - layer.bounds.MinX, plan.bounds.y0 - layer.bounds.MinY));
    return valid;
}

void linkDamage(LayerRecord& layer) {
    auto& all = layer.damaged;
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].Next = i + 1 < all.size() ? &all[i + 1] : nullptr;
    layer.damage.RegionRectangle = all.empty() ? nullptr : all.data();
    layer.Flags = static_cast<uint16>(all.empty() ? layer.Flags & ~LAYERREFRESH : layer.Flags | LAYERREFRESH);
}

/** Adds areas of the layer (from its top-left corner) to its damage, each pixel once. */
void addDamage(LayerRecord& layer, Boxes areas) {
    for (const RegionRectangle& known : layer.damaged)
        areas = subtract(areas, toBox(known.bounds));
    for (const Box& box : areas)
        layer.damaged.push_back({nullptr, toRectangle(box)});
    linkDamage(layer);
}

void install(LayerRecord& layer, Pieces& pieces) {
    layer.pieces.swap(pieces);
    layer.ClipRect = layer.pieces.empty() ? nullptr : layer.pieces.front().get();
}

/** Gives the layer its new pieces and spreads its picture over them. */
void drop(LayerPlan& plan) {
    LayerRecord& layer = *plan.layer;
    layer.bounds = toRectangle(plan.bounds);
    install(layer, plan.pieces);
    for (const auto& piece : layer.pieces)
        copy(pictureOf(layer, plan.picture.get(), piece->bounds), placeOf(layer, *piece));
    if (!layer.simple())
        return;
    for (const auto& piece : layer.pieces) {
        if (piece->lobs)
            continue;
        Boxes lost = {toBox(piece->bounds)};
        for (const Box& box : plan.valid)
            lost = subtract(lost, box);
        for (Box& box : lost)
            box = box.moved(-plan.bounds.x0, -plan.bounds.y0);
        addDamage(layer, std::move(lost));
    }
}

/** Clears what a layer leaves behind that no layer covers now. */
void eraseLeft(BitMapRecord& bitmap, const Box& left, const std::vector<LayerPlan>& plans) {
    Boxes bare = {left};
    for (const LayerPlan& plan : plans)
        bare = subtract(bare, plan.bounds);
    for (const Box& box : bare)
        fillPixels(bitmap, box, 0);
}

void linkLayers(LayerInfoRecord& li) {
    Layer* previous = nullptr;
    li.top_layer = li.order.empty() ? nullptr : li.order.front();
    for (LayerRecord* layer : li.order) {
        layer->front = previous;
        layer->back = nullptr;
        if (previous)
            previous->back = layer;
        previous = layer;
    }
}

/** Takes all layers of a list, in an order that does not change with theirs. */
class AllLocked {
public:
    explicit AllLocked(std::vector<LayerRecord*> layers) : layers_(std::move(layers)) {
        std::sort(layers_.begin(), layers_.end(), std::less<>());
        for (LayerRecord* layer : layers_)
            layer->mutex.lock();
    }
    ~AllLocked() {
        for (LayerRecord* layer : layers_)
            layer->mutex.unlock();
    }
    AllLocked(const AllLocked&) = delete;
    AllLocked& operator=(const AllLocked&) = delete;

private:
    std::vector<LayerRecord*> layers_;
};

/**
 * Brings the layers into a new order and `changed` to new bounds; a layer that is new in the order or missing
 * from it appears or goes. All memory is had before the first change, so a failure changes nothing.
 */
bool arrange(LayerInfoRecord& li, std::vector<LayerRecord*> order, LayerRecord& changed, const Box& bounds) {
    std::vector<LayerRecord*> all = li.order;
    if (std::find(all.begin(), all.end(), &changed) == all.end())
        all.push_back(&changed);
    const AllLocked locked(std::move(all));
    BitMapRecord& screen = screenOf(changed);

    std::vector<LayerPlan> plans;
    for (LayerRecord* layer : order) {
        LayerPlan plan{layer, layer == &changed ? bounds : layer->box(), {}, {}, nullptr, {}};
        plan.layout = splitPieces(plan.bounds, plans, screen.box());
        plans.push_back(std::move(plan));
    }
    std::vector<LayerPlan*> work;
    for (LayerPlan& plan : plans) {
        if (isAsBefore(plan))
            continue;
        if (!prepare(plan))
            return false;
        work.push_back(&plan);
    }

    for (LayerPlan* plan : work) {
        plan->valid = validAreas(*plan);
        lift(*plan->layer, plan->picture.get());
    }
    const bool goes = std::find(order.begin(), order.end(), &changed) == order.end();
    if (goes)
        lift(changed, nullptr);
    if (!changed.pieces.empty())
        eraseLeft(screen, changed.box(), plans);
    for (LayerPlan* plan : work)
        drop(*plan);
    li.order = std::move(order);
    linkLayers(li);
    return true;
}

/** Where a layer belongs to be the frontmost, or the backmost, of its kind. */
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
}

int32 reorder(LayerRecord& layer, bool atFront) {
    LayerInfoRecord& li = infoOf(layer);
    const std::lock_guard lock(li.mutex);
    return arrange(li, ordered(li, layer, atFront), layer, layer.box());
}

} // namespace

LayerInfoRecord::~LayerInfoRecord() {
    for (LayerRecord* layer : order)
        delete layer;
}

void drawThrough(RastPort& rp, const Box& request, const DrawPiece& draw) {
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

Layer_Info* NewLayerInfo() {
    return new (std::nothrow) LayerInfoRecord();
}

void DisposeLayerInfo(Layer_Info* li) {
    delete static_cast<LayerInfoRecord*>(li);
}

Layer* CreateUpfrontLayer(Layer_Info* li, BitMap* bitmap, int32 x0, int32 y0, int32 x1, int32 y1,
                          uint32 flags, BitMap* super) {
    return createLayer(li, bitmap, {x0, y0, x1 + 1L, y1 + 1L}, flags, super, true);
}

Layer* CreateBehindLayer(Layer_Info* li, BitMap* bitmap, int32 x0, int32 y0, int32 x1, int32 y1, uint32 flags,
                         BitMap* super) {
    return createLayer(li, bitmap, {x0, y0, x1 + 1L, y1 + 1L}, flags, super, false);
}

int32 DeleteLayer(int32, Layer* which) {
    LayerRecord& layer = record(which);
    LayerInfoRecord& li = infoOf(layer);
    const std::lock_guard lock(li.mutex);
    std::vector<LayerRecord*> order = li.order;
    std::erase(order, &layer);
    if (!arrange(li, std::move(order), layer, layer.box()))
        return FALSE;
    delete &layer;
    return TRUE;
}

int32 UpfrontLayer(int32, Layer* layer) {
    return reorder(record(layer), true);
}

int32 BehindLayer(int32, Layer* layer) {
    return reorder(record(layer), false);
}

int32 MoveLayer(int32, Layer* which, int32 dx, int32 dy) {
    LayerRecord& layer = record(which);
    LayerInfoRecord& li = infoOf(layer);
    const std::lock_guard lock(li.mutex);
    const Box box = layer.box().moved(dx, dy);
    return fits16(box) && arrange(li, li.order, layer, box);
}

int32 BeginUpdate(Layer* which) {
    LayerRecord& layer = record(which);
    layer.mutex.lock();
    Pieces damagedOnly;
    for (const auto& piece : layer.pieces) {
        for (const RegionRectangle& area : layer.damaged) {
            const Box part =
                toBox(piece->bounds) & toBox(area.bounds).moved(layer.bounds.MinX, layer.bounds.MinY);
            if (piece->lobs || !part)
                continue;
            auto copied = std::make_unique<PieceRecord>();
            copied->bounds = toRectangle(part);
            if (!damagedOnly.empty())
                damagedOnly.back()->Next = copied.get();
            damagedOnly.push_back(std::move(copied));
        }
    }
    install(layer, damagedOnly);
    layer.setAside = std::move(damagedOnly);
    return layer.ClipRect != nullptr;
}

void EndUpdate(Layer* which, uint32 done) {
    LayerRecord& layer = record(which);
    install(layer, layer.setAside);
    layer.setAside.clear();
    if (done) {
        layer.damaged.clear();
        linkDamage(layer);
    }
    layer.mutex.unlock();
}

void LockLayerRom(Layer* layer) {
    record(layer).mutex.lock();
}

void UnlockLayerRom(Layer* layer) {
    record(layer).mutex.unlock();
}
