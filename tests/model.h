// SPDX-License-Identifier: Zlib
//
// A slow model of every blit, one pixel at a time, that the tests compare the library with. It shares no
// code with the library and works on plain bytes, so that it can also tell which bytes a blit writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace model {

// All bytes of a test case. Several images may lie in one memory, also on top of each other.
struct Memory {
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> written; // 1 for each byte that a blit has stored, be it with its old value
};

struct Channel {
    uint32_t mask = 0, shift = 0, loss = 8;
};

struct Format {
    uint32_t code, bytes; // RGBFB_*; bytes per pixel
    Channel r, g, b, a;
};

struct Image {
    long first;      // offset of pixel (0, 0) in the memory
    long begin, end; // bytes of the memory that belong to the image: outside, reads give 0, stores are lost
    long pitch;      // bytes from row to row, possibly negative
    long width, height;
    Format format;
    bool onBoard;
};

struct Blit {
    Image src, dst;
    long srcX, srcY, dstX, dstY, width, height;
    uint32_t alpha; // constant alpha, 0..255
    uint32_t flags;
    bool masked;
    Image mask;    // 8 bits per pixel, when masked
    bool noMemory; // allocations fail
};

// Clips the request like the driver does; false when nothing is left to draw.
bool clip(Blit& blit);

// Draws a clipped blit: what the dispatchers do, with and without a mask.
void draw(Memory& memory, const Blit& blit);

// What the generic routines do; alphaFill is ORed into the source's alpha.
void drawGeneric(Memory& memory, const Blit& blit, uint32_t alphaFill);

// The flag of the operation that an unmasked blit's flags ask for: the first one that they name. 0: to blend.
uint32_t operationOf(uint32_t flags);

// Whether drawing takes a row copy: to blend onto R5G6B5, for one weight or from graphics memory.
bool takesMemory(const Blit& blit);

// A format by the channels in its name, such as "A8R8G8B8". One that isn't a bitmap's has no code.
Format formatNamed(std::string_view name);
// A bitmap's format by its code, and its name; empty for others.
Format formatOf(uint32_t code);
std::string_view nameOf(uint32_t code);

// The value of an image's pixel.
uint32_t load(const uint8_t* memory, const Image& image, long x, long y);

} // namespace model
