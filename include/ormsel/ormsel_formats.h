/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel_formats.h
 * @brief The pixel formats that Ormsel knows, and the pairs of them that have a routine of their own.
 *
 * Both are lists: each takes the name of a macro and calls it with every row, so that tables, cases of a
 * test or rows of a report follow from them.
 *
 *     #define NAME(name, ...) #name,
 *     static const char* const names[] = {ORMSEL_FORMATS(NAME)};
 *
 * A format has one name everywhere: its channels from the most significant bit of the pixel's value down.
 * Pixels of 16 and 32 bits are machine words; a pixel of 24 bits is the number that SDL reads from its three
 * bytes.
 */
#ifndef ORMSEL_FORMATS_H
#define ORMSEL_FORMATS_H

/**
 * FORMAT(name, stem, code, bytes, red, green, blue, alpha, alphaShift)
 *
 * - `name`: as in RGBFB_name, the platform's word for it
 * - `stem`: the same in names of files, of checksums and of the benchmark's rows
 * - `code`: the number of RGBFB_name in Picasso96's numbering (RGBFTYPE)
 * - `bytes`: per pixel
 * - `red`, `green`, `blue`, `alpha`: the bits of a pixel's value that hold each channel; 0 without alpha
 * - `alphaShift`: by how many bits a bitmap's alpha is moved to the right. For R5G5B5 that is not where its
 *   alpha bit stands: what comes out exceeds 8 bits, and programs rely on it
 */
#define ORMSEL_FORMATS(FORMAT)                                                                               \
    FORMAT(R8G8B8, rgb24, 2, 3, 0xFF0000U, 0x00FF00U, 0x0000FFU, 0U, 0)                                      \
    FORMAT(B8G8R8, bgr24, 3, 3, 0x0000FFU, 0x00FF00U, 0xFF0000U, 0U, 0)                                      \
    FORMAT(A8R8G8B8, argb32, 6, 4, 0x00FF0000U, 0x0000FF00U, 0x000000FFU, 0xFF000000U, 24)                   \
    FORMAT(A8B8G8R8, abgr32, 7, 4, 0x000000FFU, 0x0000FF00U, 0x00FF0000U, 0xFF000000U, 24)                   \
    FORMAT(R8G8B8A8, rgba32, 8, 4, 0xFF000000U, 0x00FF0000U, 0x0000FF00U, 0x000000FFU, 0)                    \
    FORMAT(B8G8R8A8, bgra32, 9, 4, 0x0000FF00U, 0x00FF0000U, 0xFF000000U, 0x000000FFU, 0)                    \
    FORMAT(R5G6B5, rgb16, 10, 2, 0xF800U, 0x07E0U, 0x001FU, 0U, 0)                                           \
    FORMAT(R5G5B5, rgb15, 11, 2, 0x7C00U, 0x03E0U, 0x001FU, 0x8000U, 11)

/**
 * OPERATION(name, flag, prefix): what a blit does with source and destination.
 *
 * - `name`: Blend is what every blit does that doesn't ask for another
 * - `flag`: the bit of a blit's flags that asks for it; 0 for Blend
 * - `prefix`: what its names of checksums and of the benchmark's rows begin with
 */
#define ORMSEL_OPERATIONS(OPERATION) OPERATION(Blend, 0U, "")

/**
 * ROUTE(operation, source, destination, rule): the pairs of formats that have a routine of their own. For
 * Blend it is called `BLT_source_destination`; every other pair is blended by the channels' masks. By any
 * other operation, a pair that isn't here draws nothing.
 *
 * - `OpaqueOntoR5G6B5`: no alpha but the constant one, which is cut to 5 bits: nothing, a copy, or a blend
 * - `AlphaOntoFields`: by the source's alpha times the constant one, cut to 5 bits
 * - `AlphaOntoA8R8G8B8`: by the source's alpha times the constant one; or a raw copy (#ORMSEL_BLIT_COPY)
 */
#define ORMSEL_ROUTES(ROUTE)                                                                                 \
    ROUTE(Blend, R5G6B5, R5G6B5, OpaqueOntoR5G6B5)                                                           \
    ROUTE(Blend, R8G8B8, R5G6B5, OpaqueOntoR5G6B5)                                                           \
    ROUTE(Blend, B8G8R8, R5G6B5, OpaqueOntoR5G6B5)                                                           \
    ROUTE(Blend, A8R8G8B8, R5G6B5, AlphaOntoFields)                                                          \
    ROUTE(Blend, A8B8G8R8, R5G6B5, AlphaOntoFields)                                                          \
    ROUTE(Blend, R8G8B8A8, R5G6B5, AlphaOntoFields)                                                          \
    ROUTE(Blend, B8G8R8A8, R5G6B5, AlphaOntoFields)                                                          \
    ROUTE(Blend, A8R8G8B8, A8R8G8B8, AlphaOntoA8R8G8B8)                                                      \
    ROUTE(Blend, A8B8G8R8, A8R8G8B8, AlphaOntoA8R8G8B8)                                                      \
    ROUTE(Blend, R8G8B8A8, A8R8G8B8, AlphaOntoA8R8G8B8)                                                      \
    ROUTE(Blend, B8G8R8A8, A8R8G8B8, AlphaOntoA8R8G8B8)

#endif
