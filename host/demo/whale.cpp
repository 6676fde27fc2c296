#include <algorithm>
#include <array>
#include <cmath>

#include "beacon.h"
#include "demo_scenes.h"
#include "night_sky.h"
#include "stage.h"

namespace demo {
namespace {

using osm3d::QuatFromAxisAngle;

constexpr vect3 kUp{0, 0, 1};
constexpr float kFrame = 1.0f / 30;
constexpr float kFrom = -0.2f, kTo = kWhaleShot + 0.3f;

// --- The way it swims, and the camera ----------------------------------------------------------------------

vect3 WhaleAt(float time) {
    const float a = -2.30f + 0.26f * time;
    return {26 * std::cos(a), 40 + 30 * std::sin(a), 11.5f + 1.3f * time + 0.8f * std::sin(1.2f * time)};
}
quat WhaleTurn(float time) {
    const vect3 way = Normal(WhaleAt(time + 0.1f) - WhaleAt(time - 0.1f));
    const float heading = std::atan2(way.y, way.x);
    const float pitch = std::asin(way.z) + 0.08f * std::sin(1.2f * time + 1);
    const float bank = -0.16f + 0.10f * std::sin(0.9f * time);
    // About x, then y, then z.
    return Then(Then(QuatFromAxisAngle({1, 0, 0}, bank), QuatFromAxisAngle({0, 1, 0}, -pitch)),
                QuatFromAxisAngle(kUp, heading));
}
vect3 Eye(float time) {
    const float t = Eased(-1.5f, kWhaleShot + 1.5f, time);
    return Mix(vect3{2, -14, 10}, vect3{7, -6, 9.2f}, t);
}
vect3 Aim(float time) { return WhaleAt(time - 0.2f) * 0.72f + vect3{1.2f, 10, 15.2f} * 0.28f; }

// --- Its shape ---------------------------------------------------------------------------------------------

// Along the body, from the nose (0) to the tail (1): half the height, half the width, height of the middle.
struct Section {
    float at, high, wide, middle;
};
constexpr std::array<Section, 12> kSections{{{0.00f, 0.05f, 0.05f, -0.10f},
                                             {0.02f, 0.34f, 0.38f, -0.08f},
                                             {0.07f, 0.66f, 0.72f, -0.03f},
                                             {0.16f, 1.05f, 1.05f, 0.00f},
                                             {0.27f, 1.40f, 1.34f, 0.00f},
                                             {0.38f, 1.52f, 1.42f, 0.00f},
                                             {0.50f, 1.34f, 1.24f, 0.06f},
                                             {0.62f, 1.00f, 0.92f, 0.16f},
                                             {0.74f, 0.68f, 0.58f, 0.24f},
                                             {0.85f, 0.44f, 0.32f, 0.28f},
                                             {0.94f, 0.28f, 0.20f, 0.28f},
                                             {1.00f, 0.10f, 0.12f, 0.28f}}};
constexpr float kNose = 7.2f, kTail = -7.4f;

// Smoothly through the sections.
Section SectionAt(float t) {
    std::size_t i = 1;
    while (i + 2 < kSections.size() && kSections[i].at < t) ++i;
    const auto knot = [](std::size_t k) { return kSections[std::min(k, kSections.size() - 1)]; };
    const Section a = knot(i - 1), b = knot(i), before = i > 1 ? knot(i - 2) : a, after = knot(i + 1);
    const float s = (t - a.at) / (b.at - a.at);
    const auto through = [&](float Section::*field) {
        const float p0 = before.*field, p1 = a.*field, p2 = b.*field, p3 = after.*field;
        const float m1 = (p2 - p0) * (b.at - a.at) / std::max(b.at - before.at, 1e-3f);
        const float m2 = (p3 - p1) * (b.at - a.at) / std::max(after.at - a.at, 1e-3f);
        const float s2 = s * s, s3 = s2 * s;
        return (2 * s3 - 3 * s2 + 1) * p1 + (s3 - 2 * s2 + s) * m1 + (3 * s2 - 2 * s3) * p2 + (s3 - s2) * m2;
    };
    return {t, std::max(through(&Section::high), 0.03f), std::max(through(&Section::wide), 0.03f),
            through(&Section::middle)};
}

Shape Body() {
    return Surface(40, 72, [](float u, float v) {
        const float t = Clamp01(v), a = 2 * kPi * u;
        const Section s = SectionAt(t);
        // The jaw is broad and low, the belly flatter than the back.
        const float c = std::cos(a), n = std::sin(a);
        const float flat = c < 0 ? 0.90f : 1.0f;
        return vect3{Mix(kNose, kTail, t), s.wide * n, s.middle + s.high * c * flat};
    });
}

// A fin from `root` to `tip`, `bow` to the front in between; chords along x. On the side of +y.
Shape Fin(const vect3& root, const vect3& tip, const vect3& bow, float chord, float chord_end, float thick,
          const UV& ink) {
    const vect3 out = Normal(tip - root), flat = Normal(osm3d::Cross({1, 0, 0}, out));
    Shape fin = Surface(16, 20, [=](float u, float v) {
        const vect3 spine = Mix(root, tip, v) + bow * (4 * v * (1 - v));
        const float a = 2 * kPi * u, shrink = std::sqrt(std::max(1 - std::pow(v, 5.0f), 0.0f));
        const float c = Mix(chord, chord_end, v) * shrink, d = Mix(thick, thick * 0.25f, v) * shrink;
        // Round in front, thin behind.
        const float x = std::cos(a);
        return spine + vect3{1, 0, 0} * (0.5f * c * x) +
               flat * (0.5f * d * std::sin(a) * (0.55f + 0.45f * x));
    });
    // The side of the belly is pale.
    for (std::size_t i = 0; i < fin.uvs.size(); ++i)
        fin.uvs[i] = {ink.u + 0.08f * (fin.uvs[i].u - 0.5f), ink.v + 0.05f * fin.uvs[i].v};
    int front = 0;
    for (std::size_t i = 0; i < fin.positions.size(); ++i) {
        const vect3 from = fin.positions[i] - Mix(root, tip, 0.5f);
        front += osm3d::Dot(fin.normals[i], flat * osm3d::Dot(from, flat)) > 0 ? 1 : -1;
    }
    if (front < 0) {
        for (std::size_t i = 0; i + 2 < fin.indices.size(); i += 3)
            std::swap(fin.indices[i], fin.indices[i + 1]);
        for (vect3& n : fin.normals) n = n * -1.0f;
    }
    return fin;
}

// The same on the other side.
Shape OtherSide(Shape shape) {
    for (vect3& p : shape.positions) p.y = -p.y;
    for (vect3& n : shape.normals) n.y = -n.y;
    for (std::size_t i = 0; i + 2 < shape.indices.size(); i += 3)
        std::swap(shape.indices[i], shape.indices[i + 1]);
    return shape;
}

// u runs from the back over the left side and the belly, v from the tail (0) to the nose (1).
color Skin(float u, float v) {
    const float down = 0.5f - 0.5f * std::cos(2 * kPi * u);  // 0 the back, 1 the belly
    const float front = 1 - v;                               // in Surface's own coordinates 0 is the nose
    const float mottled = Fbm(u * 12, v * 20, 4096, 5);
    color back = Mix(color{0.12f, 0.17f, 0.25f, 1}, color{0.25f, 0.33f, 0.43f, 1}, Clamp01(0.5f + mottled));
    color pale = Mix(color{0.50f, 0.58f, 0.68f, 1}, color{0.68f, 0.73f, 0.80f, 1}, Clamp01(0.5f + mottled));
    const float border = 0.60f + 0.10f * mottled + 0.30f * Smooth(0.35f, 0.8f, front);
    color c = Mix(back, pale, Smooth(border - 0.08f, border + 0.08f, down));
    // Furrows under the throat.
    if (front < 0.48f && down > 0.55f) {
        const float furrow = 0.5f + 0.5f * std::cos(u * 2 * kPi * 34);
        c = Shade(c, 1 - 0.45f * furrow * furrow * Smooth(0.55f, 0.70f, down) * Smooth(0.48f, 0.40f, front));
    }
    // The line of the mouth, and the eye behind it.
    const float side = std::min(u, 1 - u), mouth = 0.255f + 0.035f * std::cos(front * 22);
    if (front < 0.17f)
        c = Mix(color{0.03f, 0.04f, 0.08f, 1}, c, Smooth(0.004f, 0.010f, std::abs(side - mouth)));
    const float ex = (front - 0.185f) * 14.6f, ey = (side - 0.250f) * 8.4f, er = std::hypot(ex, ey);
    c = Mix(color{0.02f, 0.02f, 0.04f, 1}, c, Smooth(0.07f, 0.10f, er));
    if (std::hypot(ex - 0.02f, ey + 0.03f) < 0.03f) c = {0.9f, 0.95f, 1, 1};
    return c;
}

// What shines by itself: rows of small lights along the flanks.
color Lights(float u, float v) {
    const float front = 1 - v, side = std::min(u, 1 - u);
    color c{0, 0, 0, 1};
    for (int row = 0; row < 3; ++row) {
        const float line = 0.10f + 0.055f * F(row) + 0.012f * std::sin(front * 18 + F(row) * 2);
        const float step = 0.028f + 0.006f * F(row), n = std::round(front / step);
        const float dx = (front - n * step) * 14.6f, dy = (side - line) * 8.0f;
        if (n * step < 0.24f || n * step > 0.86f) continue;
        const float size = (0.055f + 0.02f * Noise(n * 1.7f, F(row) * 3.1f, 256)) * Smooth(0.9f, 0.5f, front);
        const float r2 = (dx * dx + dy * dy) / (size * size);
        const float s = std::exp(-r2) + 0.35f * std::exp(-r2 * 0.12f);
        const color tint = Mix(color{0.30f, 0.85f, 1, 1}, color{1, 0.80f, 0.45f, 1}, row == 1 ? 1.0f : 0.0f);
        c = {c.r + tint.r * s, c.g + tint.g * s, c.b + tint.b * s, 1};
    }
    return c;
}

// --- The scene ---------------------------------------------------------------------------------------------

class Whale {
  public:
    void Make(const std::string& path) {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(kFrom, kTo, kFrame, Eye));
        stage_.BackgroundCube(NightSky(512, {0.20f, 0.19f, 0.34f, 1}, false));
        glow_ = stage_.Picture(GlowPicture(1));
        Swimmer();
        Clouds();
        MakeBeacon(stage_, {-34, 120, -1}, eye_, glow_, 0.9f);
        Camera();
        const auto far = [&](const vect3& at, const color& c, const color& specular) {
            stage_.Light(stage_.Node(stage_.Root(), at), Still(c), specular, 1e6f, 0);
        };
        far(kMoonWay * 2000, {0.80f, 0.84f, 0.98f, 1}, {0.6f, 0.7f, 0.9f, 1});
        far({-900, -1500, 500}, {0.20f, 0.24f, 0.42f, 1}, {0, 0, 0, 1});
        far({300, -200, -900}, {0.22f, 0.17f, 0.22f, 1}, {0, 0, 0, 1});
        stage_.Ambient({0.20f, 0.21f, 0.31f, 1});
        stage_.Save(path);
    }

  private:
    void Swimmer() {
        Shape whale = Body();
        const UV dark{0.10f, 0.40f};
        const Shape fin = Fin({3.1f, 1.10f, -0.55f}, {0.6f, 4.7f, -1.7f}, {0.55f, 0.15f, -0.15f}, 1.35f,
                              0.45f, 0.26f, dark);
        const Shape fluke =
            Fin({-7.0f, 0.05f, 0.28f}, {-8.6f, 2.5f, 0.42f}, {0.40f, 0, 0.10f}, 1.5f, 0.35f, 0.22f, dark);
        const auto body_end = static_cast<std::uint32_t>(whale.positions.size());
        whale.Add(fin);
        const auto left_end = static_cast<std::uint32_t>(whale.positions.size());
        whale.Add(OtherSide(fin));
        const auto right_end = static_cast<std::uint32_t>(whale.positions.size());
        whale.Add(fluke);
        whale.Add(OtherSide(fluke));
        whale.Add(Fin({-2.9f, 0, 1.0f}, {-3.9f, 0.01f, 1.95f}, {0, 0, 0.1f}, 1.3f, 0.3f, 0.16f, dark));

        // A spine of fifteen bones from the head to the tail: the third carries all others. Two in each fin.
        constexpr int kSpine = 15, kChest = 3;
        const auto along = [&](int i) { return Mix(6.0f, -8.0f, F(i) / (kSpine - 1)); };
        std::vector<vect3> joints;
        for (int i = 0; i < kSpine; ++i) joints.push_back({along(i), 0, 0.1f});
        const vect3 shoulder{3.0f, 1.1f, -0.55f}, elbow{2.2f, 2.9f, -1.1f};
        for (const vect3& joint : {shoulder, elbow}) joints.push_back(joint);
        for (const vect3& joint : {shoulder, elbow}) joints.push_back({joint.x, -joint.y, joint.z});

        HierarchyNode* way = stage_.Moving(stage_.Root(), Sampled<vect3>(kFrom, kTo, kFrame, WhaleAt),
                                           Sampled<quat>(kFrom, kTo, kFrame, WhaleTurn));
        std::vector<HierarchyNode*> bones(joints.size());
        const auto bone = [&](std::size_t index, HierarchyNode* parent, const vect3& from,
                              const std::function<quat(float)>& turn) {
            bones[index] =
                stage_.Moving(parent, Still(joints[index] - from), Sampled<quat>(kFrom, kTo, kFrame, turn));
        };
        // A wave that runs backwards and grows.
        const auto wave = [](float x, float strength) {
            return [=](float t) {
                return QuatFromAxisAngle({0, 1, 0}, strength * std::sin(3.4f * t + 0.32f * x));
            };
        };
        bone(kChest, way, {0, 0, 0}, wave(joints[kChest].x, 0.035f));
        for (int i = kChest - 1; i >= 0; --i)
            bone(static_cast<std::size_t>(i), bones[static_cast<std::size_t>(i) + 1],
                 joints[static_cast<std::size_t>(i) + 1], wave(along(i), -0.02f));
        for (int i = kChest + 1; i < kSpine; ++i) {
            const auto at = static_cast<std::size_t>(i);
            bone(at, bones[at - 1], joints[at - 1], wave(along(i), 0.03f + 0.0105f * F(i - kChest)));
        }
        for (const float side : {1.0f, -1.0f}) {
            const std::size_t first = kSpine + (side > 0 ? 0 : 2);
            const auto flap = [=](float strength, float late, float sweep) {
                return [=](float t) {
                    const float s = std::sin(1.7f * t - late);
                    return Then(QuatFromAxisAngle({1, 0, 0}, side * (strength * s + 0.05f)),
                                QuatFromAxisAngle(kUp, side * sweep * std::cos(1.7f * t - late)));
                };
            };
            bone(first, bones[kChest], joints[kChest], flap(0.34f, 0, 0.10f));
            bone(first + 1, bones[first], joints[first], flap(0.26f, 0.9f, 0));
        }

        std::vector<osm3d::VertexWeights> weights;
        for (std::uint32_t i = 0; i < whale.positions.size(); ++i) {
            const vect3& p = whale.positions[i];
            const float place = std::clamp((6.0f - p.x) / 14.0f * (kSpine - 1), 0.0f, kSpine - 1.001f);
            const auto low = static_cast<int>(place);
            const float t = Smooth(0, 1, place - F(low));
            osm3d::VertexWeights w{};
            const auto set = [&](int first, int second, float share) {
                // The heavier one first: the normal goes with it.
                if (share > 0.5f) {
                    std::swap(first, second);
                    share = 1 - share;
                }
                w.bones[0] = static_cast<u8>(first);
                w.bones[1] = static_cast<u8>(second);
                w.blend[0] = 1 - share;
                w.blend[1] = share;
            };
            set(low, low + 1, t);
            if (i >= body_end && i < right_end) {
                const float out = std::abs(p.y);
                const int first = i < left_end ? kSpine : kSpine + 2;
                set(first, first + 1, Smooth(2.2f, 3.4f, out));
                if (out < 1.6f) set(kChest, first, Smooth(0.9f, 1.6f, out));
            }
            weights.push_back(w);
        }

        Look look;
        look.specular = {0.5f, 0.55f, 0.6f, 1};
        look.power = 22;
        Layer skin, lights;
        skin.texture = stage_.Picture(Painted(1024, 512, Skin));
        skin.color_op = 4;
        lights.texture = stage_.Picture(Painted(1024, 512, Lights));
        lights.color_op = 6;
        lights.alpha_op = 2;
        look.layers = {skin, lights};
        stage_.Skin(whale, weights, bones, joints, stage_.Material(look));
    }

    void Clouds() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Alpha;
        struct Deck {
            float height, tiling, speed, seed;
            color dark, light;
        };
        const std::array<Deck, 3> decks{
            {{-16, 4.5f, 0.0012f, 3, {0.15f, 0.14f, 0.28f, 1}, {0.40f, 0.42f, 0.64f, 1}},
             {-11, 6.5f, 0.002f, 11, {0.20f, 0.19f, 0.36f, 1}, {0.56f, 0.58f, 0.80f, 1}},
             {-6, 9, 0.003f, 23, {0.34f, 0.33f, 0.52f, 1}, {0.82f, 0.82f, 0.98f, 1}}}};
        for (const Deck& deck : decks) {
            const bool lowest = deck.height < -12;
            Layer layer;
            layer.texture = stage_.Picture(Painted(512, 512, [&](float u, float v) {
                const float bend = 0.30f * Fbm(u * 5 + deck.seed, v * 5, 5, 3);
                const float n = Fbm(u * 5 + bend, v * 5 + bend + deck.seed, 5, 6);
                // Billows: light from the moon's side.
                const float beside = Fbm(u * 5 + bend + 0.05f, v * 5 + bend + deck.seed - 0.12f, 5, 6);
                const float lit = Clamp01(0.45f + 1.5f * (n - beside) + 0.45f * n);
                color c = Mix(deck.dark, deck.light, lit);
                c.a = lowest ? 1.0f : Smooth(-0.05f, 0.42f, n);
                return c;
            }));
            layer.tiling_u = layer.tiling_v = deck.tiling;
            layer.speed_u = deck.speed;
            look.layers = {layer};
            Shape plane = ColoredSurface(
                32, 32,
                [&](float u, float v) {
                    const float a = 2 * kPi * u, r = 420 * v * v;
                    return vect3{r * std::cos(a), r * std::sin(a), deck.height};
                },
                [](float u, float v) {
                    // Brighter under the moon; gone in the haze at the horizon.
                    const float a = 2 * kPi * u,
                                under = 0.5f + 0.5f * std::cos(a - std::atan2(kMoonWay.y, kMoonWay.x));
                    const float s = Mix(0.72f, 1.05f, under * under);
                    return color{s, s, s, 1 - Smooth(0.45f, 0.95f, v)};
                });
            for (std::size_t i = 0; i < plane.positions.size(); ++i)
                plane.uvs[i] = {plane.positions[i].x / 1500, plane.positions[i].y / 1500};
            stage_.Mesh(plane, stage_.Material(look), stage_.Root());
        }
    }

    void Camera() {
        HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(kFrom, kTo, kFrame, Eye));
        node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(kFrom, kTo, kFrame, Aim));
        stage_.Camera(node, Still(0.74f), 0.5f, 900, 900);
    }

    Stage stage_;
    HierarchyNode* eye_ = nullptr;
    Texture* glow_ = nullptr;
};

}  // namespace

void MakeWhale(const std::string& path) { Whale().Make(path); }

}  // namespace demo
