#include "picture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "cli/error.h"

namespace demo {

float Clamp01(float x) { return std::clamp(x, 0.0f, 1.0f); }

float Smooth(float low, float high, float x) {
    const float t = Clamp01((x - low) / (high - low));
    return t * t * (3 - 2 * t);
}

float Eased(float from, float to, float time) {
    const float t = Clamp01((time - from) / (to - from));
    return t * t * t * (t * (t * 6 - 15) + 10);
}

float Mix(float a, float b, float t) { return a + (b - a) * t; }

color Mix(const color& a, const color& b, float t) {
    return {Mix(a.r, b.r, t), Mix(a.g, b.g, t), Mix(a.b, b.b, t), Mix(a.a, b.a, t)};
}

color Shade(const color& c, float s) { return {c.r * s, c.g * s, c.b * s, c.a}; }

vect3 Mix(const vect3& a, const vect3& b, float t) { return a + (b - a) * t; }

float Length(const vect3& v) { return std::sqrt(osm3d::Dot(v, v)); }

vect3 Normal(const vect3& v) {
    const float length = Length(v);
    return length > 0 ? v * (1 / length) : vect3{0, 0, 1};
}

float Random::Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return F(state_ >> 8) / 16777216.0f;
}

namespace {

struct Direction {
    float x, y;
};

int Wrapped(int i, int period) { return (i % period + period) % period; }

// The slope of the noise at a lattice point, a unit vector.
const Direction& Slope(int x, int y) {
    static const std::array<Direction, 256> kDirections = [] {
        std::array<Direction, 256> out{};
        for (std::size_t i = 0; i < out.size(); ++i) {
            const float angle = F(i) / 256 * 2 * kPi;
            out[i] = {std::cos(angle), std::sin(angle)};
        }
        return out;
    }();
    std::uint32_t h = static_cast<std::uint32_t>(x) * 374761393u + static_cast<std::uint32_t>(y) * 668265263u;
    h = (h ^ (h >> 15)) * 2246822519u;
    h = (h ^ (h >> 13)) * 3266489917u;
    return kDirections[(h ^ (h >> 16)) & 0xffu];
}

}  // namespace

float Noise(float x, float y, int period) {
    const float fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const float tx = x - fx, ty = y - fy;
    const auto corner = [&](int dx, int dy) {
        const Direction& slope = Slope(Wrapped(ix + dx, period), Wrapped(iy + dy, period));
        return slope.x * (tx - F(dx)) + slope.y * (ty - F(dy));
    };
    const float u = tx * tx * tx * (tx * (tx * 6 - 15) + 10), v = ty * ty * ty * (ty * (ty * 6 - 15) + 10);
    return 1.5f * Mix(Mix(corner(0, 0), corner(1, 0), u), Mix(corner(0, 1), corner(1, 1), u), v);
}

float Fbm(float x, float y, int period, int octaves) {
    float sum = 0, strength = 0.55f;
    for (int i = 0; i < octaves; ++i) {
        sum += strength * Noise(x, y, period);
        x *= 2;
        y *= 2;
        period *= 2;
        strength *= 0.5f;
    }
    return sum;
}

void Picture32::Set(unsigned x, unsigned y, const color& c) {
    std::uint8_t* out = &rgba[std::size_t{4} * (std::size_t{y} * width + x)];
    const float channels[4] = {c.r, c.g, c.b, c.a};
    for (const float channel : channels) *out++ = static_cast<std::uint8_t>(Clamp01(channel) * 255 + 0.5f);
}

Picture32 GlowPicture(float hardness) {
    return Painted(128, 128, [=](float u, float v) {
        const float r = 2 * std::hypot(u - 0.5f, v - 0.5f);
        const float soft = std::pow(Clamp01(1 - r), 2.2f), core = std::exp(-r * r * 90) * hardness;
        return color{1, 1, 1, Clamp01(0.75f * soft + core)};
    });
}

std::vector<std::uint8_t> EncodePng(const Picture32& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGBA;
    image.flags = PNG_IMAGE_FLAG_FAST;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<std::uint8_t> bytes(size);
    if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.rgba.data(), 0, nullptr))
        throw cli::Error(std::string("a picture cannot be encoded: ") + image.message);
    bytes.resize(size);
    return bytes;
}

namespace {

struct Point {
    float x, y;
};
using Stroke = std::vector<Point>;

struct Glyph {
    float width = 0.6f;
    std::vector<Stroke> strokes;
};

// Part of an ellipse; degrees counted from the right, upwards.
Stroke Arc(float cx, float cy, float rx, float ry, float from, float to) {
    Stroke out;
    constexpr int kSteps = 20;
    for (int i = 0; i <= kSteps; ++i) {
        const float a = Mix(from, to, F(i) / kSteps) * kPi / 180;
        out.push_back({cx + rx * std::cos(a), cy + ry * std::sin(a)});
    }
    return out;
}

// A bow on a stem at the left: up to the top and down to `low`, `reach` wide.
Stroke Bow(float low, float high, float straight, float reach) {
    Stroke out = Arc(straight, (low + high) / 2, reach - straight, (high - low) / 2, 90, -90);
    out.insert(out.begin(), {0, high});
    out.push_back({0, low});
    return out;
}

// Letters in a box one high, y upwards from the line.
Glyph Letter(char c) {
    switch (c) {
        case 'A':
            return {0.74f, {{{0, 0}, {0.37f, 1}, {0.74f, 0}}, {{0.13f, 0.34f}, {0.61f, 0.34f}}}};
        case 'B':
            return {0.56f, {{{0, 0}, {0, 1}}, Bow(0.53f, 1, 0.28f, 0.5f), Bow(0, 0.53f, 0.28f, 0.56f)}};
        case 'D':
            return {0.7f, {{{0, 0}, {0, 1}}, Bow(0, 1, 0.22f, 0.7f)}};
        case 'E':
            return {0.5f, {{{0.5f, 1}, {0, 1}, {0, 0}, {0.5f, 0}}, {{0, 0.52f}, {0.44f, 0.52f}}}};
        case 'G': {
            Stroke round = Arc(0.42f, 0.5f, 0.42f, 0.5f, 48, 325);
            round.push_back({0.78f, 0.45f});
            round.push_back({0.48f, 0.45f});
            return {0.8f, {round}};
        }
        case 'H':
            return {0.64f, {{{0, 0}, {0, 1}}, {{0.64f, 0}, {0.64f, 1}}, {{0, 0.52f}, {0.64f, 0.52f}}}};
        case 'I':
            return {0.02f, {{{0.01f, 0}, {0.01f, 1}}}};
        case 'K':
            return {0.58f, {{{0, 0}, {0, 1}}, {{0.55f, 1}, {0, 0.42f}}, {{0.2f, 0.63f}, {0.58f, 0}}}};
        case 'L':
            return {0.48f, {{{0, 1}, {0, 0}, {0.48f, 0}}}};
        case 'M':
            return {0.82f, {{{0, 0}, {0.06f, 1}, {0.41f, 0.22f}, {0.76f, 1}, {0.82f, 0}}}};
        case 'N':
            return {0.66f, {{{0, 0}, {0, 1}, {0.66f, 0}, {0.66f, 1}}}};
        case 'O':
            return {0.86f, {Arc(0.43f, 0.5f, 0.43f, 0.5f, 0, 360)}};
        case 'P':
            return {0.54f, {{{0, 0}, {0, 1}}, Bow(0.45f, 1, 0.26f, 0.54f)}};
        case 'R':
            return {0.58f, {{{0, 0}, {0, 1}}, Bow(0.5f, 1, 0.26f, 0.52f), {{0.26f, 0.5f}, {0.58f, 0}}}};
        case 'S': {
            Stroke s = Arc(0.27f, 0.745f, 0.25f, 0.255f, 35, 270);
            const Stroke lower = Arc(0.27f, 0.245f, 0.27f, 0.245f, 90, -145);
            s.insert(s.end(), lower.begin(), lower.end());
            return {0.54f, {s}};
        }
        case 'T':
            return {0.6f, {{{0, 1}, {0.6f, 1}}, {{0.3f, 1}, {0.3f, 0}}}};
        case 'V':
            return {0.7f, {{{0, 1}, {0.35f, 0}, {0.7f, 1}}}};
        case 'W':
            return {1.0f, {{{0, 1}, {0.25f, 0}, {0.5f, 0.85f}, {0.75f, 0}, {1, 1}}}};
        case 'Y':
            return {0.64f, {{{0, 1}, {0.32f, 0.48f}, {0.64f, 1}}, {{0.32f, 0.48f}, {0.32f, 0}}}};
        default:
            return {0.28f, {}};
    }
}

float DistanceTo(const Stroke& stroke, const Point& p) {
    float best = 1e9f;
    for (std::size_t i = 1; i < stroke.size(); ++i) {
        const Point &a = stroke[i - 1], &b = stroke[i];
        const float dx = b.x - a.x, dy = b.y - a.y;
        const float t = Clamp01(((p.x - a.x) * dx + (p.y - a.y) * dy) / std::max(dx * dx + dy * dy, 1e-9f));
        best = std::min(best, std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy));
    }
    return best;
}

}  // namespace

Picture32 Lettering(const std::string& text, unsigned width, unsigned height, float size, float spacing,
                    float weight, const color& top, const color& bottom, const color& glow) {
    std::vector<Stroke> strokes;
    float at = 0;
    for (const char c : text) {
        Glyph glyph = Letter(c);
        for (Stroke& stroke : glyph.strokes) {
            for (Point& point : stroke) point.x += at;
            strokes.push_back(std::move(stroke));
        }
        at += glyph.width + spacing;
    }
    const float length = at - spacing;
    const float aspect = F(width) / F(height);
    const float pixel = 1 / (size * F(height));
    return Painted(width, height, [&](float u, float v) {
        const Point p{(u - 0.5f) * aspect / size + length / 2, (0.5f - v) / size + 0.5f};
        float distance = 1e9f;
        for (const Stroke& stroke : strokes) {
            if (p.x < stroke.front().x - 2 || p.x > stroke.front().x + 2) continue;
            distance = std::min(distance, DistanceTo(stroke, p));
        }
        const float core = 1 - Smooth(weight - pixel, weight + pixel, distance);
        const float border =
            Smooth(0, 0.06f, u) * Smooth(0, 0.06f, 1 - u) * Smooth(0, 0.12f, v) * Smooth(0, 0.12f, 1 - v);
        const float halo = glow.a * std::exp(-distance / 0.13f) * border;
        const color ink = Mix(bottom, top, Clamp01(p.y));
        color out = Mix(glow, ink, core);
        out.a = std::max(core * ink.a, halo);
        return out;
    });
}

}  // namespace demo
