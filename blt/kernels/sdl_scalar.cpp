// SPDX-License-Identifier: Zlib
#include "sdl_scalar_steps.h"

namespace ormsel {

namespace {

template <SdlLayout Layout>
void copyRows(const SdlBlit& b) {
    everyPixel<sdlBytes(Layout), sdlBytes(Layout)>(
        b, [&](const uint8_t* s, uint8_t* d, const uint8_t*) { sdlCopyPixel<Layout>(b, s, d); });
}

} // namespace

void sdlScalarKernel(const SdlBlit& blit) {
    const SdlBlit b = blit; // a copy, which no store to a pixel can change
    if (b.inPlace)
        return withSdlInPlace(b, [&]<SdlLayout To, bool PerPixel>() {
            everyPixel<PerPixel ? 4 : sdlBytes(To), sdlBytes(To)>(
                b, [&](const uint8_t* s, uint8_t* d, const uint8_t*) {
                    sdlPixelInPlace<To, PerPixel>(b.constantAlpha, s, d);
                });
        });
    if (b.copies) {
        switch (sdlBytes(b.to)) {
        case 4:
            return copyRows<SdlLayout::k32>(b);
        case 3:
            return copyRows<SdlLayout::k24>(b);
        default:
            return copyRows<SdlLayout::kR5G6B5>(b);
        }
    }
    const SdlPlaces place(b.place);
    withSdlLayouts(b, [&]<SdlLayout From, SdlLayout To, bool PerPixel>() {
        everyPixel<sdlBytes(From), sdlBytes(To)>(b, [&](const uint8_t* s, uint8_t* d, const uint8_t*) {
            sdlPixel<From, To, PerPixel>(b, place, s, d);
        });
    });
}

} // namespace ormsel
