/* SPDX-License-Identifier: Zlib */
/**
 * @file proto/layers.h
 * @brief Layers on a bitmap.
 *
 * Calls that change a layer lock its whole Layer_Info; when memory is short they change nothing and report
 * failure. Whoever needs the locks of several layers at once must not hold any of them while calling.
 */
#ifndef PROTO_LAYERS_H
#define PROTO_LAYERS_H

#include <graphics/layers.h>
#include <graphics/rastport.h>
#include <host/call.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Makes a record for the layers of one bitmap, or gives NULL. */
struct Layer_Info* NewLayerInfo(void) HOST_CALL(NewLayerInfo);

/** Frees the record with the layers that are still there; the bitmap is left as it is. NULL is allowed. */
void DisposeLayerInfo(struct Layer_Info* li) HOST_CALL(DisposeLayerInfo);

/**
 * Makes a layer in front of the others of its kind (backdrop or not).
 *
 * @param li      where it joins
 * @param bitmap  what it is seen on
 * @param x0,y0,x1,y1 its corners, both included; parts may lie outside the bitmap
 * @param flags   one of LAYERSIMPLE, LAYERSMART, LAYERSUPER; LAYERBACKDROP
 * @param super   the bitmap of a LAYERSUPER layer, else NULL; stays the caller's
 * @return the layer, cleared to colour 0 (super-bitmap layers show their bitmap), or NULL
 */
struct Layer* CreateUpfrontLayer(struct Layer_Info* li, struct BitMap* bitmap, int32 x0, int32 y0, int32 x1,
                                 int32 y1, uint32 flags, struct BitMap* super) HOST_CALL(CreateUpfrontLayer);

/** As CreateUpfrontLayer(), but behind the others of its kind. */
struct Layer* CreateBehindLayer(struct Layer_Info* li, struct BitMap* bitmap, int32 x0, int32 y0, int32 x1,
                                int32 y1, uint32 flags, struct BitMap* super) HOST_CALL(CreateBehindLayer);

/** Removes a layer; what it covered is seen again. @return FALSE when memory is short */
int32 DeleteLayer(int32 dummy, struct Layer* layer) HOST_CALL(DeleteLayer);

/** Brings a layer before the others of its kind. @return FALSE when memory is short */
int32 UpfrontLayer(int32 dummy, struct Layer* layer) HOST_CALL(UpfrontLayer);

/** Puts a layer behind the others of its kind. @return FALSE when memory is short */
int32 BehindLayer(int32 dummy, struct Layer* layer) HOST_CALL(BehindLayer);

/** Moves a layer. @return FALSE when memory is short or a coordinate would leave 16 bits */
int32 MoveLayer(int32 dummy, struct Layer* layer, int32 dx, int32 dy) HOST_CALL(MoveLayer);

/**
 * Restricts drawing to the damaged areas that are visible, so that a simple-refresh layer's program redraws
 * just those, and locks the layer until EndUpdate().
 * @return FALSE when nothing visible is damaged
 */
int32 BeginUpdate(struct Layer* layer) HOST_CALL(BeginUpdate);

/** Ends BeginUpdate(), whatever it returned. @param done whether the damage is repaired and forgotten */
void EndUpdate(struct Layer* layer, uint32 done) HOST_CALL(EndUpdate);

/**
 * Takes a layer for the calling thread; another thread waits until it is unlocked as often as it was locked.
 */
void LockLayerRom(struct Layer* layer) HOST_CALL(LockLayerRom);

/** Undoes one LockLayerRom() of this thread. */
void UnlockLayerRom(struct Layer* layer) HOST_CALL(UnlockLayerRom);

#ifdef __cplusplus
}
#endif

#endif
