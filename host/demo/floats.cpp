#include <algorithm>
#include <array>
#include <cmath>

#include "beacon.h"
#include "demo_scenes.h"
#include "night_sky.h"
#include "sea.h"
#include "stage.h"

namespace demo {
namespace {

using osm3d::QuatFromAxisAngle;

constexpr vect3 kUp{0, 0, 1};
constexpr float kFrame = 1.0f / 30;
constexpr float kTo = kFloatsShot + 0.3f;

// Low over the water, along the line of floats.
vect3 Eye(float time) {
    const float t = time / kFloatsShot;
    return {Mix(-2.6f, 0.9f, t), Mix(-5.6f, -4.4f, t), Mix(1.15f, 0.95f, t)};
}
vect3 Aim(float time) {
    const float t = time / kFloatsShot;
    return {Mix(0.2f, 1.2f, t), 3, 1.35f};
}

constexpr std::array<color, 5> kTints{{{0.30f, 0.86f, 0.74f, 1},
                                       {1.00f, 0.66f, 0.22f, 1},
                                       {0.32f, 0.52f, 1.00f, 1},
                                       {0.95f, 0.34f, 0.40f, 1},
                                       {0.60f, 0.90f, 0.34f, 1}}};

class Floats {
  public:
    void Make(const std::string& path, const std::string& effect) {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        Texture* sky = stage_.BackgroundCube(NightSky(512, {0.27f, 0.22f, 0.38f, 1}, true));
        glow_ = stage_.Picture(GlowPicture(0.4f));

        Look paints;
        paints.lit = false;
        Layer cube, tints;
        cube.texture = sky;
        tints.texture = stage_.Picture(Painted(64, 8, [](float u, float) {
            return kTints[std::min(static_cast<std::size_t>(u * 8), kTints.size() - 1)];
        }));
        paints.layers = {cube, tints};
        glass_ = effect.empty() ? stage_.Material(paints) : stage_.Effect(effect, stage_.Within(paints));

        Look rope;
        rope.specular = {0.1f, 0.1f, 0.1f, 1};
        rope.power = 8;
        Layer twist;
        twist.texture = stage_.Picture(Painted(64, 64, [](float u, float v) {
            const float s = 0.55f + 0.45f * std::sin(2 * kPi * (u * 6 + v * 2));
            return Shade(color{0.62f, 0.50f, 0.36f, 1}, 0.45f + 0.55f * s);
        }));
        twist.tiling_u = 12;
        rope.layers = {twist};
        rope_ = stage_.Material(rope);
        Look dark;
        dark.lit = false;
        outline_ = stage_.Material(dark);
        dark.blend = Blend::Add;
        dark.two_sided = true;
        Layer soft;
        soft.texture = glow_;
        dark.layers = {soft};
        below_ = stage_.Material(dark);
        MaterialSimple* sea = SeaLook(stage_, {0.03f, 0.07f, 0.15f, 1}, {0.26f, 0.24f, 0.42f, 1});
        air_ = stage_.Material(dark);

        struct Place {
            float x, y, radius;
            std::size_t tint;
        };
        const Place places[] = {{-0.9f, -2.2f, 0.52f, 0}, {0.65f, -0.6f, 0.66f, 1}, {2.3f, -1.6f, 0.48f, 3},
                                {-2.6f, 0.6f, 0.60f, 2},  {-0.8f, 1.9f, 0.72f, 3},  {2.2f, 1.4f, 0.62f, 2},
                                {4.2f, 0.6f, 0.58f, 0},   {0.8f, 4.4f, 0.70f, 4},   {-3.6f, 4.0f, 0.66f, 1},
                                {4.0f, 4.2f, 0.70f, 1},   {-1.6f, 7.2f, 0.66f, 2},  {2.6f, 8.2f, 0.68f, 0},
                                {6.6f, 3.4f, 0.62f, 4},   {-6.2f, 7.6f, 0.66f, 0},  {6.4f, 9.0f, 0.70f, 3}};
        for (const Place& place : places) Globe({place.x, place.y, 0}, place.radius, place.tint);

        stage_.Mesh(SeaShape(), sea, stage_.Root());
        Coast();
        MakeBeacon(stage_, kLamp, eye_, glow_, 3.3f);

        const auto far = [&](const vect3& at, const color& c) {
            stage_.Light(stage_.Node(stage_.Root(), at), Still(c), c, 1e6f, 0);
        };
        far(kMoonWay * 2000, {0.45f, 0.50f, 0.70f, 1});
        far({-900, -1500, 700}, {0.16f, 0.18f, 0.30f, 1});
        stage_.Ambient({0.20f, 0.18f, 0.26f, 1});
        HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Aim));
        stage_.Camera(node, Still(0.94f), 0.2f, 2000, 2000);
        stage_.Save(path);
    }

  private:
    static constexpr vect3 kLamp{-52, 150, 31};

    // On the swell, turning a little, in a net of rope; and its image.
    void Globe(const vect3& at, float radius, std::size_t tint) {
        Shape glass = Sphere(1, 40, 24);
        glass.Paint({(F(tint) + 0.5f) / 8, 0.5f});
        Shape net;
        net.Add(Torus(1.02f, 0.035f, 40, 6));
        for (int i = 0; i < 3; ++i)
            net.Add(Torus(1.02f, 0.030f, 40, 6), Placed({0, 0, 0},
                                                        Then(QuatFromAxisAngle({1, 0, 0}, kPi / 2),
                                                             QuatFromAxisAngle(kUp, kPi / 3 * F(i))),
                                                        1));
        net.Add(Torus(0.16f, 0.06f, 20, 8), Moved({0, 0, 1.06f}));
        const float phase = at.x * 1.3f + at.y * 0.7f;
        for (const float side : {1.0f, -1.0f}) {
            const auto place = [=](float t) {
                const float swell = 0.07f * std::sin(1.5f * t + phase);
                return vect3{at.x + 0.05f * std::sin(0.9f * t + phase), at.y,
                             side * (0.32f * radius + swell)};
            };
            const auto rocking = [=](float t) {
                const quat tilt = QuatFromAxisAngle(Normal({1, 0.4f, 0}),
                                                    side * (0.22f * std::sin(1.2f * t + phase) + 0.1f));
                return Then(Then(QuatFromAxisAngle(kUp, phase + 0.2f * t), tilt),
                            side > 0 ? kQuatIdentity : QuatFromAxisAngle({1, 0, 0}, kPi));
            };
            HierarchyNode* node =
                stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, 0.1f, place),
                              Sampled<quat>(0, kTo, 0.1f, rocking), Still(vect3{radius, radius, radius}));
            stage_.Mesh(glass, glass_, node);
            stage_.Mesh(net, rope_, node);
            HierarchyNode* halo = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, 0.1f, place));
            halo->target = eye_;
            color c = Mix(kTints[tint], color{1, 0.8f, 0.5f, 1}, 0.45f);
            c.a = side > 0 ? 0.34f : 0.55f;
            stage_.Mesh(Sprite(radius * (side > 0 ? 2.6f : 3.2f), c), side > 0 ? air_ : below_, halo);
        }
    }

    // Far hills with the tower, and their image.
    void Coast() {
        const auto hill = [](float u) {
            return 13 * Smooth(0, 0.45f, u) * Smooth(0, 0.5f, 1 - u) +
                   3.4f * Fbm(u * 9 + 3, 0.5f, 256, 5) * Smooth(0, 0.1f, u) * Smooth(0, 0.1f, 1 - u);
        };
        Shape coast = ColoredSurface(
            120, 1,
            [&](float u, float v) {
                return vect3{Mix(-130, 20, u), 158, std::max(hill(u), 0.0f) * v};
            },
            [](float, float v) {
                return Mix(color{0.20f, 0.17f, 0.29f, 1}, color{0.09f, 0.09f, 0.17f, 1}, v);
            });
        Shape tower = TowerOutline(kLamp, 5);
        tower.normals.clear();
        tower.colors.assign(tower.positions.size(), {0.08f, 0.08f, 0.15f, 1});
        coast.Add(tower);
        stage_.Mesh(coast, outline_, stage_.Root());
        Shape image = coast;
        for (vect3& p : image.positions) p.z = -p.z;
        for (std::size_t i = 0; i + 2 < image.indices.size(); i += 3)
            std::swap(image.indices[i], image.indices[i + 1]);
        stage_.Mesh(image, outline_, stage_.Root());
    }

    Stage stage_;
    HierarchyNode* eye_ = nullptr;
    Texture* glow_ = nullptr;
    osm3d::Material *glass_ = nullptr, *rope_ = nullptr, *outline_ = nullptr, *below_ = nullptr,
                    *air_ = nullptr;
};

}  // namespace

void MakeFloats(const std::string& path, const std::string& effect) { Floats().Make(path, effect); }

}  // namespace demo
