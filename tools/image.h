// SPDX-License-Identifier: Zlib
// Pictures, from and to PNG files. Failures throw std::runtime_error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <png.h>

namespace x11 {

// Pixels as 0xRRGGBB (0xAARRGGBB where a file has alpha), row by row.
struct Image {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;

    uint32_t at(int x, int y) const {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
    uint32_t& at(int x, int y) {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
    bool operator==(const Image&) const = default;

    static Image load(const std::string& path) {
        png_image png{};
        png.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&png, path.c_str()))
            throw std::runtime_error(path + ": " + png.message);
        png.format = PNG_FORMAT_RGBA;
        std::vector<png_byte> bytes(PNG_IMAGE_SIZE(png));
        if (!png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr))
            throw std::runtime_error(path + ": " + png.message);
        Image image{static_cast<int>(png.width), static_cast<int>(png.height), {}};
        for (size_t i = 0; i < bytes.size(); i += 4)
            image.pixels.push_back(uint32_t{bytes[i + 3]} << 24 | uint32_t{bytes[i]} << 16 |
                                   uint32_t{bytes[i + 1]} << 8 | bytes[i + 2]);
        return image;
    }

    // Without alpha.
    void save(const std::string& path) const {
        std::vector<png_byte> bytes;
        for (uint32_t pixel : pixels)
            for (int shift : {16, 8, 0})
                bytes.push_back(static_cast<png_byte>(pixel >> shift));
        png_image png{};
        png.version = PNG_IMAGE_VERSION;
        png.width = static_cast<png_uint_32>(width);
        png.height = static_cast<png_uint_32>(height);
        png.format = PNG_FORMAT_RGB;
        if (!png_image_write_to_file(&png, path.c_str(), 0, bytes.data(), 0, nullptr))
            throw std::runtime_error(path + ": " + png.message);
    }
};

} // namespace x11
