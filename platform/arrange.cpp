// SPDX-License-Identifier: Zlib
// Layers in a new arrangement: splitting them into pieces, and keeping their pictures while the pieces
// change.
#include <functional>

#include "layers.h"

namespace host {

namespace {

// Stands in `lobs` for what lies outside the bitmap.
Layer outside{};

struct PiecePlan {
    Box box;
    Layer* lobs;
};

// A layer as it is to be.
struct LayerPlan {
    LayerRecord* layer;
    Box bounds;
    std::vector<PiecePlan> layout;
    Pieces pieces;
    // The whole of the layer's picture on its way from the old pieces to the new ones.
    BitMapPtr picture;
    // All damage of a simple-refresh layer.
    std::vector<RegionRectangle> damaged;
};

// Cuts `bounds` into what is visible behind the plans in front of it and what each of them covers.
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

// Where a simple-refresh layer has pixels to show at its new place; a new layer has them everywhere.
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

// The layer's damage as it will be: what is damaged, and what is to be visible and has no pixels, each pixel
// once.
std::vector<RegionRectangle> damageOf(const LayerPlan& plan) {
    std::vector<RegionRectangle> all = plan.layer->damaged;
    Boxes lost;
    for (const PiecePlan& piece : plan.layout)
        if (!piece.lobs)
            lost.push_back(piece.box);
    for (const Box& box : validAreas(plan))
        lost = subtract(lost, box);
    for (Box& box : lost)
        box = box.moved(-plan.bounds.x0, -plan.bounds.y0);
    for (const RegionRectangle& known : plan.layer->damaged)
        lost = subtract(lost, toBox(known.bounds));
    for (const Box& box : lost)
        all.push_back({nullptr, toRectangle(box)});
    return all;
}

// Allocates what the plan needs; false when memory is short.
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
    if (layer.simple())
        plan.damaged = damageOf(plan);
    for (std::size_t i = 1; i < plan.pieces.size(); ++i)
        plan.pieces[i - 1]->Next = plan.pieces[i].get();
    if (layer.super())
        return true;
    plan.picture = makeBitMap(static_cast<uint32>(plan.bounds.width()),
                              static_cast<uint32>(plan.bounds.height()), code, true);
    return plan.picture != nullptr;
}

// What gathers a layer's picture: the plan's, or the layer's own bitmap.
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

// Gathers the picture from the old pieces, before anything on the screen changes.
void lift(const LayerRecord& layer, BitMapRecord* picture) {
    for (const auto& piece : layer.pieces)
        copy(placeOf(layer, *piece), pictureOf(layer, picture, piece->bounds));
}

// Gives the layer its new pieces and spreads its picture over them.
void drop(LayerPlan& plan) {
    LayerRecord& layer = *plan.layer;
    layer.bounds = toRectangle(plan.bounds);
    install(layer, plan.pieces);
    for (const auto& piece : layer.pieces)
        copy(pictureOf(layer, plan.picture.get(), piece->bounds), placeOf(layer, *piece));
    if (layer.simple()) {
        layer.damaged.swap(plan.damaged);
        linkDamage(layer);
    }
}

// What a layer leaves behind that no layer will cover.
Boxes bareAfter(const LayerRecord& changed, const std::vector<LayerPlan>& plans) {
    if (changed.pieces.empty())
        return {};
    Boxes bare = {changed.box()};
    for (const LayerPlan& plan : plans)
        bare = subtract(bare, plan.bounds);
    return bare;
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

// Takes all layers of a list, in an order that does not change with theirs.
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

} // namespace

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
    const Boxes bare = bareAfter(changed, plans);
    const bool goes = std::find(order.begin(), order.end(), &changed) == order.end();

    // From here on nothing needs memory.
    for (const LayerPlan* plan : work)
        lift(*plan->layer, plan->picture.get());
    if (goes)
        lift(changed, nullptr);
    for (const Box& box : bare)
        fillPixels(screen, box, 0);
    for (LayerPlan* plan : work)
        drop(*plan);
    li.order = std::move(order);
    linkLayers(li);
    return true;
}

void discardLayer(LayerRecord& layer) noexcept {
    auto& li = *static_cast<LayerInfoRecord*>(layer.LayerInfo);
    {
        const std::lock_guard lock(li.mutex);
        const std::lock_guard own(layer.mutex);
        lift(layer, nullptr);
        // Other layers' pieces still name this one in `lobs`, where it counts as not null and as another
        // layer than any in the order.
        std::erase(li.order, &layer);
        linkLayers(li);
    }
    delete &layer;
}

} // namespace host
