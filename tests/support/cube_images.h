// Six images for a cube map, told apart in each quarter.
#pragma once

#include <array>
#include <vector>

#include "scene/value_types.h"
#include "support/om2_scene.h"

namespace support {

/// Side `key` of the world, z up: who looks along `forward` with `up` up sees image `key` upright.
struct CubeSide {
    u32 key;
    osm3d::vect3 forward, up;
    u32 color;  // 0xRRGGBB
};

inline constexpr std::array<CubeSide, 6> kCubeSides{{
    {1, {0, 0, 1}, {0, -1, 0}, 0xff0000},
    {2, {0, 0, -1}, {0, 1, 0}, 0x00ff00},
    {3, {-1, 0, 0}, {0, 0, 1}, 0x0000ff},
    {4, {1, 0, 0}, {0, 0, 1}, 0xffff00},
    {5, {0, -1, 0}, {0, 0, 1}, 0xff00ff},
    {6, {0, 1, 0}, {0, 0, 1}, 0x00ffff},
}};

/// What the quarter of a side's image holds: `right` and `low` choose it. Turned or mirrored, an image is
/// another one.
inline u32 QuarterColor(const CubeSide& side, bool right, bool low) {
    if (low) return right ? side.color : 0x000000;
    return right ? 0x808080 : 0xffffff;
}

/// The bytes of an image file of `size` x `size` texels, `size` even.
inline std::vector<u8> QuarteredImage(const CubeSide& side, u32 size) {
    std::vector<om2::Rgb> pixels;
    for (u32 y = 0; y < size; ++y) {
        for (u32 x = 0; x < size; ++x) {
            const u32 c = QuarterColor(side, x >= size / 2, y >= size / 2);
            pixels.push_back(
                {static_cast<int>(c >> 16), static_cast<int>(c >> 8 & 0xff), static_cast<int>(c & 0xff)});
        }
    }
    return om2::Tga(size, size, pixels);
}

}  // namespace support
