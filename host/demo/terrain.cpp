#include "terrain.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace demo {
namespace {

constexpr std::array<vect3, 8> kPath{{{-30, -47, 0},
                                      {-22, -36, 0},
                                      {-24, -24, 0},
                                      {-12, -18, 0},
                                      {-8, -6, 0},
                                      {4, -4, 0},
                                      {6, 6, 0},
                                      {14, 10, 0}}};

}  // namespace

float DistanceToPath(float x, float y) {
    float best = 1e9f;
    for (std::size_t i = 1; i < kPath.size(); ++i) {
        const vect3 &a = kPath[i - 1], &b = kPath[i];
        const vect3 d = b - a, p{x - a.x, y - a.y, 0};
        const float t = Clamp01(osm3d::Dot(p, d) / osm3d::Dot(d, d));
        best = std::min(best, Length(p - d * t));
    }
    return best;
}

float GroundHeight(float x, float y) {
    const float angle = std::atan2(y, x), distance = std::hypot(x / 1.12f, y);
    const float c = std::cos(angle), s = std::sin(angle);
    const float shore =
        58 + 9 * Noise(c * 1.7f + 4, s * 1.7f + 4, 64) + 3.5f * Noise(c * 5 + 9, s * 5 + 9, 64);
    const float inside = 1 - distance / shore;
    // Steep rock towards the open sea, a flat shore where the village lies.
    const float steep = Smooth(-0.5f, 0.75f, (x * 0.72f + y * 0.69f) / std::max(distance, 1.0f));
    const float rise = Mix(Smooth(0, 0.95f, inside) * 12 + inside * 3, Smooth(0, 0.36f, inside) * 16, steep);
    float height = inside < 0 ? inside * 40 : rise;
    const float rough = Smooth(0.02f, 0.3f, inside);
    height += rough * (2.4f * Fbm(x * 0.055f, y * 0.055f, 256, 5) +
                       Mix(0.3f, 1.8f, steep) * std::abs(Fbm(x * 0.12f + 7, y * 0.12f, 256, 4)));
    const float tower = std::hypot(x - kTowerFoot.x, y - kTowerFoot.y);
    return Mix(kTowerFoot.z, height, Smooth(6.5f, 15, tower));
}

vect3 GroundPoint(float x, float y) { return {x, y, GroundHeight(x, y)}; }

float GroundSlope(float x, float y) {
    constexpr float kStep = 0.6f;
    return std::hypot(GroundHeight(x + kStep, y) - GroundHeight(x - kStep, y),
                      GroundHeight(x, y + kStep) - GroundHeight(x, y - kStep)) /
           (2 * kStep);
}

Shape GroundShape(int cells) {
    Shape out;
    const auto at = [&](int i) { return Mix(-kIslandHalf, kIslandHalf, F(i) / F(cells)); };
    const std::size_t side = static_cast<std::size_t>(cells) + 1;
    std::vector<float> heights(side * side);
    for (int j = 0; j <= cells; ++j)
        for (int i = 0; i <= cells; ++i)
            heights[static_cast<std::size_t>(j) * side + static_cast<std::size_t>(i)] =
                GroundHeight(at(i), at(j));
    const auto height = [&](int i, int j) {
        i = std::clamp(i, 0, cells);
        j = std::clamp(j, 0, cells);
        return heights[static_cast<std::size_t>(j) * side + static_cast<std::size_t>(i)];
    };
    const float step = 2 * kIslandHalf / F(cells);
    for (int j = 0; j <= cells; ++j)
        for (int i = 0; i <= cells; ++i) {
            const vect3 normal =
                Normal({height(i - 1, j) - height(i + 1, j), height(i, j - 1) - height(i, j + 1), 2 * step});
            out.Vertex({at(i), at(j), std::max(height(i, j), 0.0f)}, normal,
                       {F(i) / F(cells), 1 - F(j) / F(cells)});
        }
    for (int j = 0; j < cells; ++j)
        for (int i = 0; i < cells; ++i) {
            if (std::max({height(i, j), height(i + 1, j), height(i, j + 1), height(i + 1, j + 1)}) <= 0)
                continue;
            const auto a = static_cast<std::uint32_t>(j * (cells + 1) + i);
            const std::uint32_t up = a + static_cast<std::uint32_t>(cells) + 1;
            // The diagonal along which the ground bends less.
            if (std::abs(height(i, j) - height(i + 1, j + 1)) <
                std::abs(height(i + 1, j) - height(i, j + 1))) {
                out.Quad(a, a + 1, up + 1, up);
            } else {
                out.Quad(a + 1, up + 1, up, a);
            }
        }
    return out;
}

Picture32 GroundPicture(unsigned size) {
    return Painted(size, size, [](float u, float v) {
        const float x = Mix(-kIslandHalf, kIslandHalf, u), y = Mix(kIslandHalf, -kIslandHalf, v);
        if (std::hypot(x, y) > 82) return color{0.3f, 0.28f, 0.28f, 1};
        const float height = GroundHeight(x, y), slope = GroundSlope(x, y);
        const float grain = Fbm(x * 0.45f, y * 0.45f, 256, 4), patch = Fbm(x * 0.07f + 3, y * 0.07f, 256, 3);
        color grass =
            Mix(color{0.22f, 0.30f, 0.15f, 1}, color{0.44f, 0.44f, 0.20f, 1}, Clamp01(0.45f + 0.8f * patch));
        grass = Shade(grass, 1 + 0.35f * grain);
        // Rock in layers.
        const float layers = 0.5f + 0.5f * std::sin(height * 2.6f + 2.5f * patch);
        color rock = Mix(color{0.36f, 0.32f, 0.32f, 1}, color{0.56f, 0.48f, 0.43f, 1}, layers * 0.7f);
        rock = Shade(rock, 1 + 0.45f * grain);
        const color sand = Shade(color{0.74f, 0.62f, 0.47f, 1}, 1 + 0.15f * grain);
        color ground = Mix(grass, rock, Smooth(0.62f, 0.95f, slope + 0.25f * grain));
        ground = Mix(sand, ground, Smooth(0.8f, 2.0f, height + 0.6f * grain));
        const float path = DistanceToPath(x + 0.6f * grain, y + 0.6f * patch);
        ground =
            Mix(Shade(color{0.66f, 0.55f, 0.42f, 1}, 1 + 0.2f * grain), ground, Smooth(0.7f, 1.5f, path));
        // Wet at the edge of the sea, and darker in hollows.
        ground = Shade(ground, Mix(0.55f, 1, Smooth(0.05f, 0.5f, height)));
        const float around = (GroundHeight(x + 2.5f, y) + GroundHeight(x - 2.5f, y) +
                              GroundHeight(x, y + 2.5f) + GroundHeight(x, y - 2.5f)) /
                             4;
        return Shade(ground, std::clamp(1 + 0.35f * (height - around), 0.55f, 1.35f));
    });
}

}  // namespace demo
