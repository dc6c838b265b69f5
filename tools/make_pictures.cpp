// SPDX-License-Identifier: Zlib
// Draws Korvalen's two pictures: blue.png, the background, and alpha.png, a glass orb with rings and glow.
//
// All arithmetic is fixed point, so that every processor and compiler draws the same pixels.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <png.h>

namespace {

/// A number with 20 binary places. Intermediate products stay in 64 bits for values up to about 2000.
class Fix {
public:
    constexpr Fix() = default;
    constexpr Fix(int v) : raw_(int64_t{v} * kOne) {}
    constexpr Fix(double v) : raw_(static_cast<int64_t>(v * double{kOne} + (v < 0 ? -0.5 : 0.5))) {}

    friend constexpr Fix operator+(Fix a, Fix b) { return fromRaw(a.raw_ + b.raw_); }
    friend constexpr Fix operator-(Fix a, Fix b) { return fromRaw(a.raw_ - b.raw_); }
    friend constexpr Fix operator-(Fix a) { return fromRaw(-a.raw_); }
    friend constexpr Fix operator*(Fix a, Fix b) { return fromRaw((a.raw_ * b.raw_) >> kBits); }
    friend constexpr Fix operator/(Fix a, Fix b) { return fromRaw(a.raw_ * kOne / b.raw_); }
    constexpr auto operator<=>(const Fix&) const = default; // NOLINT(modernize-use-nullptr): generated

    constexpr int64_t floor() const { return raw_ >> kBits; }
    constexpr Fix fraction() const { return fromRaw(raw_ & (kOne - 1)); }

    /// Square root, digit by digit; negative values give 0.
    friend constexpr Fix sqrt(Fix a) {
        uint64_t rest = a.raw_ > 0 ? static_cast<uint64_t>(a.raw_) << kBits : 0, root = 0;
        for (uint64_t bit = uint64_t{1} << 62; bit; bit >>= 2) {
            const bool take = rest >= root + bit;
            rest -= take ? root + bit : 0;
            root = (root >> 1) + (take ? bit : 0);
        }
        return fromRaw(static_cast<int64_t>(root));
    }

private:
    static constexpr int kBits = 20;
    static constexpr int64_t kOne = int64_t{1} << kBits;
    static constexpr Fix fromRaw(int64_t v) {
        Fix f;
        f.raw_ = v;
        return f;
    }
    int64_t raw_ = 0;
};

Fix abs(Fix a) {
    return a < 0 ? -a : a;
}
Fix clamp01(Fix a) {
    return std::clamp(a, Fix(0), Fix(1));
}
Fix mix(Fix a, Fix b, Fix t) {
    return a + (b - a) * t;
}
Fix smooth(Fix a) {
    a = clamp01(a);
    return a * a * (3 - 2 * a);
}
/// 1 at distance 0, falling smoothly to 0 at `reach`.
Fix falloff(Fix distance, Fix reach) {
    const Fix t = 1 - clamp01(distance / reach);
    return t * t * (3 - 2 * t);
}
/// Sine of `turns` full turns, within 0.2 %.
Fix wave(Fix turns) {
    const Fix t = turns.fraction() * 2;
    const Fix u = t < 1 ? t : t - 1;
    const Fix q = 4 * u * (1 - u);
    const Fix s = 4 * q / (5 - q);
    return t < 1 ? s : -s;
}
/// How much of a pixel lies inside an edge at signed distance `d` (negative inside).
Fix coverage(Fix d) {
    return clamp01(Fix(0.5) - d);
}
Fix length(Fix x, Fix y) {
    return sqrt(x * x + y * y);
}

struct Colour {
    Fix r, g, b;
    friend Colour operator+(Colour c, Colour d) { return {c.r + d.r, c.g + d.g, c.b + d.b}; }
    friend Colour operator*(Colour c, Fix k) { return {c.r * k, c.g * k, c.b * k}; }
};
Colour mix(Colour a, Colour b, Fix t) {
    return a * (1 - t) + b * t;
}
constexpr Colour rgb(int hex) {
    return {Fix(hex >> 16) / 255, Fix(hex >> 8 & 255) / 255, Fix(hex & 255) / 255};
}

/// Reproducible random numbers.
class Random {
public:
    explicit Random(uint32_t seed) : state_(seed) {}
    Fix operator()(Fix low, Fix high) {
        state_ = state_ * 1664525u + 1013904223u;
        return mix(low, high, Fix(static_cast<int>(state_ >> 12)) / 1048576);
    }

private:
    uint32_t state_;
};

using Bytes = std::vector<png_byte>;

png_byte toByte(Fix v) {
    return static_cast<png_byte>((clamp01(v) * 255 + 0.5).floor());
}

// ---------------------------------------------------------------------------------------------------------
// blue.png

/// A sheet of light that hangs below a wavy edge.
struct Sheet {
    Fix height, swing, waves, phase, depth;
    Colour colour;
    Fix strength;

    Colour at(Fix x, Fix y) const {
        const Fix edge = height + swing * (wave(x * waves + phase) + wave(x * waves * 1.7 + phase * 2.3) / 2);
        const Fix below = y - edge;
        const Fix body = below < 0 ? falloff(-below, 0.012) : falloff(below, depth) * falloff(below, depth);
        const Fix crest = falloff(abs(below), 0.006) * 0.35 + falloff(abs(below), 0.035) * 0.25;
        // The crest glints where it faces the light.
        const Fix facing = 0.35 + 0.65 * clamp01(0.5 + wave(x * waves + phase - 0.2) / 2);
        return colour * ((body * 0.55 + crest * facing) * strength);
    }
};

struct Spot {
    Fix x, y, radius, strength;
};

Bytes drawBackground(int width, int height) {
    const std::array sheets{
        Sheet{0.30, 0.060, 0.55, 0.10, 0.40, rgb(0x1747b8), 0.50},
        Sheet{0.44, 0.070, 0.80, 0.62, 0.34, rgb(0x1f6fe0), 0.55},
        Sheet{0.56, 0.055, 0.65, 0.33, 0.30, rgb(0x2a8ff0), 0.55},
        Sheet{0.70, 0.060, 0.95, 0.87, 0.32, rgb(0x34b4ff), 0.55},
        Sheet{0.84, 0.045, 0.75, 0.20, 0.28, rgb(0x6fd6ff), 0.50},
    };
    Random random(20);
    std::array<Spot, 34> spots;
    for (Spot& spot : spots) {
        spot.x = random(0, 1.333);
        spot.y = random(0.02, 0.98);
        const Fix size = random(0, 1);
        spot.radius = 0.004 + 0.04 * size * size * size;
        spot.strength = mix(0.22, 0.045, size) * random(0.5, 1.2);
    }

    Bytes bytes;
    bytes.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const Fix x = (column + Fix(0.5)) / height, y = (row + Fix(0.5)) / height;
            Colour c = y < 0.5 ? mix(rgb(0x040b24), rgb(0x0a2464), y * 2)
                               : mix(rgb(0x0a2464), rgb(0x0d4aa0), y * 2 - 1);
            const Fix fromLight = length(x - 1.02, y - 0.16);
            c = c + rgb(0x3f8cff) * (falloff(fromLight, 1.05) * 0.42) +
                rgb(0xbfe6ff) * (falloff(fromLight, 0.36) * 0.34);
            for (const Sheet& sheet : sheets)
                c = c + sheet.at(x, y);
            for (const Spot& spot : spots) {
                const Fix d = length(x - spot.x, y - spot.y);
                if (d < spot.radius * 1.1) {
                    const Fix disc = coverage((d - spot.radius) * height / 2);
                    const Fix rim = 0.6 + 0.4 * smooth(d / spot.radius);
                    c = c + rgb(0xa8dcff) * (disc * rim * spot.strength);
                }
            }
            c = c * (1 - 0.38 * smooth((length(x - 0.667, y - 0.5) - 0.3) / 0.65));
            // Two random numbers make triangular noise of about one step: gradients show no bands.
            const Fix grain = (random(-0.5, 0.5) + random(-0.5, 0.5)) * 1.6 / 255;
            for (const Fix channel : {c.r, c.g, c.b})
                bytes.push_back(toByte(channel + grain));
        }
    }
    return bytes;
}

// ---------------------------------------------------------------------------------------------------------
// alpha.png

/// A pixel under construction, its colour multiplied by its alpha.
struct Paint {
    Colour c{};
    Fix a = 0;

    /// Lays a colour with alpha over what is there.
    void over(Colour colour, Fix alpha) {
        alpha = clamp01(alpha);
        c = c * (1 - alpha) + colour * alpha;
        a = a * (1 - alpha) + alpha;
    }
};

/// A circular orbit seen at a slant.
struct Orbit {
    Fix cosine, sine, radius, squash, halfWidth;
    Colour colour;

    /// `front`: the half that passes before the orb, else the half behind it.
    void draw(Paint& paint, Fix x, Fix y, bool front) const {
        const Fix u = x * cosine + y * sine, across = y * cosine - x * sine;
        if ((across >= 0) != front)
            return;
        const Fix v = across / squash;
        const Fix r = length(u, v);
        if (r < radius / 2)
            return;
        const Fix slope = length(u / r, v / r / squash);
        const Fix distance = abs((r - radius) / slope);
        const Fix depth = across / (radius * squash); // -1 far, 1 near
        const Fix width = halfWidth * (1 + 0.45 * depth);
        paint.over(colour, falloff(distance, 9 + 3 * depth) * (0.30 + 0.12 * depth));
        paint.over(mix(colour, rgb(0xffffff), 0.62 + 0.3 * depth),
                   coverage(distance - width) * (0.72 + 0.28 * depth));
    }
};

/// A small shining bead.
void drawBead(Paint& paint, Fix x, Fix y, Fix radius, Colour colour) {
    const Fix d = length(x, y);
    paint.over(colour, falloff(d, radius * 3.2) * 0.55);
    const Fix lit = clamp01(1 - length(x + radius * 0.35, y + radius * 0.4) / (radius * 1.5));
    paint.over(mix(colour, rgb(0xffffff), lit * lit * 1.3), coverage(d - radius));
}

void drawGlass(Paint& paint, Fix x, Fix y, Fix radius) {
    const Fix inside = coverage(length(x, y) - radius);
    if (inside == 0)
        return;
    const Fix nx = x / radius, ny = y / radius;
    const Fix nz = sqrt(clamp01(1 - nx * nx - ny * ny));
    const Fix edge = (1 - nz) * (1 - nz);

    const Fix down = clamp01((ny + 1) / 2 + nx * 0.15);
    const Colour tint = down < 0.5 ? mix(rgb(0xffd27a), rgb(0xff5f8a), down * 2)
                                   : mix(rgb(0xff5f8a), rgb(0x7a2be0), down * 2 - 1);
    paint.over(tint * (0.72 + 0.28 * nz), (0.34 + 0.58 * edge) * inside);

    // The dark band that a thick glass wall shows, and the light it gathers on the far side.
    paint.over(rgb(0x2a0a50), falloff(abs(nz - 0.42), 0.30) * 0.34 * smooth(0.35 - ny * 0.5) * inside);
    const Fix gathered = falloff(length(nx - 0.30, (ny - 0.52) * 1.35), 0.62);
    paint.over(rgb(0xfff0b8), gathered * gathered * 0.85 * inside);

    // Rim light, brightest towards the light and opposite to it.
    const Fix along = abs(nx * 0.55 + ny * 0.83);
    paint.over(rgb(0xffffff), falloff(abs(nz - 0.17), 0.13) * along * along * 0.85 * inside);

    // The window's reflection: a bent pane with a fading lower edge, and a spark.
    const Fix px = nx * 0.86 - ny * 0.5 + 0.08, py = nx * 0.5 + ny * 0.86 + 0.62;
    const Fix pane = coverage((length(px / 0.50, (py + px * px * 0.35) / 0.20) - 1) * radius * 0.2);
    paint.over(rgb(0xffffff), pane * (0.82 - 1.5 * clamp01(py + 0.2)) * inside);
    paint.over(rgb(0xffffff), falloff(length(nx - 0.52, ny + 0.50), 0.085) * 0.9 * inside);
}

Bytes drawOrb(int size) {
    const Fix centre = Fix(size) / 2;
    const Fix radius = 82;
    const std::array orbits{
        Orbit{0.906, -0.423, 138, 0.30, 1.7, rgb(0x7fe9ff)}, // rising to the right
        Orbit{0.819, 0.574, 118, 0.40, 1.2, rgb(0xffc861)},  // falling to the right
    };

    Bytes bytes;
    bytes.reserve(static_cast<size_t>(size) * static_cast<size_t>(size) * 4);
    for (int row = 0; row < size; ++row) {
        for (int column = 0; column < size; ++column) {
            const Fix x = column + Fix(0.5) - centre, y = row + Fix(0.5) - centre;
            const Fix r = length(x, y);
            Paint paint;

            paint.over(rgb(0x020414), falloff(length(x / 1.9, y - 116), 40) * 0.55);
            const Fix halo = falloff(r, centre);
            paint.over(mix(rgb(0xff3f8e), rgb(0xffb04a), smooth(halo * 1.25)), halo * halo * 0.95);

            for (const Orbit& orbit : orbits)
                orbit.draw(paint, x, y, false);
            drawGlass(paint, x, y, radius);
            for (const Orbit& orbit : orbits)
                orbit.draw(paint, x, y, true);
            drawBead(paint, x - 99, y - 4, 8.5, rgb(0x3fd4ff));
            drawBead(paint, x + 53, y - 17, 6.5, rgb(0xffa63a));

            const Fix unmultiply = paint.a == 0 ? Fix(0) : 1 / std::max(paint.a, Fix(0.002));
            for (const Fix channel : {paint.c.r, paint.c.g, paint.c.b})
                bytes.push_back(toByte(channel * unmultiply));
            bytes.push_back(toByte(paint.a));
        }
    }
    return bytes;
}

// ---------------------------------------------------------------------------------------------------------

bool save(const std::string& path, int width, int height, png_uint_32 format, const Bytes& bytes) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    if (png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr))
        return true;
    std::fprintf(stderr, "make_pictures: %s: %s\n", path.c_str(), image.message);
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_pictures FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    const bool saved = save(folder + "/blue.png", 800, 600, PNG_FORMAT_RGB, drawBackground(800, 600)) &&
                       save(folder + "/alpha.png", 300, 300, PNG_FORMAT_RGBA, drawOrb(300));
    return saved ? 0 : 1;
}
