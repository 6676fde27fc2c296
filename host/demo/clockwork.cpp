#include <array>
#include <cmath>

#include "demo_scenes.h"
#include "stage.h"

namespace demo {
namespace {

using osm3d::QuatFromAxisAngle;

constexpr vect3 kUp{0, 0, 1};
constexpr float kFrame = 1.0f / 30;
constexpr float kFrom = kClockworkIn - 0.1f, kTo = kThirdShot + 0.1f;

struct Orbit {
    float radius, size, turns, first;
};
// Planets from the inside out.
constexpr std::array<Orbit, 4> kOrbits{{{4.6f, 0.42f, 0.145f, 0.6f},
                                        {6.9f, 0.72f, 0.085f, 3.9f},
                                        {10.2f, 1.25f, 0.045f, 4.05f},
                                        {13.2f, 0.8f, 0.03f, 1.7f}}};

vect3 PlanetAt(const Orbit& orbit, float time) {
    const float a = orbit.first + 2 * kPi * orbit.turns * time;
    return {orbit.radius * std::cos(a), orbit.radius * std::sin(a), 0};
}

vect3 FirstEye(float time) {
    const float t = Eased(kClockworkIn - 1.6f, kClockworkSecond + 0.5f, time);
    const float angle = Mix(-1.9f, -1.05f, t), distance = Mix(3.4f, 27, t);
    return {distance * std::cos(angle), distance * std::sin(angle), Mix(0.5f, 11.5f, t)};
}
vect3 FirstAim(float time) {
    return Mix(vect3{0, 0, 0}, vect3{0, 0, -1.6f}, Eased(kClockworkIn, kClockworkSecond, time));
}
// Past the third planet, which has the ring, with the sun behind it.
vect3 SecondEye(float time) {
    const vect3 planet = PlanetAt(kOrbits[2], time);
    const vect3 out = Normal(planet), side = osm3d::Cross(kUp, out);
    const float t = (time - kClockworkSecond) / (kThirdShot - kClockworkSecond);
    return planet + out * Mix(0.4f, -2.2f, t) + side * Mix(7.4f, 5.6f, t) + kUp * Mix(1.6f, 2.6f, t);
}
vect3 SecondAim(float time) {
    const vect3 planet = PlanetAt(kOrbits[2], time);
    const float t = Eased(kClockworkSecond, kThirdShot, time);
    return Mix(planet * 0.58f, planet * 0.78f, t) + kUp * -0.1f;
}

vect3 Eye(float time) { return time < kClockworkSecond ? FirstEye(time) : SecondEye(time); }

class Clockwork {
  public:
    void Make(const std::string& path) {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(kFrom, kTo, kFrame, Eye));
        Looks();
        Stars();
        Sun();
        Planets();
        Rings();
        Wheels();
        Dust();
        Lights();
        Cameras();
        stage_.Ambient({0.13f, 0.12f, 0.20f, 1});
        stage_.Save(path);
    }

  private:
    void Looks() {
        glow_ = stage_.Picture(Painted(128, 128, [](float u, float v) {
            const float r = 2 * Length({u - 0.5f, v - 0.5f, 0});
            return color{1, 1, 1, Clamp01(0.8f * std::pow(Clamp01(1 - r), 2.4f) + std::exp(-r * r * 60))};
        }));
        stage_.BackgroundPicture(stage_.Picture(Painted(512, 512, [](float u, float v) {
            // A cloud of gas, from the lower left to the upper right.
            const float x = u - 0.5f, y = v - 0.5f;
            const float along = 0.8f * x - 0.6f * y, across = 0.6f * x + 0.8f * y;
            const float bend = 0.16f * Fbm(u * 3, v * 3, 64, 4);
            const float band = std::exp(-(across + bend) * (across + bend) * 16);
            const float wisps = 0.5f + 0.5f * Fbm(u * 5 + 3 + bend * 4, v * 5, 64, 6);
            const float veil = 0.5f + 0.6f * Fbm(u * 4 + 20, v * 4 + 11, 64, 5);
            color c{0.020f, 0.028f, 0.070f, 1};
            const color blue{0.07f, 0.16f, 0.32f, 1}, rose{0.34f, 0.11f, 0.30f, 1},
                gold{0.42f, 0.22f, 0.12f, 1};
            color gas = Mix(blue, rose, Smooth(0.25f, 0.75f, veil + 0.3f * along));
            gas = Mix(gas, gold, Smooth(0.62f, 1.0f, wisps) * 0.6f);
            const float strength = band * Smooth(0.2f, 0.9f, wisps);
            c = {c.r + gas.r * strength, c.g + gas.g * strength, c.b + gas.b * strength, 1};
            return Shade(c, 1 - 0.55f * Smooth(0.3f, 0.75f, Length({x, y, 0})));
        })));
        // What metal mirrors: a warm room with a window and a lamp.
        mirror_ = stage_.Picture(Painted(128, 128, [](float u, float v) {
            const float r = Length({u, v, 0});
            color c = Mix(color{0.10f, 0.09f, 0.14f, 1}, color{0.44f, 0.27f, 0.14f, 1}, Smooth(0.1f, 1, r));
            const float window =
                Smooth(0.07f, 0.02f, std::abs(u - 0.42f)) + 0.6f * Smooth(0.05f, 0.01f, std::abs(v - 0.62f));
            c = Shade(Mix(c, color{1, 0.88f, 0.66f, 1}, Clamp01(window) * 0.8f), 0.72f);
            return Mix(c, color{0.30f, 0.42f, 0.62f, 1}, Smooth(0.16f, 0.02f, std::abs(r - 0.95f)) * 0.6f);
        }));
        const auto metal = [&](Texture* texture, float tiling_u, float tiling_v, const color& tint) {
            Look look;
            look.diffuse = look.ambient = tint;
            look.specular = {0.6f, 0.5f, 0.35f, 1};
            look.power = 34;
            Layer base, env;
            base.texture = texture;
            base.tiling_u = tiling_u;
            base.tiling_v = tiling_v;
            env.texture = mirror_;
            env.reflection = true;
            env.address = 1;
            env.color_op = 6;
            env.alpha_op = 2;
            look.layers = {base, env};
            return stage_.Material(look);
        };
        Texture* brushed = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float n = 0.82f + 0.22f * Fbm(u * 4, v * 96, 96, 3) + 0.10f * Fbm(u * 8, v * 8, 8, 4);
            return color{n, n, n, 1};
        }));
        // A scale: strokes of three lengths.
        Texture* ticks = stage_.Picture(Painted(512, 64, [](float u, float v) {
            const auto stroke = [&](float count, float length, float width) {
                const float d = std::abs(std::fmod(u * count + 0.5f, 1.0f) - 0.5f) / count;
                return d < width && std::abs(v - 0.5f) < length;
            };
            const bool dark = stroke(48, 0.16f, 0.0012f) || stroke(12, 0.27f, 0.002f) ||
                              stroke(4, 0.36f, 0.0034f) || std::abs(std::abs(v - 0.5f) - 0.40f) < 0.03f;
            return dark ? color{0.22f, 0.13f, 0.08f, 1} : color{1, 1, 1, 1};
        }));
        brass_ = metal(brushed, 2, 2, {0.56f, 0.36f, 0.14f, 1});
        scale_ = metal(ticks, 4, 1, {0.36f, 0.24f, 0.11f, 1});
        steel_ = metal(brushed, 3, 1, {0.34f, 0.37f, 0.44f, 1});
        copper_ = metal(brushed, 2, 2, {0.52f, 0.24f, 0.14f, 1});
    }

    void Stars() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Add;
        Random random(3);
        Shape stars;
        for (int i = 0; i < 1400; ++i) {
            const vect3 at =
                Normal({random.Between(-1, 1), random.Between(-1, 1), random.Between(-1, 1)}) * 90.0f;
            const float bright = std::pow(random.Next(), 4.0f), size = Mix(0.10f, 0.26f, bright);
            const vect3 side = Normal(osm3d::Cross(at, kUp)) * size,
                        up = Normal(osm3d::Cross(side, at)) * size;
            color c = Mix(color{0.65f, 0.78f, 1, 1}, color{1, 0.86f, 0.7f, 1}, random.Next());
            c.a = Mix(0.25f, 1, bright);
            const std::uint32_t first = stars.Vertex(at - side, c);
            stars.Vertex(at - up, c);
            stars.Vertex(at + side, c);
            stars.Vertex(at + up, c);
            stars.Quad(first, first + 1, first + 2, first + 3);
        }
        stage_.Mesh(stars, stage_.Material(look), stage_.Root());
    }

    HierarchyNode* Facing(osm3d::ControllerBase<vect3>* position,
                          osm3d::ControllerBase<vect3>* scale = nullptr) {
        HierarchyNode* node = stage_.Moving(stage_.Root(), position, nullptr, scale);
        node->target = eye_;
        return node;
    }

    void Sun() {
        const auto plasma = [&](float seed) {
            return stage_.Picture(Painted(256, 256, [=](float u, float v) {
                const float bend = 0.5f * Fbm(u * 6 + seed, v * 6, 6, 3);
                const float n = 0.5f + 0.75f * std::abs(Fbm(u * 6 + bend, v * 6 + seed + bend, 6, 5));
                return color{Clamp01(n * 1.1f), Clamp01(n * 0.86f), Clamp01(n * 0.60f), 1};
            }));
        };
        Look look;
        look.lit = false;
        Layer first, second;
        first.texture = plasma(1);
        first.color_op = 1;
        first.tiling_u = 4;
        first.tiling_v = 2;
        first.speed_u = 0.05f;
        second.texture = plasma(5);
        second.color_op = 4;
        second.tiling_u = 6;
        second.tiling_v = 3;
        second.speed_u = -0.06f;
        second.speed_v = 0.03f;
        look.layers = {first, second};
        stage_.Mesh(Sphere(1.5f, 48, 28), stage_.Material(look), stage_.Node(stage_.Root(), {0, 0, 0}));
    }

    // Lights in the air; drawn last.
    void SunGlow(MaterialSimple* air, MaterialSimple* rays) {
        stage_.Mesh(Sprite(6.0f, {1, 0.62f, 0.28f, 0.75f}), air, Facing(Still(vect3{0, 0, 0})));
        stage_.Mesh(Sprite(15, {1, 0.42f, 0.22f, 0.22f}), air, Facing(Still(vect3{0, 0, 0})));
        const auto breathing = Sampled<vect3>(kFrom, kTo, 0.05f, [](float t) {
            const float s = 1 + 0.06f * std::sin(3.1f * t) + 0.04f * std::sin(7.3f * t);
            return vect3{s, s, s};
        });
        stage_.Mesh(Sprite(6.5f, {1, 0.78f, 0.50f, 0.55f}), rays, Facing(Still(vect3{0, 0, 0}), breathing));
    }

    void Planets() {
        const auto look = [&](Texture* texture, float power) {
            Look out;
            out.ambient = {0.9f, 0.9f, 1, 1};
            if (power > 0) {
                out.specular = {0.6f, 0.6f, 0.6f, 1};
                out.power = power;
            }
            Layer layer;
            layer.texture = texture;
            out.layers = {layer};
            return out;
        };
        // A texture that closes round the sphere is noise over the circle.
        const auto round = [](float u, float v, float scale, float seed, int octaves) {
            const float a = 2 * kPi * u, e = kPi * (v - 0.5f);
            const float x = std::cos(a) * std::cos(e), y = std::sin(a) * std::cos(e), z = std::sin(e);
            return Fbm(x * scale + z * scale * 0.73f + seed, y * scale - z * scale * 0.41f + seed, 4096,
                       octaves);
        };
        Texture* rock = stage_.Picture(Painted(256, 128, [=](float u, float v) {
            const float n = round(u, v, 3, 40, 6), cracks = std::abs(round(u, v, 2.4f, 70, 5));
            const color stone =
                Mix(color{0.30f, 0.20f, 0.18f, 1}, color{0.72f, 0.50f, 0.38f, 1}, 0.5f + 0.7f * n);
            return Mix(color{1, 0.62f, 0.22f, 1}, stone, Smooth(0.0f, 0.09f, cracks));
        }));
        Texture* earth = stage_.Picture(Painted(512, 256, [=](float u, float v) {
            const float n = round(u, v, 1.7f, 21, 6), detail = round(u, v, 7, 5, 4),
                        pole = std::abs(v - 0.5f) * 2;
            const color sea =
                Mix(color{0.05f, 0.20f, 0.42f, 1}, color{0.10f, 0.42f, 0.56f, 1}, Smooth(-0.4f, 0.06f, n));
            const color land = Mix(color{0.24f, 0.44f, 0.18f, 1}, color{0.66f, 0.54f, 0.32f, 1},
                                   Clamp01(0.5f + detail + 0.5f * (0.6f - pole)));
            color c = Mix(sea, land, Smooth(0.06f, 0.10f, n));
            return Mix(c, color{0.94f, 0.96f, 1, 1}, Smooth(0.78f, 0.86f, pole + 0.12f * detail));
        }));
        Texture* clouds = stage_.Picture(Painted(512, 256, [=](float u, float v) {
            const float n = round(u, v, 2.6f, 90, 6);
            return color{1, 1, 1, Smooth(0.02f, 0.45f, n)};
        }));
        Texture* giant = stage_.Picture(Painted(512, 256, [=](float u, float v) {
            const float bend = 0.035f * round(u, v, 4, 13, 4);
            const float bands =
                0.5f + 0.35f * std::sin((v + bend) * 44) + 0.3f * Noise((v + bend) * 20, 7, 4096);
            color c = Mix(color{0.62f, 0.34f, 0.24f, 1}, color{0.98f, 0.86f, 0.66f, 1}, Clamp01(bands));
            c = Mix(c, color{0.80f, 0.62f, 0.58f, 1}, 0.6f * Smooth(0.0f, 0.5f, round(u, v, 6, 33, 4)));
            const float sx = (u - 0.3f) * 9, sy = (v - 0.62f) * 13;
            return Mix(color{0.82f, 0.32f, 0.20f, 1}, c, Smooth(0.5f, 1.0f, Length({sx, sy, 0})));
        }));
        Texture* ice = stage_.Picture(Painted(256, 128, [=](float u, float v) {
            const float n = round(u, v, 2.2f, 60, 5), lines = std::abs(round(u, v, 3.4f, 44, 4));
            const color c = Mix(color{0.40f, 0.62f, 0.76f, 1}, color{0.88f, 0.95f, 1, 1}, Clamp01(0.5f + n));
            return Mix(color{0.26f, 0.42f, 0.62f, 1}, c, Smooth(0.0f, 0.07f, lines));
        }));
        Texture* const textures[] = {rock, earth, giant, ice};
        const float powers[] = {0, 30, 0, 50};

        Look ring_look;
        ring_look.two_sided = true;
        ring_look.lit = false;
        ring_look.blend = Blend::Alpha;
        Layer ring_layer;
        ring_layer.texture = stage_.Picture(Painted(16, 256, [](float, float v) {
            const float n = 0.55f + 0.32f * Noise(v * 15, 3.3f, 4096) + 0.16f * Noise(v * 37, 9.4f, 4096);
            const float gap = 1 - 0.92f * Smooth(0.022f, 0.010f, std::abs(v - 0.36f));
            const float border = Smooth(0, 0.05f, v) * Smooth(0, 0.03f, 1 - v);
            color c = Mix(color{0.74f, 0.55f, 0.40f, 1}, color{1, 0.92f, 0.78f, 1}, Clamp01(n));
            c.a = 0.85f * Clamp01(0.2f + 0.8f * n) * gap * border;
            return c;
        }));
        ring_look.layers = {ring_layer};

        std::array<HierarchyNode*, 4> spots{};
        std::array<HierarchyNode*, 4> arms{};
        for (std::size_t i = 0; i < kOrbits.size(); ++i) {
            const Orbit& orbit = kOrbits[i];
            // The arm turns about the column, the planet about itself on the arm's end.
            arms[i] =
                stage_.Moving(stage_.Root(), nullptr, stage_.Turning(kUp, orbit.turns, kTo + 1, orbit.first));
            spots[i] = stage_.Node(arms[i], {orbit.radius, 0, 0});
            HierarchyNode* spin =
                stage_.Moving(spots[i], nullptr, stage_.Turning(Normal({0.25f, 0, 1}), 0.22f, kTo + 1));
            stage_.Mesh(Sphere(orbit.size, 48, 28), stage_.Material(look(textures[i], powers[i])), spin);
            const float low = -2.2f - 0.32f * F(i);
            const quat along = QuatFromAxisAngle({0, 1, 0}, kPi / 2);
            Shape arm;
            arm.Add(Lathe({{0.055f, 0.35f}, {0.055f, orbit.radius}}, 10), Placed({0, 0, low}, along, 1));
            arm.Add(Lathe({{0.05f, low}, {0.05f, -orbit.size}}, 10), Moved({orbit.radius, 0, 0}));
            arm.Add(Sphere(0.13f, 14, 10), Moved({orbit.radius, 0, low}));
            arm.Add(Torus(0.42f, 0.10f, 24, 8), Moved({0, 0, low}));
            arm.Add(
                Lathe(
                    {{0.0f, -orbit.size - 0.02f}, {0.16f, -orbit.size * 0.96f}, {0.0f, -orbit.size * 0.93f}},
                    12),
                Moved({orbit.radius, 0, 0}));
            stage_.Mesh(arm, brass_, arms[i]);
        }
        // A moon goes round the second, on an arm of its own.
        HierarchyNode* moon =
            stage_.Moving(spots[1], nullptr, stage_.Turning(Normal({0.2f, 0.1f, 1}), 0.4f, kTo + 1));
        Shape holder = Lathe({{0.025f, 0.7f}, {0.025f, 1.4f}}, 8);
        Shape rod;
        rod.Add(holder, Placed({0, 0, 0}, QuatFromAxisAngle({0, 1, 0}, kPi / 2), 1));
        stage_.Mesh(rod, brass_, moon);
        stage_.Mesh(Sphere(0.19f, 24, 14), stage_.Material(look(rock, 0)), stage_.Node(moon, {1.45f, 0, 0}));

        // From here on what can be looked through, the farthest first.
        Look trail;
        trail.lit = false;
        trail.two_sided = true;
        trail.blend = Blend::Add;
        MaterialSimple* trails = stage_.Material(trail);
        const std::array<color, 4> tints{
            {{1, 0.55f, 0.25f, 1}, {0.35f, 0.75f, 1, 1}, {1, 0.80f, 0.55f, 1}, {0.55f, 0.85f, 1, 1}}};
        for (std::size_t i = 0; i < kOrbits.size(); ++i) {
            const Orbit& orbit = kOrbits[i];
            stage_.Mesh(ColoredSurface(
                            90, 4,
                            [=](float u, float v) {
                                const float a = -2.6f * u,
                                            r = orbit.radius + (v - 0.5f) * 0.34f * orbit.size * (1 - u);
                                return vect3{r * std::cos(a), r * std::sin(a), 0.0f};
                            },
                            [&](float u, float v) {
                                color c = tints[i];
                                c.a = 0.75f * (1 - u) * (1 - u) * (1 - std::abs(2 * v - 1));
                                return c;
                            }),
                        trails, arms[i]);
        }
        Look veil = look(clouds, 0);
        veil.blend = Blend::Alpha;
        stage_.Mesh(Sphere(kOrbits[1].size * 1.035f, 48, 28), stage_.Material(veil),
                    stage_.Moving(spots[1], nullptr, stage_.Turning(Normal({0.1f, 0, 1}), 0.15f, kTo + 1)));
        HierarchyNode* tilted =
            stage_.Node(spots[2], {0, 0, 0}, QuatFromAxisAngle(Normal({1, 0.3f, 0}), -0.36f));
        stage_.Mesh(Surface(96, 3,
                            [](float u, float v) {
                                const float a = 2 * kPi * u, r = Mix(1.65f, 2.75f, v);
                                return vect3{r * std::cos(a), r * std::sin(a), 0};
                            }),
                    stage_.Material(ring_look), tilted);
    }

    // Great rings about the whole, each about an axis of its own.
    void Rings() {
        const auto band = [](float radius, float width, float thickness) {
            return Lathe({{radius - thickness, -width},
                          {radius, -width},
                          {radius, width},
                          {radius - thickness, width},
                          {radius - thickness, -width}},
                         128);
        };
        struct Hoop {
            float radius;
            vect3 axis;
            float turns, tilt;
        };
        const Hoop hoops[] = {{16.4f, {1, 0, 0}, 0.050f, 0.5f},
                              {17.2f, {0.3f, 1, 0}, -0.040f, 1.2f},
                              {18.0f, {1, -0.6f, 0.2f}, 0.032f, 2.3f}};
        for (const Hoop& hoop : hoops)
            stage_.Mesh(band(hoop.radius, 0.34f, 0.16f), scale_,
                        stage_.Moving(stage_.Root(), nullptr,
                                      stage_.Turning(Normal(hoop.axis), hoop.turns, kTo + 1, hoop.tilt)));
        // Two small ones about the sun.
        stage_.Mesh(band(2.55f, 0.10f, 0.07f), scale_,
                    stage_.Moving(stage_.Root(), nullptr, stage_.Turning({1, 0, 0}, 0.11f, kTo + 1, 0.8f)));
        stage_.Mesh(band(2.95f, 0.10f, 0.07f), scale_,
                    stage_.Moving(stage_.Root(), nullptr,
                                  stage_.Turning(Normal({0.2f, 1, 0}), -0.09f, kTo + 1, 2.0f)));
    }

    // The train of wheels under the sun. Wheels that mesh turn against each other as their teeth tell.
    void Wheels() {
        Shape column = Lathe({{0.9f, -9},
                              {0.9f, -8.4f},
                              {0.34f, -8.0f},
                              {0.26f, -6},
                              {0.26f, -2.0f},
                              {0.14f, -1.9f},
                              {0.14f, -1.2f}},
                             24);
        stage_.Mesh(column, brass_, stage_.Root());
        const auto wheel = [&](const vect3& at, int teeth, float turns, float first,
                               MaterialSimple* material) {
            const float pitch = 0.115f * F(teeth);
            Shape gear = Gear(teeth, pitch * 0.70f, pitch - 0.16f, pitch + 0.16f, 0.42f);
            gear.Add(Lathe({{0.2f, -0.3f}, {0.45f, -0.3f}, {0.45f, 0.3f}, {0.2f, 0.3f}, {0.2f, -0.3f}}, 20));
            const int spokes = teeth > 30 ? 6 : 4;
            for (int i = 0; i < spokes; ++i)
                gear.Add(Box({0.3f, -0.13f, -0.12f}, {pitch * 0.74f, 0.13f, 0.12f}),
                         Placed({0, 0, 0}, QuatFromAxisAngle(kUp, 2 * kPi * F(i) / F(spokes)), 1));
            HierarchyNode* node =
                stage_.Moving(stage_.Root(), Still(at), stage_.Turning(kUp, turns, kTo + 1, first));
            stage_.Mesh(gear, material, node);
        };
        const float base = 0.10f;
        wheel({0, 0, -5.0f}, 56, base, 0, brass_);
        const auto beside = [&](int teeth, float angle, float z, MaterialSimple* material) {
            const float distance = 0.115f * F(56 + teeth), ratio = 56.0f / F(teeth);
            // A gap of this wheel faces a tooth of the great one.
            const float first = angle + kPi + angle * ratio + kPi / F(teeth) + 1.12f * kPi / F(teeth) +
                                1.12f * kPi / 56 * ratio;
            wheel({distance * std::cos(angle), distance * std::sin(angle), z}, teeth, -base * ratio, first,
                  material);
        };
        beside(28, 0.5f, -5.0f, copper_);
        beside(36, 2.4f, -5.0f, steel_);
        beside(22, -1.25f, -5.0f, copper_);
        beside(42, -2.35f, -5.0f, steel_);
        wheel({0, 0, -6.3f}, 84, -0.06f, 0, copper_);
        Shape top;
        top.Add(Surface(128, 2, [](float u, float v) {
            const float a = 2 * kPi * u, r = Mix(15.4f, 13.4f, v);
            return vect3{r * std::cos(a), r * std::sin(a), -7.4f};
        }));
        top.Add(Lathe({{15.4f, -7.9f}, {15.4f, -7.4f}}, 128));
        stage_.Mesh(top, scale_, stage_.Moving(stage_.Root(), nullptr, stage_.Turning(kUp, 0.015f, kTo + 1)));
    }

    void Dust() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.blend = Blend::Add;
        Layer layer;
        layer.texture = glow_;
        look.layers = {layer};
        MaterialSimple* air = stage_.Material(look);
        look.layers[0].texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float x = 2 * (u - 0.5f), y = 2 * (v - 0.5f), r = Length({x, y, 0}), a = std::atan2(y, x);
            const float c = std::cos(a), s = std::sin(a);
            const float n =
                0.5f + 0.8f * Noise(c * 5 + 9, s * 5 + 9, 64) + 0.5f * Noise(c * 13 + 30, s * 13 + 30, 64);
            return color{1, 1, 1, Clamp01(n) * std::pow(Clamp01(1 - r), 2.0f) * Smooth(0.12f, 0.3f, r)};
        }));
        MaterialSimple* rays = stage_.Material(look);
        SunGlow(air, rays);
        Random random(77);
        for (int i = 0; i < 60; ++i) {
            const vect3 from{random.Between(-14, 14), random.Between(-14, 14), random.Between(-4, 5)};
            const float phase = random.Between(0, 6), size = random.Between(0.05f, 0.13f);
            const auto drifting = [=](float t) {
                return from + vect3{0.6f * std::sin(0.5f * t + phase), 0.6f * std::cos(0.4f * t + phase),
                                    0.18f * (t - kFrom)};
            };
            stage_.Mesh(Sprite(size, {1, random.Between(0.7f, 0.9f), 0.55f, random.Between(0.3f, 0.8f)}), air,
                        Facing(Sampled<vect3>(kFrom, kTo, 0.1f, drifting)));
        }
    }

    void Lights() {
        const auto light = [&](const vect3& at, const color& c, float fall) {
            stage_.Light(stage_.Node(stage_.Root(), at), Still(c), c, 500, fall);
        };
        light({0, 0, 0.2f}, {1.30f, 1.04f, 0.76f, 1}, 20);
        light({-30, -40, 34}, {0.22f, 0.28f, 0.46f, 1}, 0);
        light({40, 30, -20}, {0.20f, 0.09f, 0.22f, 1}, 0);
        light({10, -30, -14}, {0.20f, 0.16f, 0.12f, 1}, 0);
    }

    void Cameras() {
        const auto camera = [&](float from, float to, vect3 (*eye)(float), vect3 (*aim)(float), float fov) {
            HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(from, to, kFrame, eye));
            node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(from, to, kFrame, aim));
            stage_.Camera(node, Still(fov), 0.2f, 220, 200);
        };
        camera(kFrom, kClockworkSecond, FirstEye, FirstAim, 0.82f);
        camera(kClockworkSecond, kTo, SecondEye, SecondAim, 0.78f);
    }

    Stage stage_;
    HierarchyNode* eye_ = nullptr;
    Texture *glow_ = nullptr, *mirror_ = nullptr;
    MaterialSimple *brass_ = nullptr, *scale_ = nullptr, *steel_ = nullptr, *copper_ = nullptr;
};

}  // namespace

void MakeClockwork(const std::string& path) { Clockwork().Make(path); }

}  // namespace demo
