// SPDX-License-Identifier: Zlib
// Blits into a window that another one covers. The left picture shows both; on the right the front window is
// gone, and what was drawn behind it is there: a smart-refresh layer keeps its covered pieces.
//     covered_window PICTURE.bmp
#include <cstdio>

#include <ormsel/ormsel.h>

#include <libraries/Picasso96.h>
#include <proto/graphics.h>
#include <proto/layers.h>

namespace {

constexpr int kWidth = 160, kHeight = 120;

void fill(BitMap* screen, Layer* layer, uint32 color, int32 width, int32 height) {
    RastPort rp = {layer, screen, color, JAM1};
    RectFill(&rp, 0, 0, width - 1, height - 1);
}

// A disc that is half transparent, as an array of pixels.
void drawDisc(BitMap* screen, Layer* layer) {
    constexpr int kSize = 80;
    static uint32 pixels[kSize * kSize];
    for (int i = 0; i < kSize * kSize; ++i) {
        const int dx = 2 * (i % kSize) + 1 - kSize, dy = 2 * (i / kSize) + 1 - kSize;
        pixels[i] = dx * dx + dy * dy < kSize * kSize ? 0xA0FFC020 : 0;
    }
    RastPort rp = {layer, screen, 0, JAM1};
    WriteAlphaPixelArray(pixels, 0, 0, kSize * sizeof *pixels, &rp, 10, 10, kSize, kSize, 255,
                         RGBFB_A8R8G8B8);
}

} // namespace

int main(int argc, char** argv) {
    SDL_Surface* canvas =
        SDL_CreateRGBSurface(SDL_SWSURFACE, 2 * kWidth, kHeight, 16, 0xF800, 0x07E0, 0x001F, 0);
    BitMap* screen = AllocBitMap(kWidth, kHeight, 16, BMF_CLEAR, nullptr);
    Layer_Info* layers = NewLayerInfo();
    Layer* window = CreateUpfrontLayer(layers, screen, 10, 10, 109, 109, LAYERSMART, nullptr);
    Layer* cover = CreateUpfrontLayer(layers, screen, 60, 30, 149, 89, LAYERSMART, nullptr);
    if (!canvas || !window || !cover) {
        std::fprintf(stderr, "out of memory\n");
        return 1;
    }

    fill(screen, window, 0xFF204080, 100, 100);
    fill(screen, cover, 0xFF803030, 90, 60);
    drawDisc(screen, window);
    SDL_BlitAlphaBitMapSurface(screen, 0, 0, canvas, 0, 0, kWidth, kHeight, 255, 0);
    DeleteLayer(0, cover);
    SDL_BlitAlphaBitMapSurface(screen, 0, 0, canvas, kWidth, 0, kWidth, kHeight, 255, 0);

    const int status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    if (status != 0)
        std::fprintf(stderr, "%s\n", SDL_GetError());
    DisposeLayerInfo(layers);
    FreeBitMap(screen);
    SDL_FreeSurface(canvas);
    return status;
}
