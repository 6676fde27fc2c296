#include "beacon.h"

#include <cmath>
#include <utility>

namespace demo {

void MakeBeacon(Stage& stage, const vect3& at, HierarchyNode* eye, Texture* glow, float first) {
    Look look;
    look.lit = false;
    look.two_sided = true;
    look.blend = Blend::Add;
    Shape beams;
    for (int part = 0; part < 2; ++part)
        for (int shell = 0; shell < 10; ++shell) {
            const float spread = 0.008f + 0.0085f * F(shell);
            beams.Add(
                ColoredSurface(
                    24, 10,
                    [=](float u, float v) {
                        const float a = 2 * kPi * u, d = 1 + 150 * v * v, r = 0.5f + d * spread;
                        return vect3{d, r * std::cos(a), r * std::sin(a)};
                    },
                    [=](float, float v) {
                        return color{1, 0.86f, 0.60f, (0.075f - 0.0055f * F(shell)) * (1 - v) * (1 - v)};
                    }),
                Placed({0, 0, 0}, osm3d::QuatFromAxisAngle({0, 0, 1}, kPi * F(part)), 1));
        }
    constexpr float kSeconds = 8;
    stage.Mesh(beams, stage.Material(look),
               stage.Moving(stage.Root(), Still(at), stage.Turning({0, 0, 1}, 0.10f, kSeconds, first)));
    Layer layer;
    layer.texture = glow;
    look.layers = {layer};
    osm3d::Material* light = stage.Material(look);
    for (const auto& [half, strength] : {std::pair{3.5f, 1.0f}, std::pair{16.0f, 0.5f}}) {
        HierarchyNode* node = stage.Node(stage.Root(), at);
        node->target = eye;
        stage.Mesh(Sprite(half, {1, 0.80f, 0.5f, strength}), light, node);
    }
}

Shape TowerOutline(const vect3& lamp, float foot) {
    Shape tower = Lathe({{3.3f, foot - lamp.z},
                         {2.0f, -2.6f},
                         {3.1f, -1.6f},
                         {3.1f, -1.3f},
                         {1.8f, -1.3f},
                         {1.8f, -0.9f},
                         {0.0f, -0.9f}},
                        16);
    tower.Add(Lathe({{0.0f, 1.3f}, {2.1f, 1.3f}, {1.6f, 2.0f}, {0.0f, 2.9f}}, 16));
    for (int i = 0; i < 6; ++i)
        tower.Add(Box({1.7f, -0.06f, -0.9f}, {1.82f, 0.06f, 1.3f}),
                  Placed({0, 0, 0}, osm3d::QuatFromAxisAngle({0, 0, 1}, kPi / 3 * F(i)), 1));
    Shape out;
    out.Add(tower, Moved(lamp));
    return out;
}

}  // namespace demo
