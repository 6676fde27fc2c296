#include <algorithm>
#include <array>
#include <cmath>

#include "demo_scenes.h"
#include "evening_sky.h"
#include "sea.h"
#include "stage.h"
#include "terrain.h"

namespace demo {
namespace {

using osm3d::QuatFromAxisAngle;

constexpr float kFrame = 1.0f / 30;
constexpr vect3 kUp{0, 0, 1};
constexpr vect3 kLamp{kTowerFoot.x, kTowerFoot.y, kTowerFoot.z + 24.6f};
constexpr float kLampOn = 2.6f;
constexpr float kBeamTurns = 0.14f;

// --- The camera ------------------------------------------------------------------------------------------

// Starts and ends without haste, but not from rest.
float Gliding(float from, float to, float time) {
    const float t = (time - from) / (to - from);
    return Mix(t, Eased(from, to, time), 0.55f);
}

vect3 FirstEye(float time) {
    const float t = Gliding(0, kSecondShot, time);
    return Mix(vect3{-88, -182, 3.2f}, vect3{-58, -96, 8.5f}, t) + vect3{0, 0, 0.25f * std::sin(time * 1.3f)};
}
vect3 FirstAim(float time) {
    return Mix(vect3{-34, 0, 25}, vect3{-13, 2, 23}, Gliding(0, kSecondShot, time));
}
vect3 SecondEye(float time) {
    const float t = Gliding(kSecondShot, kClockworkIn, time);
    const float angle = Mix(-2.25f, -1.05f, t), near = Eased(kSecondShot + 1.0f, kClockworkIn, time);
    const float distance = Mix(40, 4.4f, near);
    return {kLamp.x + distance * std::cos(angle), kLamp.y + distance * std::sin(angle),
            Mix(17, kLamp.z + 0.5f, Eased(kSecondShot - 1, kClockworkIn - 0.2f, time))};
}
vect3 SecondAim(float time) {
    return Mix(vect3{kLamp.x, kLamp.y, 26}, kLamp, Eased(kSecondShot, kClockworkIn - 0.8f, time));
}
vect3 ThirdEye(float time) {
    const float t = Gliding(kThirdShot, kEnd, time);
    const float angle = Mix(-2.32f, -1.86f, t), distance = Mix(128, 150, t);
    return {distance * std::cos(angle), distance * std::sin(angle), Mix(7, 46, t)};
}
vect3 ThirdAim(float time) {
    const float t = Eased(kThirdShot + 1, kEnd + 0.6f, time);
    return Mix(vect3{2, 4, 21}, vect3{6, 10, 50}, t);
}

vect3 Eye(float time) {
    if (time < kSecondShot) return FirstEye(time);
    return time < (kClockworkIn + kThirdShot) / 2 ? SecondEye(time) : ThirdEye(time);
}

// --- Colours ---------------------------------------------------------------------------------------------

constexpr color kFogColor{0.60f, 0.38f, 0.48f, 1};
constexpr color kNightFogColor{0.30f, 0.21f, 0.34f, 1};

// One block of colour for each of eight by eight.
enum Paint { kRoof, kWall, kWood, kDark, kPineLow, kPineHigh, kPineWarm, kSail, kHull, kStone, kIron, kRed };
constexpr std::array<color, 12> kPaints{{{0.46f, 0.20f, 0.17f, 1},
                                         {0.62f, 0.54f, 0.46f, 1},
                                         {0.42f, 0.29f, 0.21f, 1},
                                         {0.10f, 0.09f, 0.11f, 1},
                                         {0.10f, 0.20f, 0.15f, 1},
                                         {0.16f, 0.28f, 0.17f, 1},
                                         {0.27f, 0.31f, 0.15f, 1},
                                         {0.66f, 0.60f, 0.53f, 1},
                                         {0.20f, 0.32f, 0.40f, 1},
                                         {0.48f, 0.43f, 0.42f, 1},
                                         {0.20f, 0.21f, 0.24f, 1},
                                         {0.66f, 0.16f, 0.13f, 1}}};

Picture32 PalettePicture() {
    return Painted(128, 128, [](float u, float v) {
        const auto index = static_cast<std::size_t>(v * 8) * 8 + static_cast<std::size_t>(u * 8);
        return kPaints[std::min(index, kPaints.size() - 1)];
    });
}

Shape Colored(Shape shape, Paint paint) {
    const int index = paint;
    shape.Paint({(F(index % 8) + 0.5f) / 8, (F(index / 8) + 0.5f) / 8});
    return shape;
}

// --- The island ------------------------------------------------------------------------------------------

class Island {
  public:
    void Make(const std::string& path) {
        Textures();
        MakeEveningSky(stage_, stage_.Moving(stage_.Root(), Sampled<vect3>(0, kEnd, kFrame, Eye)), glow_);
        Materials();
        MirrorRoot();
        Ground();
        Village();
        Trees();
        Rocks();
        Tower();
        Boats();
        Lanterns();
        Sea();
        Lights();
        Cameras();
        stage_.Fog(
            Sampled<color>(0, kEnd, 0.2f, [](float t) { return Mix(kFogColor, kNightFogColor, Dusk(t)); }),
            60, 0.5f, 1300);
        stage_.Ambient({0.23f, 0.21f, 0.35f, 1});
        stage_.BackgroundColor(SkyColor(0, 0));
        stage_.Save(path);
    }

  private:
    // A shape that stands still, and its image in the water.
    void Solid(const Shape& shape, MaterialSimple* material) {
        stage_.Mesh(shape, material, ground_);
        stage_.Mesh(shape.Mirrored(), material, ground_);
    }

    void Textures() {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kEnd, kFrame, Eye));
        ground_ = stage_.Node(stage_.Root(), {0, 0, 0});
        glow_ = stage_.Picture(GlowPicture(1));
        palette_ = stage_.Picture(PalettePicture());
    }

    void Materials() {
        Look look;
        Layer layer;
        layer.texture = stage_.Picture(GroundPicture(1024));
        layer.color_op = 4;
        Layer grain;
        grain.texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float n = 0.5f + 0.38f * Fbm(u * 8, v * 8, 8, 6);
            return color{n, n, n, 1};
        }));
        grain.color_op = 4;
        grain.tiling_u = grain.tiling_v = 28;
        look.layers = {layer, grain};
        ground_look_ = stage_.Material(look);

        look.layers = {layer};
        look.layers[0].texture = palette_;
        painted_ = stage_.Material(look);
        look.two_sided = true;
        painted_both_ = stage_.Material(look);

        Look shine;
        shine.specular = {0.5f, 0.45f, 0.4f, 1};
        shine.power = 24;
        layer.texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float grime = 0.5f + 0.5f * Fbm(u * 8, v * 4, 8, 5);
            const float streak = 0.5f + 0.5f * Noise(u * 32, v * 1.5f, 32);
            const int band = static_cast<int>(v * 7);
            color c = band % 2 == 0 ? color{0.74f, 0.70f, 0.64f, 1} : color{0.60f, 0.13f, 0.11f, 1};
            c = Shade(c, 0.86f + 0.14f * grime - 0.10f * streak);
            // Windows up the tower.
            const float wu = std::abs(std::fmod(u * 3 + 0.35f, 1.0f) - 0.5f) / 3;
            const float wv = std::abs(std::fmod(v * 3.5f, 1.0f) - 0.5f) / 3.5f;
            if (wu < 0.022f && wv < 0.028f) c = {0.14f, 0.10f, 0.12f, 1};
            return c;
        }));
        layer.color_op = 4;
        shine.layers = {layer};
        tower_ = stage_.Material(shine);

        Look metal;
        metal.specular = {0.9f, 0.8f, 0.7f, 1};
        metal.power = 40;
        Layer base;
        base.texture = palette_;
        Layer mirror;
        mirror.texture = stage_.Picture(Painted(128, 128, [](float u, float v) {
            const float r = Clamp01(std::hypot(u, v));
            const float e = 90 * (1 - r);
            color c = SkyColor(kPi * 0.5f - 1.2f * u, e);
            const float edge = Smooth(0.04f, 0, std::abs(r - 0.72f));
            return Shade(Mix(c, color{1, 0.95f, 0.85f, 1}, edge * 0.7f), 0.75f);
        }));
        mirror.color_op = 6;
        mirror.address = 1;
        mirror.reflection = true;
        mirror.alpha_op = 2;
        metal.layers = {base, mirror};
        metal_ = stage_.Material(metal);

        Look unlit;
        unlit.lit = false;
        unlit.two_sided = true;
        bright_ = stage_.Material(unlit);
        unlit.blend = Blend::Add;
        Layer glow;
        glow.texture = glow_;
        unlit.layers = {glow};
        water_glow_ = stage_.Material(unlit);
        unlit.layers.clear();
        water_beam_ = stage_.Material(unlit);
        sea_ = SeaLook(stage_, {0.07f, 0.17f, 0.30f, 1}, {0.30f, 0.27f, 0.46f, 1});
        beam_ = stage_.Material(unlit);
        Look glass;
        glass.blend = Blend::Alpha;
        glass.diffuse = {0.5f, 0.6f, 0.7f, 0.22f};
        glass.specular = {1, 1, 1, 1};
        glass.power = 60;
        Layer pane;
        pane.texture = mirror.texture;
        pane.reflection = true;
        pane.address = 1;
        pane.color_op = 6;
        pane.alpha_op = 2;
        glass.layers = {pane};
        glass_ = stage_.Material(glass);
        unlit.layers = {glow};
        air_glow_ = stage_.Material(unlit);
    }

    void MirrorRoot() { mirror_ = stage_.Node(stage_.Root(), {0, 0, 0}, kQuatIdentity, {1, 1, -1}); }

    void Ground() { Solid(GroundShape(200), ground_look_); }

    // A soft light that faces the eye, and its image in the water. `scale` may be null.
    void Glow(osm3d::ControllerBase<vect3>* position, osm3d::ControllerBase<vect3>* mirrored, float half,
              const color& c, const std::function<osm3d::ControllerBase<vect3>*()>& scale = nullptr) {
        HierarchyNode* node = stage_.Moving(stage_.Root(), position, nullptr, scale ? scale() : nullptr);
        node->target = eye_;
        stage_.Mesh(Sprite(half, c), air_glow_, node);
        if (!mirrored) return;
        HierarchyNode* below = stage_.Moving(stage_.Root(), mirrored, nullptr, scale ? scale() : nullptr);
        below->target = eye_;
        stage_.Mesh(Sprite(half, c), water_glow_, below);
    }
    void StillGlow(const vect3& at, float half, const color& c) {
        Glow(Still(at), Still(vect3{at.x, at.y, -at.z}), half, c);
    }

    void House(Shape& painted, Shape& lit, const vect3& at, float turn, const vect3& size) {
        const matrix place = Placed(at, QuatFromAxisAngle(kUp, turn), 1);
        const float x = size.x / 2, y = size.y / 2, z = size.z;
        painted.Add(Colored(Box({-x, -y, -1.5f}, {x, y, z}), kWall), place);
        // The roof runs along x, over gables of the wall's colour.
        const float ridge = z + y * 1.05f, out = 0.25f;
        Shape roof;
        for (const float side : {-1.0f, 1.0f}) {
            const vect3 n = Normal({0, side * 1.05f, 1});
            const float low = z - out * 1.05f;
            const std::uint32_t a = roof.Vertex({-side * (x + out), side * (y + out), low}, n, {0, 0});
            roof.Vertex({-side * (x + out), 0, ridge}, n, {0, 0});
            roof.Vertex({side * (x + out), 0, ridge}, n, {0, 0});
            roof.Vertex({side * (x + out), side * (y + out), low}, n, {0, 0});
            roof.Quad(a, a + 1, a + 2, a + 3);
            roof.Quad(a, a + 3, a + 2, a + 1);  // seen from under the eaves, too
        }
        painted.Add(Colored(roof, kRoof), place);
        Shape gables;
        for (const float side : {-1.0f, 1.0f}) {
            const vect3 n{side, 0, 0};
            const std::uint32_t a = gables.Vertex({side * x, -side * y, z}, n, {0, 0});
            gables.Vertex({side * x, side * y, z}, n, {0, 0});
            gables.Vertex({side * x, 0, ridge - 0.1f}, n, {0, 0});
            gables.Triangle(a, a + 1, a + 2);
        }
        painted.Add(Colored(gables, kWall), place);
        painted.Add(Colored(Box({x * 0.3f, -0.35f, z}, {x * 0.3f + 0.6f, 0.35f, ridge + 0.7f}), kStone),
                    place);
        const auto window = [&](float u, float side) {
            Shape pane;
            const float w = 0.32f, low = 0.9f, high = 1.75f, d = side * (y + 0.05f);
            const color top{1, 0.80f, 0.42f, 1}, bottom{1, 0.62f, 0.24f, 1};
            pane.Vertex({u - w, d, low}, bottom);
            pane.Vertex({u + w, d, low}, bottom);
            pane.Vertex({u + w, d, high}, top);
            pane.Vertex({u - w, d, high}, top);
            pane.Quad(0, 1, 2, 3);
            lit.Add(pane, place);
        };
        for (const float side : {-1.0f, 1.0f})
            for (const float u : {-0.55f, 0.15f, 0.62f}) window(u * x, side);
        const vect3 front{at.x + std::sin(turn) * (y + 0.4f), at.y - std::cos(turn) * (y + 0.4f),
                          at.z + 1.4f};
        StillGlow(front, 2.0f, {1, 0.62f, 0.28f, 0.55f});
    }

    void Village() {
        Shape painted, lit;
        struct Plot {
            float x, y, turn, length;
        };
        const Plot plots[] = {{-29, -33, 0.35f, 5.0f}, {-17, -31, -0.25f, 4.6f}, {-31, -22, 0.6f, 4.4f},
                              {-17, -22, -0.1f, 5.4f}, {-20, -11, 0.3f, 4.8f},   {-5, -16, -0.35f, 4.6f},
                              {-15, -1, 0.2f, 4.2f},   {-37, -13, 0.8f, 4.6f},   {5, -14, -0.5f, 4.4f},
                              {-30, -3, 0.45f, 4.2f}};
        for (const Plot& plot : plots) {
            const vect3 at = GroundPoint(plot.x, plot.y);
            House(painted, lit, at, plot.turn, {plot.length, 3.6f, 2.5f});
        }
        // The keeper's house beside the tower.
        House(painted, lit,
              {kTowerFoot.x - 7, kTowerFoot.y - 4.5f, GroundHeight(kTowerFoot.x - 7, kTowerFoot.y - 4.5f)},
              0.1f, {5.2f, 3.8f, 2.6f});
        // The jetty.
        for (int i = 0; i < 26; ++i) {
            const float t = F(i);
            const vect3 at{-30 - 0.5f * t, -46 - 0.85f * t, 1.05f};
            const matrix place = Placed(at, QuatFromAxisAngle(kUp, -0.53f), 1);
            painted.Add(Colored(Box({-1.1f, -0.42f, -0.1f}, {1.1f, 0.42f, 0.06f}), kWood), place);
            if (i % 5 == 0)
                for (const float side : {-1.0f, 1.0f})
                    painted.Add(Colored(Box({side * 1.1f - 0.12f, -0.12f, -1.05f},
                                            {side * 1.1f + 0.12f, 0.12f, 0.6f}),
                                        kDark),
                                place);
        }
        // Lamps along the path and at the end of the jetty.
        const vect3 lamps[] = {{-43.6f, -67.0f, 1.0f}, {-24, -40, 0},  {-21, -29, 0}, {-18.5f, -19, 0},
                               {-8, -11, 0},           {-1, -6.4f, 0}, {7, 1, 0}};
        for (vect3 at : lamps) {
            if (at.z == 0) at.z = GroundHeight(at.x, at.y);
            painted.Add(Colored(Box({-0.07f, -0.07f, 0}, {0.07f, 0.07f, 2.3f}), kIron), Moved(at));
            Shape bulb;
            bulb.Add(ColoredSurface(
                         8, 6,
                         [](float u, float v) {
                             const float a = 2 * kPi * u, e = kPi * (v - 0.5f);
                             return vect3{0.24f * std::cos(a) * std::cos(e),
                                          0.24f * std::sin(a) * std::cos(e), 2.5f + 0.24f * std::sin(e)};
                         },
                         [](float, float) {
                             return color{1, 0.86f, 0.55f, 1};
                         }),
                     Moved(at));
            lit.Add(bulb);
            StillGlow({at.x, at.y, at.z + 2.5f}, 2.6f, {1, 0.68f, 0.34f, 0.8f});
        }
        Solid(painted, painted_);
        Solid(lit, bright_);
    }

    void Trees() {
        Random random(11);
        Shape trees;
        int planted = 0;
        for (int tries = 0; tries < 6000 && planted < 260; ++tries) {
            const float x = random.Between(-60, 60), y = random.Between(-55, 58);
            const float height = GroundHeight(x, y);
            if (height < 2.2f || GroundSlope(x, y) > 0.75f || DistanceToPath(x, y) < 3.2f) continue;
            if (std::hypot(x - kTowerFoot.x, y - kTowerFoot.y) < 9) continue;
            if (Fbm(x * 0.05f + 3, y * 0.05f, 256, 3) < -0.08f && random.Next() < 0.8f) continue;
            if (x < 9 && x > -40 && y < 2 && y > -38 && random.Next() < 0.72f) continue;
            ++planted;
            const float size = random.Between(2.4f, 5.2f);
            const auto tint = static_cast<Paint>(kPineLow + static_cast<int>(random.Next() * 2.99f));
            Shape tree;
            tree.Add(Colored(Lathe({{0.05f * size, -0.5f}, {0.04f * size, 0.35f * size}}, 5), kWood));
            for (int level = 0; level < 3; ++level) {
                const float low = size * (0.16f + 0.24f * F(level)),
                            wide = size * (0.27f - 0.065f * F(level));
                tree.Add(Colored(Lathe({{wide, low}, {0.02f, low + size * 0.42f}}, 8), tint));
                tree.Add(Colored(Lathe({{0.02f, low + 0.12f * size}, {wide, low}}, 8), kPineLow));
            }
            trees.Add(tree, Placed({x, y, height}, QuatFromAxisAngle(kUp, random.Between(0, 6)), 1));
        }
        Solid(trees, painted_);
    }

    void Rocks() {
        Random random(23);
        Shape rocks;
        const vect3 stacks[] = {{63, 30, 9},      {70, 18, 5},  {48, 58, 8},     {30, 70, 4},
                                {-66, 8, 3.4f},   {-58, 34, 4}, {58, -42, 3.0f}, {8, -66, 2.2f},
                                {-12, -63, 1.6f}, {72, -6, 3}};
        for (const vect3& stack : stacks) {
            for (int part = 0; part < 3; ++part) {
                const float tall = stack.z * (part == 0 ? 1.0f : random.Between(0.3f, 0.55f));
                const float wide = tall * random.Between(0.45f, 0.7f) + 0.7f;
                const float seed = random.Between(0, 60);
                const vect3 at{stack.x + F(part) * random.Between(-3, 3),
                               stack.y + F(part) * random.Between(-3, 3), 0};
                const Shape rock = Surface(14, 9, [=](float u, float v) {
                    const float a = 2 * kPi * u, c = std::cos(a), s = std::sin(a);
                    const float bulge = 1 + 0.45f * Noise(c * 1.4f + seed, s * 1.4f + v * 2.5f, 256);
                    const float r = wide * bulge * std::sqrt(std::max(0.0f, 1 - v * v * v)) * (1 - 0.35f * v);
                    return vect3{r * c, r * s, tall * v};
                });
                rocks.Add(Colored(rock, kStone), Moved(at));
            }
        }
        Solid(rocks, painted_);
    }

    void Tower() {
        const matrix foot = Moved(kTowerFoot);
        Shape tower;
        tower.Add(Surface(32, 14,
                          [](float u, float v) {
                              const float a = 2 * kPi * u, r = Mix(3.3f, 2.0f, std::pow(v, 0.75f));
                              return vect3{r * std::cos(a), r * std::sin(a), 22 * v};
                          }),
                  foot);
        Solid(tower, tower_);
        Shape painted;
        painted.Add(Colored(Lathe({{4.2f, -2}, {4.2f, 0.5f}, {3.2f, 0.7f}}, 24), kStone), foot);
        painted.Add(Colored(Lathe({{2.0f, 21.2f}, {3.1f, 22.2f}, {3.1f, 22.5f}, {1.4f, 22.5f}}, 32), kIron),
                    foot);
        painted.Add(Colored(Lathe({{1.9f, 22.5f}, {1.9f, 23.2f}, {1.7f, 23.2f}}, 24), kRed), foot);
        for (int i = 0; i < 24; ++i) {
            const float a = 2 * kPi * F(i) / 24;
            painted.Add(Colored(Box({2.95f, -0.035f, 22.5f}, {3.02f, 0.035f, 23.5f}), kIron),
                        Placed(kTowerFoot, QuatFromAxisAngle(kUp, a), 1));
        }
        for (int i = 0; i < 8; ++i)
            painted.Add(Colored(Box({1.74f, -0.05f, 23.2f}, {1.86f, 0.05f, 26.2f}), kIron),
                        Placed(kTowerFoot, QuatFromAxisAngle(kUp, 2 * kPi * (F(i) + 0.5f) / 8), 1));
        for (const float z : {23.0f, 23.5f})
            painted.Add(Colored(Torus(2.98f, 0.045f, 32, 6), kIron), Moved(kTowerFoot + vect3{0, 0, z}));
        // The door.
        painted.Add(Colored(Box({-0.7f, -3.42f, 0.5f}, {0.7f, -3.0f, 2.8f}), kWood),
                    Placed(kTowerFoot, QuatFromAxisAngle(kUp, -0.5f), 1));
        Solid(painted, painted_);
        Shape roof;
        roof.Add(Colored(Surface(32, 10,
                                 [](float u, float v) {
                                     const float a = 2 * kPi * u, r = 2.15f * std::cos(v * kPi / 2) + 0.02f;
                                     return vect3{r * std::cos(a), r * std::sin(a),
                                                  26.15f + 1.55f * std::sin(v * kPi / 2)};
                                 }),
                         kRed),
                 foot);
        roof.Add(Colored(Sphere(0.3f, 16, 10), kIron), Moved(kTowerFoot + vect3{0, 0, 27.9f}));
        roof.Add(Colored(Box({-0.04f, -0.04f, 28}, {0.04f, 0.04f, 29.6f}), kIron), foot);
        Solid(roof, metal_);
        Shape ceiling;
        ceiling.Add(Colored(Lathe({{0.1f, 26.19f}, {2.25f, 26.1f}, {2.25f, 26.3f}}, 32), kIron), foot);
        Solid(ceiling, painted_both_);
        stage_.Mesh(Lathe({{1.78f, 23.2f}, {1.78f, 26.2f}}, 32), glass_, stage_.Node(ground_, kTowerFoot));
        Optic();
    }

    // The lens and the beams turn about the lamp.
    void Optic() {
        const auto turning = [&] { return stage_.Turning(kUp, kBeamTurns, kEnd + 1, 3.4f); };
        HierarchyNode* turn = stage_.Moving(ground_, Still(kLamp), turning());
        Shape lens;
        for (int ring = -4; ring <= 4; ++ring) {
            const float r = 0.92f - 0.03f * F(ring * ring);
            lens.Add(Torus(r, 0.13f, 28, 8), Moved({0, 0, 0.24f * F(ring)}));
        }
        stage_.Mesh(Colored(lens, kSail), metal_, turn);
        Shape frame = Colored(Lathe({{0.75f, -1.35f}, {0.95f, -1.2f}, {0.5f, -1.15f}}, 24), kIron);
        for (int i = 0; i < 4; ++i)
            frame.Add(Colored(Box({0.95f, -0.05f, -1.2f}, {1.06f, 0.05f, 1.2f}), kIron),
                      Placed({0, 0, 0}, QuatFromAxisAngle(kUp, kPi / 2 * F(i) + kPi / 4), 1));
        stage_.Mesh(frame, painted_both_, turn);

        // The light grows out of the lamp, and its glow does not cover the lens when the eye is near.
        const auto growing = [] {
            return Sampled<vect3>(0, 5.2f, 0.1f, [](float t) {
                const float s = std::max(Eased(kLampOn, kLampOn + 2.4f, t), 1e-3f);
                return vect3{s, s, s};
            });
        };
        const auto glowing = [] {
            return Sampled<vect3>(0, kEnd, kFrame, [](float t) {
                const float near = Smooth(0, 30, Length(Eye(t) - kLamp));
                const float s = std::max(near * Eased(kLampOn, kLampOn + 2.4f, t), 1e-3f);
                return vect3{s, s, s};
            });
        };
        Shape beams;
        for (int beam = 0; beam < 2; ++beam)
            for (int shell = 0; shell < 10; ++shell) {
                const float spread = 0.008f + 0.0085f * F(shell);
                const float strength = 0.075f - 0.0055f * F(shell);
                beams.Add(ColoredSurface(
                              28, 16,
                              [=](float u, float v) {
                                  const float a = 2 * kPi * u, d = 0.8f + 210 * v * v;
                                  const float r = 0.42f + d * spread;
                                  return vect3{d, r * std::cos(a), r * std::sin(a)};
                              },
                              [=](float, float v) {
                                  const float left = 1 - v;
                                  return color{1, 0.88f, 0.62f, strength * left * left};
                              }),
                          Placed({0, 0, 0}, QuatFromAxisAngle(kUp, kPi * F(beam)), 1));
            }
        stage_.Mesh(beams, beam_, stage_.Moving(turn, nullptr, nullptr, growing()));
        HierarchyNode* below = stage_.Moving(mirror_, Still(kLamp), turning());
        stage_.Mesh(beams, water_beam_, stage_.Moving(below, nullptr, nullptr, growing()));
        const vect3 lamp = kLamp;
        Glow(Still(lamp), Still(vect3{lamp.x, lamp.y, -lamp.z}), 13, {1, 0.80f, 0.50f, 0.55f}, glowing);
        Glow(Still(lamp), Still(vect3{lamp.x, lamp.y, -lamp.z}), 4.2f, {1, 0.93f, 0.78f, 0.95f}, glowing);
        // It floods the eye when a beam meets it.
        const auto flooding = [] {
            return Sampled<vect3>(0, kEnd, kFrame, [](float t) {
                const vect3 to = Eye(t) - kLamp;
                const float facing =
                    std::abs(std::cos(std::atan2(to.y, to.x) - (3.4f + 2 * kPi * kBeamTurns * t)));
                const float s = std::max(
                    std::pow(facing, 60.0f) * Smooth(5, 70, Length(to)) * Eased(kLampOn, kLampOn + 2.4f, t),
                    1e-3f);
                return vect3{s, s, s};
            });
        };
        Glow(Still(lamp), nullptr, 44, {1, 0.85f, 0.60f, 0.5f}, flooding);
    }

    void Boats() {
        Shape hull = Colored(
            Surface(10, 16,
                    [](float u, float v) {
                        const float along = 2 * v - 1, belly = 1 - along * along;
                        const float half = 0.85f * std::sqrt(std::max(belly, 0.0f));
                        const float a = kPi * u, deep = 0.55f * belly;
                        const float sheer = 0.62f + 0.35f * along * along;
                        return vect3{2.9f * along, half * std::cos(a), sheer - (sheer + deep) * std::sin(a)};
                    }),
            kHull);
        Shape boat;
        boat.Add(hull);
        boat.Add(Colored(Surface(2, 16,
                                 [](float u, float v) {
                                     const float along = 2 * v - 1;
                                     const float half =
                                         0.82f * std::sqrt(std::max(1 - along * along, 0.0f)) * (2 * u - 1);
                                     return vect3{2.8f * along, -half, 0.45f + 0.3f * along * along};
                                 }),
                         kWood));
        boat.Add(Colored(Box({0.15f, -0.06f, 0.3f}, {0.27f, 0.06f, 6.4f}), kWood));
        boat.Add(Colored(Box({-2.3f, -0.05f, 1.25f}, {0.2f, 0.05f, 1.35f}), kWood));
        const auto sail = [](const vect3& a, const vect3& b, const vect3& c, float belly) {
            return Colored(Surface(8, 8,
                                   [=](float u, float v) {
                                       const vect3 low = Mix(a, b, u);
                                       vect3 at = Mix(low, c, v);
                                       at.y += belly * std::sin(kPi * u) *
                                               std::sin(kPi * (0.15f + 0.8f * v)) * (1 - v);
                                       return at;
                                   }),
                           kSail);
        };
        boat.Add(sail({0.1f, 0, 1.4f}, {-2.2f, 0, 1.4f}, {0.15f, 0, 6.2f}, 0.75f));
        boat.Add(sail({0.4f, 0, 1.1f}, {2.8f, 0, 1.0f}, {0.3f, 0, 5.2f}, 0.55f));
        Shape below = boat;  // upright light for what hangs upside down
        for (vect3& n : below.normals) n.z = -n.z;

        struct Trip {
            vect3 from, to;
            float phase, scale;
        };
        const Trip trips[] = {
            {{-46, -112, 0}, {-74, -100, 0}, 0.3f, 1.15f}, {{-2, -96, 0}, {-22, -84, 0}, 1.7f, 1.0f},
            {{-110, -64, 0}, {-84, -66, 0}, 2.9f, 1.0f},   {{40, -108, 0}, {22, -118, 0}, 4.1f, 1.05f},
            {{-150, 20, 0}, {-110, 40, 0}, 5.0f, 1.1f},    {{96, -20, 0}, {110, -50, 0}, 2.0f, 1.1f}};
        for (const Trip& trip : trips) {
            const float heading = std::atan2(trip.to.y - trip.from.y, trip.to.x - trip.from.x);
            const auto place = [trip](float t) {
                vect3 at = Mix(trip.from, trip.to, t / kEnd);
                at.z = 0.06f * std::sin(1.6f * t + trip.phase) - 0.05f;
                return at;
            };
            const auto rocking = [trip] {
                return Sampled<quat>(0, kEnd, 0.1f, [trip](float t) {
                    return QuatFromAxisAngle(Normal({1, 0.35f, 0}),
                                             0.10f + 0.06f * std::sin(1.4f * t + trip.phase));
                });
            };
            for (HierarchyNode* world : {ground_, mirror_}) {
                HierarchyNode* way = stage_.Moving(world, Sampled<vect3>(0, kEnd, 0.1f, place),
                                                   Still(QuatFromAxisAngle(kUp, heading)),
                                                   Still(vect3{trip.scale, trip.scale, trip.scale}));
                HierarchyNode* rock = stage_.Moving(way, nullptr, rocking());
                stage_.Mesh(world == ground_ ? boat : below, painted_both_, rock);
            }
            const auto lamp = [place](float t) { return place(t) + vect3{0, 0, 1.7f}; };
            Glow(Sampled<vect3>(0, kEnd, 0.1f, lamp),
                 Sampled<vect3>(0, kEnd, 0.1f,
                                [lamp](float t) {
                                    vect3 at = lamp(t);
                                    at.z = -at.z;
                                    return at;
                                }),
                 1.7f, {1, 0.68f, 0.32f, 0.8f});
        }
    }

    void Lanterns() {
        const Shape lantern = ColoredSurface(
            12, 6,
            [](float u, float v) {
                const float a = 2 * kPi * u,
                            r = 0.62f * (0.62f + 0.55f * std::sin(kPi * (0.12f + 0.72f * v)));
                const float closed = v > 0.99f ? 0.35f : 1.0f;
                return vect3{r * closed * std::cos(a), r * closed * std::sin(a), -0.7f + 1.55f * v};
            },
            [](float, float v) {
                return Mix(color{1, 0.90f, 0.52f, 1}, color{0.86f, 0.26f, 0.10f, 1}, std::pow(v, 0.8f));
            });
        Random random(41);
        for (int i = 0; i < 84; ++i) {
            const float angle = random.Between(0, 2 * kPi), out = std::sqrt(random.Next());
            vect3 from{-28 + 52 * out * std::cos(angle), -58 + 46 * out * std::sin(angle), 0};
            if (i % 3 == 0) from = {random.Between(-25, 20), random.Between(-30, 5), 0};
            if (i % 7 == 0) from = {random.Between(-78, -30), random.Between(-112, -80), 0};
            from.z = std::max(GroundHeight(from.x, from.y), 0.0f) + 1;
            const float start = kThirdShot + random.Between(-13, 3.6f), speed = random.Between(2.2f, 3.8f);
            const float phase = random.Between(0, 6), sway = random.Between(0.3f, 0.9f);
            const float size = random.Between(0.8f, 1.25f);
            const auto place = [=](float t) {
                const float since = std::max(t - start, 0.0f);
                const float risen = since * speed * Smooth(-0.5f, 2.5f, since);
                return from + vect3{0.10f * risen + sway * std::sin(0.9f * since + phase),
                                    0.16f * risen + sway * std::cos(0.7f * since + phase), risen};
            };
            // They are there for the last shot alone.
            const auto shown = [=] {
                const float appear = std::max(start, kThirdShot - 1.0f);
                return Sampled<vect3>(appear - 0.2f, appear + 0.8f, 0.1f, [=](float t) {
                    const float s = size * std::max(Eased(appear, appear + 0.8f, t), 1e-3f);
                    return vect3{s, s, s};
                });
            };
            const auto track = [&](const std::function<vect3(float)>& at) {
                return Sampled<vect3>(kThirdShot - 1, kEnd, 0.1f, at);
            };
            const auto below = [place](float t) {
                vect3 at = place(t);
                at.z = -at.z;
                return at;
            };
            for (HierarchyNode* world : {ground_, mirror_})
                stage_.Mesh(
                    lantern, bright_,
                    stage_.Moving(world, track(place),
                                  Still(QuatFromAxisAngle(Normal({sway, 1, 0}), 0.15f * std::sin(phase))),
                                  shown()));
            const float warm = random.Between(0.5f, 0.68f);
            Glow(track(place), track(below), 3.6f, {1, warm, 0.24f, 0.62f}, shown);
        }
    }

    void Sea() { stage_.Mesh(SeaShape(), sea_, ground_); }

    void Lights() {
        // The last light of the sky from behind, the moon's from the side, the night's from the front.
        const auto far = [&](const vect3& at, const color& c, const color& specular) {
            stage_.Light(stage_.Node(stage_.Root(), at),
                         Sampled<color>(0, kEnd, 0.2f, [=](float t) { return Shade(c, 1 - 0.5f * Dusk(t)); }),
                         specular, 1e6f, 0);
        };
        far({-500, 1800, 420}, {0.62f, 0.34f, 0.24f, 1}, {0.5f, 0.3f, 0.2f, 1});
        far({1500, 900, 1100}, {0.20f, 0.22f, 0.34f, 1}, {0.3f, 0.3f, 0.4f, 1});
        far({-1300, -1500, 900}, {0.17f, 0.17f, 0.32f, 1}, {0, 0, 0, 1});
        // The beam over the ground, from where it leaves the gallery.
        HierarchyNode* sweep = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kEnd, kFrame, [](float t) {
                                                 const float a = 3.4f + 2 * kPi * kBeamTurns * t;
                                                 return kLamp + vect3{17 * std::cos(a), 17 * std::sin(a), -4};
                                             }));
        stage_.Light(sweep,
                     Sampled<color>(0, 6, 0.1f,
                                    [](float t) {
                                        const float s = Eased(kLampOn, kLampOn + 2.4f, t);
                                        return color{1.0f * s, 0.80f * s, 0.50f * s, 1};
                                    }),
                     {0.8f, 0.6f, 0.4f, 1}, 90, 16);
        for (const vect3& at : {vect3{-24, -30, 6}, vect3{-17, -14, 9}, vect3{-40, -60, 4}, vect3{4, -4, 14}})
            stage_.Light(stage_.Node(stage_.Root(), at), Still(color{0.95f, 0.55f, 0.24f, 1}), {0, 0, 0, 1},
                         40, 7);
    }

    void Cameras() {
        const auto camera = [&](float from, float to, vect3 (*eye)(float), vect3 (*aim)(float), float fov0,
                                float fov1) {
            HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(from, to, kFrame, eye));
            node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(from, to, kFrame, aim));
            stage_.Camera(node,
                          Sampled<float>(from, to, 0.5f,
                                         [=](float t) { return Mix(fov0, fov1, (t - from) / (to - from)); }),
                          0.5f, 2600, 1300);
        };
        camera(0, kSecondShot, FirstEye, FirstAim, 0.62f, 0.66f);
        camera(kSecondShot, kClockworkIn, SecondEye, SecondAim, 0.80f, 0.70f);
        camera(kThirdShot, kEnd, ThirdEye, ThirdAim, 0.66f, 0.72f);
    }

    Stage stage_;
    HierarchyNode *eye_ = nullptr, *ground_ = nullptr, *mirror_ = nullptr;
    Texture *glow_ = nullptr, *palette_ = nullptr;
    MaterialSimple *ground_look_ = nullptr, *painted_ = nullptr, *painted_both_ = nullptr, *tower_ = nullptr,
                   *metal_ = nullptr, *bright_ = nullptr, *water_glow_ = nullptr, *water_beam_ = nullptr,
                   *sea_ = nullptr, *beam_ = nullptr, *glass_ = nullptr, *air_glow_ = nullptr;
};

}  // namespace

void MakeIsland(const std::string& path) { Island().Make(path); }

}  // namespace demo
