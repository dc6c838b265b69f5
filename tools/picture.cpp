// SPDX-License-Identifier: Zlib
// Turns the BMP that a program saved into a PNG, or tells whether a PNG shows the same.
//     picture save FILE.bmp FILE.png
//     picture compare FILE.bmp FILE.png      exit code 0: the same pixels
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include <SDL.h>
#include <png.h>

namespace {

struct Picture {
    unsigned width = 0, height = 0;
    std::vector<uint8_t> rgb;
};

bool loadBmp(const char* path, Picture& picture) {
    SDL_Surface* surface = SDL_LoadBMP(path);
    if (!surface)
        return false;
    picture.width = static_cast<unsigned>(surface->w);
    picture.height = static_cast<unsigned>(surface->h);
    const unsigned bytes = surface->format->BytesPerPixel;
    for (int y = 0; y < surface->h; ++y) {
        const auto* row = static_cast<const uint8_t*>(surface->pixels) + y * surface->pitch;
        for (int x = 0; x < surface->w; ++x) {
            Uint32 pixel = 0;
            for (unsigned i = 0; i < bytes; ++i)
                pixel |= Uint32{row[static_cast<unsigned>(x) * bytes + i]}
                         << 8 * (SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i);
            uint8_t channels[3];
            SDL_GetRGB(pixel, surface->format, &channels[0], &channels[1], &channels[2]);
            picture.rgb.insert(picture.rgb.end(), channels, channels + 3);
        }
    }
    SDL_FreeSurface(surface);
    return true;
}

bool loadPng(const char* path, Picture& picture) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path))
        return false;
    image.format = PNG_FORMAT_RGB;
    picture.width = image.width;
    picture.height = image.height;
    picture.rgb.resize(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) != 0;
}

bool savePng(const char* path, const Picture& picture) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, path, 0, picture.rgb.data(), 0, nullptr) != 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view action = argc == 4 ? argv[1] : "";
    Picture picture, other;
    if (action != "save" && action != "compare") {
        std::fprintf(stderr, "usage: picture save|compare FILE.bmp FILE.png\n");
        return 2;
    }
    if (!loadBmp(argv[2], picture)) {
        std::fprintf(stderr, "picture: can't read %s\n", argv[2]);
        return 2;
    }
    if (action == "save")
        return savePng(argv[3], picture) ? 0 : 2;
    if (!loadPng(argv[3], other)) {
        std::fprintf(stderr, "picture: can't read %s\n", argv[3]);
        return 2;
    }
    if (picture.width != other.width || picture.height != other.height) {
        std::printf("%s has %u x %u pixels, %s %u x %u\n", argv[2], picture.width, picture.height, argv[3],
                    other.width, other.height);
        return 1;
    }
    size_t different = 0;
    for (size_t i = 0; i < picture.rgb.size(); ++i)
        different += picture.rgb[i] != other.rgb[i];
    if (different)
        std::printf("%s and %s differ in %zu channels\n", argv[2], argv[3], different);
    return different != 0;
}
