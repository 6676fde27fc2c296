#include "sea.h"

#include <cmath>

namespace demo {

MaterialSimple* SeaLook(Stage& stage, const color& deep, const color& far) {
    const auto waves = [&](float seed, float stretch) {
        return stage.Picture(Painted(256, 256, [=](float u, float v) {
            const float bend = 0.35f * Fbm(u * 4 + seed, v * 4, 4, 3);
            const float n = Fbm(u * 8 + bend * 3, v * 8 * stretch + bend + seed, 8, 5);
            const float crest = 0.5f + 0.75f * n;
            return color{crest, crest, crest, 0.5f + 0.62f * n};
        }));
    };
    // How the water looks along the direction in which it mirrors: 0 is straight up, 1 the horizon.
    Texture* depth = stage.Picture(Painted(128, 128, [&](float u, float v) {
        const float r = Clamp01(std::hypot(u, v));
        color c = Mix(deep, far, Smooth(0.45f, 1, r));
        c.a = Mix(0.94f, 0.36f, Smooth(0.55f, 0.995f, r));
        return c;
    }));
    Look look;
    look.lit = false;
    look.blend = Blend::Alpha;
    Layer first, second, third;
    first.texture = waves(0, 1);
    first.color_op = 1;
    first.alpha_op = 1;
    first.tiling_u = 60;
    first.tiling_v = 27;
    first.speed_u = 0.055f;
    first.speed_v = 0.03f;
    second.texture = waves(7, 2);
    second.color_op = 4;
    second.alpha_op = 4;
    second.tiling_u = 95;
    second.tiling_v = 42;
    second.speed_u = -0.07f;
    second.speed_v = 0.025f;
    third.texture = depth;
    third.color_op = 4;
    third.alpha_op = 4;
    third.address = 1;
    third.reflection = true;
    look.layers = {first, second, third};
    return stage.Material(look);
}

Shape SeaShape() {
    Shape sea = Surface(140, 140, [](float u, float v) {
        const auto spread = [](float t) {
            const float s = 2 * t - 1;
            return s * (260 + 1240 * s * s * s * s);
        };
        return vect3{spread(u), spread(v), 0};
    });
    for (std::size_t i = 0; i < sea.positions.size(); ++i)
        sea.uvs[i] = {sea.positions[i].x / 1500, sea.positions[i].y / 1500};
    return sea;
}

}  // namespace demo
