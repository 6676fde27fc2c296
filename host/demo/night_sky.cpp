#include "night_sky.h"

#include <cmath>

namespace demo {

const vect3 kMoonWay = Normal({0.35f, 0.88f, 0.34f});

namespace {

// The direction through a face at `s` to the right and `t` downwards, -1 to 1.
vect3 Way(std::size_t face, float s, float t) {
    switch (face) {
        case 0:
            return {s, t, 1};
        case 1:
            return {s, -t, -1};
        case 2:
            return {-1, s, -t};
        case 3:
            return {1, -s, -t};
        case 4:
            return {-s, -1, -t};
        default:
            return {s, 1, -t};
    }
}

// The background stops one texel short of a face's border: there the face ends.
float ToFace(float u, unsigned size) {
    const float w = F(size);
    return 2 * (u - 1 / w) / (1 - 2 / w) - 1;
}

float Cloudy(const vect3& d, float scale, float seed, int octaves) {
    return Fbm(d.x * scale + d.z * scale * 0.73f + seed, d.y * scale - d.z * scale * 0.41f + seed, 4096,
               octaves);
}

color Plus(const color& a, const color& b, float s) {
    return {a.r + b.r * s, a.g + b.g * s, a.b + b.b * s, 1};
}

color Sky(const vect3& d, const color& horizon) {
    const float high = Clamp01(d.z);
    color c =
        Mix(color{0.055f, 0.075f, 0.20f, 1}, color{0.012f, 0.020f, 0.075f, 1}, Smooth(0.1f, 0.9f, high));
    c = Mix(horizon, c, std::pow(Clamp01(high * 2.1f), 0.55f));
    // A band of stars too far to tell apart, with dust in it.
    const vect3 pole = Normal({0.52f, -0.30f, 0.60f});
    const float off = osm3d::Dot(d, pole) + 0.10f * Cloudy(d, 2.2f, 30, 4);
    const float band = std::exp(-off * off * 26);
    const float wisps = Clamp01(0.5f + 0.9f * Cloudy(d, 4, 51, 5));
    const float dust = Smooth(-0.10f, 0.30f, Cloudy(d, 3.2f, 11, 5) + 1.9f * std::abs(off));
    c = Plus(c, Mix(color{0.16f, 0.20f, 0.44f, 1}, color{0.52f, 0.36f, 0.50f, 1}, wisps),
             band * wisps * dust * 0.85f * Smooth(0.02f, 0.35f, high));
    // The moon and the air that it lights.
    const float away = std::acos(std::min(osm3d::Dot(d, kMoonWay), 1.0f));
    c = Plus(c, {0.42f, 0.48f, 0.72f, 1}, 0.55f * std::exp(-away * 5.0f) + 0.35f * std::exp(-away * 22.0f));
    constexpr float kMoon = 0.050f;
    if (away < kMoon * 1.05f) {
        const vect3 right = Normal(osm3d::Cross(kMoonWay, {0, 0, 1})), up = osm3d::Cross(right, kMoonWay);
        const float x = osm3d::Dot(d, right) / kMoon, y = osm3d::Dot(d, up) / kMoon;
        const float sea = Smooth(-0.15f, 0.35f, Fbm(x * 1.5f + 1, y * 1.5f + 6, 64, 4));
        const color face = Mix(color{0.98f, 0.97f, 0.92f, 1}, color{0.76f, 0.78f, 0.82f, 1}, sea);
        c = Mix(face, c, Smooth(kMoon * 0.97f, kMoon * 1.03f, away));
    }
    return c;
}

// Adds `c` to the pixel.
void Light(Picture32& picture, int x, int y, const color& c, float s) {
    if (x < 0 || y < 0 || x >= static_cast<int>(picture.width) || y >= static_cast<int>(picture.height))
        return;
    std::uint8_t* p =
        &picture.rgba[4 * (static_cast<std::size_t>(y) * picture.width + static_cast<std::size_t>(x))];
    const float channels[3] = {c.r, c.g, c.b};
    for (int i = 0; i < 3; ++i)
        p[i] = static_cast<std::uint8_t>(std::min(F(p[i]) + 255 * s * channels[i], 255.0f));
}

void Stars(std::array<Picture32, 6>& faces, unsigned size, bool water) {
    Random random(19);
    for (int i = 0; i < 4200; ++i) {
        const vect3 way = Normal({random.Between(-1, 1), random.Between(-1, 1), random.Between(-0.05f, 1)});
        const float bright = std::pow(random.Next(), 7.0f);
        const color tint = Mix(color{0.72f, 0.82f, 1, 1}, color{1, 0.88f, 0.72f, 1}, random.Next());
        const float low = Smooth(0.03f, 0.25f, way.z), strength = Mix(0.16f, 1.0f, bright) * low;
        if (osm3d::Dot(way, kMoonWay) > 0.985f) continue;
        for (const float side : {1.0f, -1.0f}) {
            if (side < 0 && !water) continue;
            const vect3 d{way.x, way.y, way.z * side};
            for (std::size_t face = 0; face < 6; ++face) {
                // Solves Way for s and t.
                const vect3 axis = Way(face, 0, 0), s = Way(face, 1, 0) - axis, t = Way(face, 0, 1) - axis;
                const float along = osm3d::Dot(d, axis);
                if (along < 0.5f) continue;
                const float fs = osm3d::Dot(d, s) / along, ft = osm3d::Dot(d, t) / along;
                if (std::abs(fs) > 1.01f || std::abs(ft) > 1.01f) continue;
                const float w = F(size);
                const float px = ((fs + 1) / 2 * (1 - 2 / w) + 1 / w) * w - 0.5f;
                const float py = ((ft + 1) / 2 * (1 - 2 / w) + 1 / w) * w - 0.5f;
                const float spread = Mix(2.6f, 0.9f, bright);
                for (int y = -2; y <= 2; ++y)
                    for (int x = -2; x <= 2; ++x) {
                        const int ix = static_cast<int>(std::lround(px)) + x,
                                  iy = static_cast<int>(std::lround(py)) + y;
                        const float dx = F(ix) - px, dy = F(iy) - py;
                        Light(faces[face], ix, iy, tint,
                              strength * (side < 0 ? 0.4f : 1) * std::exp(-(dx * dx + dy * dy) * spread));
                    }
            }
        }
    }
}

}  // namespace

std::array<Picture32, 6> NightSky(unsigned size, const color& horizon, bool water) {
    std::array<Picture32, 6> faces;
    for (std::size_t face = 0; face < 6; ++face)
        faces[face] = Painted(size, size, [&](float u, float v) {
            vect3 d = Normal(Way(face, ToFace(u, size), ToFace(v, size)));
            if (d.z >= 0) return Sky(d, horizon);
            d.z = -d.z;
            if (water) return Shade(Sky(d, horizon), 0.8f);
            return Shade(horizon, 1 - 0.6f * Smooth(0, 0.5f, d.z));
        });
    Stars(faces, size, water);
    return faces;
}

}  // namespace demo
