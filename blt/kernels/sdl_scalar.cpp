// SPDX-License-Identifier: Zlib
#include "sdl_scalar_steps.h"

namespace ormsel {

namespace {

template <SdlLayout From, SdlLayout To, class Pixel>
void everyPixel(const SdlBlit& b, const Pixel& pixel) {
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t y = 0; y < b.height; ++y, src += b.srcPitch, dst += b.dstPitch)
        for (size_t x = 0; x < b.width; ++x)
            pixel(src + x * sdlBytes(From), dst + x * sdlBytes(To));
}

template <SdlLayout Layout>
void copyRows(const SdlBlit& b) {
    everyPixel<Layout, Layout>(b, [&](const uint8_t* s, uint8_t* d) { sdlCopyPixel<Layout>(b, s, d); });
}

} // namespace

void sdlScalarKernel(const SdlBlit& blit) {
    const SdlBlit b = blit; // of which no store to a pixel can be a part
    if (b.tidy)
        return withSdlTidy(b, [&]<SdlLayout To, bool PerPixel>() {
            everyPixel<PerPixel ? SdlLayout::k32 : To, To>(
                b, [&](const uint8_t* s, uint8_t* d) { sdlTidyPixel<To, PerPixel>(b.constantAlpha, s, d); });
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
        everyPixel<From, To>(
            b, [&](const uint8_t* s, uint8_t* d) { sdlPixel<From, To, PerPixel>(b, place, s, d); });
    });
}

} // namespace ormsel
