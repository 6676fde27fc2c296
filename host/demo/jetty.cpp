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
constexpr float kTo = kJettyShot + 0.3f;
constexpr float kDeck = 0.9f;

vect3 Eye(float time) {
    const float t = Eased(-1.5f, kJettyShot + 1.5f, time);
    return {Mix(-0.55f, -0.15f, t), Mix(-0.7f, 0.1f, t), kDeck + Mix(1.45f, 1.5f, t)};
}
vect3 Aim(float) { return {0.05f, 12, kDeck + 1.35f}; }

// How far the sharp picture is, from the near eye's lanterns to those at the end.
float SharpAt(float time) { return Mix(2.3f, 27.0f, Eased(0.7f, kJettyShot - 0.7f, time)); }

class Jetty {
  public:
    void Make(const std::string& path, bool has_focus) {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        stage_.BackgroundCube(NightSky(512, {0.27f, 0.22f, 0.38f, 1}, true));
        glow_ = stage_.Picture(GlowPicture(0.5f));
        Looks();
        Planks();
        Lanterns();
        stage_.Mesh(SeaShape(), sea_, stage_.Root());
        Shape tower = TowerOutline(kLamp, -1);
        tower.normals.clear();
        tower.colors.assign(tower.positions.size(), {0.09f, 0.09f, 0.17f, 1});
        tower.Add(ColoredSurface(
            80, 1,
            [](float u, float v) {
                const float high =
                    7 * Smooth(0, 0.4f, u) * Smooth(0, 0.5f, 1 - u) * (1 + 0.5f * Fbm(u * 9, 0.7f, 64, 4));
                return vect3{kLamp.x + 80 * (u - 0.5f), kLamp.y + 4, high * v};
            },
            [](float, float v) {
                return Mix(color{0.20f, 0.17f, 0.29f, 1}, color{0.09f, 0.09f, 0.17f, 1}, v);
            }));
        stage_.Mesh(tower, outline_, stage_.Root());
        MakeBeacon(stage_, kLamp, eye_, glow_, 3.55f);
        const auto far = [&](const vect3& at, const color& c) {
            stage_.Light(stage_.Node(stage_.Root(), at), Still(c), c, 1e6f, 0);
        };
        far(kMoonWay * 2000, {0.20f, 0.24f, 0.40f, 1});
        stage_.Ambient({0.13f, 0.12f, 0.22f, 1});
        HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Aim));
        osm3d::CameraSimple* camera = stage_.Camera(node, Still(0.80f), 0.2f, 2000, 2000);
        if (has_focus)
            stage_.Focus(
                camera,
                Sampled<float>(0, kTo, 0.1f,
                               [](float t) { return Mix(1.0f, 0.85f, Eased(0.7f, kJettyShot - 0.7f, t)); }),
                Sampled<float>(0, kTo, kFrame, SharpAt));
        stage_.Save(path);
    }

  private:
    static constexpr vect3 kLamp{13, 92, 17};

    void Looks() {
        Look look;
        Layer wood;
        wood.texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float grain = Fbm(u * 3, v * 40, 64, 4), knot = Fbm(u * 5 + 3, v * 5, 64, 3);
            return Shade(Mix(color{0.46f, 0.33f, 0.24f, 1}, color{0.66f, 0.52f, 0.40f, 1},
                             Clamp01(0.5f + 0.8f * grain)),
                         0.9f + 0.3f * knot);
        }));
        look.layers = {wood};
        look.specular = {0.25f, 0.22f, 0.2f, 1};
        look.power = 14;
        wood_ = stage_.Material(look);
        Look unlit;
        unlit.lit = false;
        unlit.two_sided = true;
        outline_ = stage_.Material(unlit);
        // Paper on hoops, with a picture painted on it.
        for (int kind = 0; kind < 4; ++kind) {
            Layer paper;
            paper.texture =
                stage_.Picture(Painted(512, 256, [kind](float u, float v) { return Paper(kind, u, v); }));
            unlit.layers = {paper};
            papers_[static_cast<std::size_t>(kind)] = stage_.Material(unlit);
        }
        unlit.blend = Blend::Add;
        Layer soft;
        soft.texture = glow_;
        unlit.layers = {soft};
        below_ = stage_.Material(unlit);
        sea_ = SeaLook(stage_, {0.03f, 0.07f, 0.15f, 1}, {0.26f, 0.24f, 0.42f, 1});
        unlit.two_sided = false;
        unlit.diffuse = {1, 0.70f, 0.36f, 1};
        unlit.layers[0].texture = stage_.Picture(Painted(64, 64, [](float u, float v) {
            const float r = 2 * std::hypot(u - 0.5f, v - 0.5f);
            return color{1, 0.66f, 0.30f, 0.42f * std::pow(Clamp01(1 - r), 1.8f)};
        }));
        unlit.layers[0].color_op = 1;
        air_ = stage_.Material(unlit);
    }

    static color Paper(int kind, float u, float v) {
        constexpr std::array<color, 4> kSheets{{{1.0f, 0.80f, 0.46f, 1},
                                                {1.0f, 0.56f, 0.36f, 1},
                                                {1.0f, 0.88f, 0.64f, 1},
                                                {0.92f, 0.70f, 0.78f, 1}}};
        const color ink{0.44f, 0.10f, 0.06f, 1};
        // Brightest at the flame, a little below the middle.
        const float fibre = Fbm(u * 24, v * 12, 24, 4);
        float light = Mix(0.52f, 1.12f, std::exp(-6 * (v - 0.58f) * (v - 0.58f))) + 0.07f * fibre;
        const float rib = std::abs(v * 11 - std::round(v * 11));
        light *= Mix(0.72f, 1, Smooth(0.02f, 0.10f, rib));
        color c = Shade(kSheets[static_cast<std::size_t>(kind)], light);
        // Four times round.
        const float x = (u * 4 - std::floor(u * 4) - 0.5f) * 1.5f, y = 0.5f - v;
        bool painted = std::abs(std::abs(y) - 0.36f) < 0.012f;
        if (kind == 0) {  // a sun with rays
            const float r = std::hypot(x, y * 1.3f), a = std::atan2(y, x);
            painted = painted || r < 0.11f || (r > 0.14f && r < 0.25f && std::cos(12 * a) > 0.35f);
        } else if (kind == 1) {  // waves
            for (int row = 0; row < 3; ++row) {
                const float line = 0.13f * (F(row) - 1) + 0.045f * std::sin(u * 2 * kPi * 12 + F(row));
                painted = painted || std::abs(y - line) < 0.020f;
            }
        } else if (kind == 2) {  // a fish
            const float body = x * x / 0.062f + y * y / 0.0125f;
            const bool tail = x > 0.2f && x < 0.36f && std::abs(y) < (x - 0.18f) * 0.7f;
            const bool eye = std::hypot(x + 0.14f, y - 0.03f) < 0.018f;
            painted =
                painted || ((body < 1 || tail) && !eye && !(std::abs(x + 0.05f) < 0.012f && body < 0.7f));
        } else {  // stars
            const float a = std::atan2(y, x), r = std::hypot(x, y);
            painted = painted || r < 0.15f * (0.62f + 0.38f * std::cos(5 * a - kPi / 2));
        }
        return painted ? Mix(c, Shade(ink, 0.6f + 0.5f * light), 0.85f) : c;
    }

    // A shape that stands on the jetty, and its image in the water.
    void Solid(const Shape& shape, osm3d::Material* material) {
        stage_.Mesh(shape, material, stage_.Root());
        stage_.Mesh(shape.Mirrored(), material, stage_.Root());
    }

    void Planks() {
        Random random(6);
        Shape wood;
        for (int i = 0; i < 112; ++i) {
            const float y = -3 + 0.30f * F(i), dx = random.Between(-0.07f, 0.07f),
                        dz = random.Between(-0.012f, 0.012f);
            Shape plank =
                Box({-1.15f + dx, y - 0.135f, kDeck - 0.06f + dz}, {1.15f + dx, y + 0.135f, kDeck + dz});
            const float shift = random.Next();
            for (UV& uv : plank.uvs) uv = {uv.u + shift, uv.v * 0.12f + shift * 3};
            wood.Add(plank);
        }
        for (const float side : {-1.0f, 1.0f})
            wood.Add(Box({side * 0.9f - 0.08f, -3, kDeck - 0.28f}, {side * 0.9f + 0.08f, 31, kDeck - 0.06f}));
        for (int i = 0; i < 12; ++i)
            for (const float side : {-1.0f, 1.0f}) {
                const float y = PostAt(i);
                wood.Add(Lathe({{0.085f, -0.6f}, {0.075f, kDeck + 2.45f}, {0.0f, kDeck + 2.5f}}, 10),
                         Moved({side * 1.28f, y, 0}));
                // An arm to hang a lantern from.
                wood.Add(Box({-0.03f, -0.03f, -0.03f}, {0.62f, 0.03f, 0.03f}),
                         Placed({side * 1.28f, y, kDeck + 2.3f},
                                QuatFromAxisAngle(kUp, side > 0 ? kPi : 0.0f), 1));
            }
        Solid(wood, wood_);
        // Lanterns light the planks: the nearest few as lights.
        for (const float y : {1.4f, 5.6f, 10.0f, 16.0f, 23.0f})
            stage_.Light(stage_.Node(stage_.Root(), {0, y, kDeck + 1.7f}),
                         Still(color{0.95f, 0.58f, 0.28f, 1}), {0.5f, 0.3f, 0.15f, 1}, 14, 2.4f);
    }

    static float PostAt(int i) { return 1.6f + 2.45f * F(i); }

    void Lanterns() {
        const Shape paper = Surface(28, 14, [](float u, float v) {
            const float a = 2 * kPi * u,
                        r = 0.205f *
                            std::sqrt(std::max(1 - std::pow(std::abs(1.72f * v - 0.86f), 2.6f), 0.05f));
            return vect3{r * std::cos(a), r * std::sin(a), -0.25f + 0.5f * v};
        });
        Shape caps;
        for (const float z : {-0.275f, 0.235f})
            caps.Add(Lathe({{0.0f, z}, {0.10f, z}, {0.10f, z + 0.04f}, {0.0f, z + 0.04f}}, 14));
        caps.Add(Box({-0.006f, -0.006f, 0.27f}, {0.006f, 0.006f, 0.48f}));
        for (int i = 0; i < 6; ++i)
            caps.Add(Box({-0.008f, -0.008f, -0.46f}, {0.008f, 0.008f, -0.27f}),
                     Moved({0.03f * std::cos(F(i)), 0.03f * std::sin(F(i)), 0}));
        std::vector<Stage::Spark> glows;
        for (int i = 0; i < 12; ++i)
            for (const float side : {-1.0f, 1.0f}) {
                const vect3 at{side * 0.74f, PostAt(i), kDeck + 2.3f};
                const float phase = F(i) * 1.3f + side;
                const auto swing = [=](float t) {
                    return Then(QuatFromAxisAngle(kUp, phase * 2),
                                QuatFromAxisAngle(Normal({0.4f, 1, 0}), 0.07f * std::sin(1.9f * t + phase)));
                };
                osm3d::Material* sheet =
                    papers_[static_cast<std::size_t>((i * 2 + (side > 0 ? 1 : 0) + i / 2) % 4)];
                for (const bool image : {false, true}) {
                    HierarchyNode* world = image ? Mirrored() : stage_.Root();
                    HierarchyNode* node = stage_.Moving(world, Still(at), Sampled<quat>(0, kTo, 0.1f, swing));
                    Shape low_paper, low_caps;
                    low_paper.Add(paper, Moved({0, 0, -0.48f}));
                    low_caps.Add(caps, Moved({0, 0, -0.48f}));
                    stage_.Mesh(low_paper, sheet, node);
                    stage_.Mesh(low_caps, wood_, node);
                }
                const auto size = Sampled<float>(
                    0, kTo, 0.1f, [=](float t) { return 1.55f + 0.10f * std::sin(7 * t + phase * 3); });
                glows.push_back({stage_.Node(stage_.Root(), at + vect3{0, 0, -0.5f}), size});
                HierarchyNode* under = stage_.Node(stage_.Root(), {at.x, at.y, -at.z + 0.5f});
                under->target = eye_;
                stage_.Mesh(Sprite(0.9f, {1, 0.66f, 0.32f, 0.6f}), below_, under);
            }
        // The far ones first.
        std::reverse(glows.begin(), glows.end());
        stage_.Sparks(glows, air_);
    }

    HierarchyNode* Mirrored() {
        if (!mirrored_) mirrored_ = stage_.Node(stage_.Root(), {0, 0, 0}, kQuatIdentity, {1, 1, -1});
        return mirrored_;
    }

    Stage stage_;
    HierarchyNode *eye_ = nullptr, *mirrored_ = nullptr;
    Texture* glow_ = nullptr;
    std::array<osm3d::Material*, 4> papers_{};
    osm3d::Material *wood_ = nullptr, *outline_ = nullptr, *below_ = nullptr, *sea_ = nullptr,
                    *air_ = nullptr;
};

}  // namespace

void MakeJetty(const std::string& path, bool has_focus) { Jetty().Make(path, has_focus); }

}  // namespace demo
