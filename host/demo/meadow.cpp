#include <algorithm>
#include <array>
#include <cmath>

#include "beacon.h"
#include "demo_scenes.h"
#include "night_sky.h"
#include "stage.h"

namespace demo {
namespace {

constexpr float kFrame = 1.0f / 30;
constexpr float kTo = kMeadowShot + 0.3f;

float Height(float x, float y) {
    return 0.5f * Fbm(x * 0.05f + 5, y * 0.05f, 256, 3) + 0.002f * std::max(y, 0.0f) * std::max(y, 0.0f);
}

vect3 Eye(float time) {
    const float t = time / kMeadowShot;
    const float x = Mix(-1.6f, 0.2f, t), y = Mix(-1.0f, 1.4f, t);
    return {x, y, Height(x, y) + Mix(1.25f, 0.95f, t)};
}
vect3 Aim(float time) {
    const float t = time / kMeadowShot;
    return {Mix(0.4f, 2.4f, t), 14, Mix(2.5f, 2.7f, t)};
}

class Meadow {
  public:
    void Make(const std::string& path) {
        eye_ = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        stage_.BackgroundCube(NightSky(512, {0.26f, 0.22f, 0.38f, 1}, false));
        glow_ = stage_.Picture(GlowPicture(1));
        Ground();
        Trees();
        Grass();
        Mist();
        MakeBeacon(stage_, kLamp, eye_, glow_, 3.6f);
        Fireflies();
        HierarchyNode* node = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Eye));
        node->target = stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, Aim));
        stage_.Camera(node, Still(0.82f), 0.15f, 600, 600);
        stage_.Ambient({0.3f, 0.3f, 0.4f, 1});
        stage_.Save(path);
    }

  private:
    static constexpr vect3 kLamp{-16, 74, 27};

    void Ground() {
        Look look;
        look.lit = false;
        Layer layer;
        layer.texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float n = 0.6f + 0.5f * Fbm(u * 8, v * 8, 8, 5);
            return color{n, n, n, 1};
        }));
        layer.tiling_u = layer.tiling_v = 10;
        look.layers = {layer};
        const auto at = [](float u, float v) {
            const float x = 240 * (u - 0.5f), y = -10 + 110 * v * v;
            return vect3{x, y, Height(x, y)};
        };
        stage_.Mesh(ColoredSurface(
                        60, 60, at,
                        [](float, float v) {
                            return Mix(color{0.020f, 0.040f, 0.050f, 1}, color{0.060f, 0.075f, 0.13f, 1}, v);
                        }),
                    stage_.Material(look), stage_.Root());
        look.layers.clear();
        Shape tower = TowerOutline(kLamp, 10);
        tower.normals.clear();
        for (const vect3& p : tower.positions)
            tower.colors.push_back(Mix(color{0.05f, 0.05f, 0.09f, 1}, color{0.11f, 0.11f, 0.18f, 1},
                                       Clamp01((p.x - kLamp.x + 3) / 6)));
        outline_ = stage_.Material(look);
        stage_.Mesh(tower, outline_, stage_.Root());
    }

    void Trees() {
        Random random(8);
        Shape trees;
        for (int i = 0; i < 90; ++i) {
            const float x = random.Between(-60, 60), y = random.Between(26, 64);
            // A gap towards the tower.
            if (std::abs(x + 10) < 7 || (std::abs(x) < 16 && y < 40)) continue;
            const float tall = random.Between(5, 11), wide = tall * random.Between(0.20f, 0.27f);
            const float far = (y - 26) / 38;
            const float z = Height(x, y) - 0.3f;
            for (int level = 0; level < 4; ++level) {
                const float low = tall * (0.10f + 0.20f * F(level)), r = wide * (1 - 0.2f * F(level));
                trees.Add(ColoredSurface(
                    9, 1,
                    [=](float u, float v) {
                        const float a = 2 * kPi * u,
                                    s = r * (1 - v) * (0.86f + 0.14f * std::cos(5 * a + F(i)));
                        return vect3{x + s * std::cos(a), y + s * std::sin(a), z + low + tall * 0.34f * v};
                    },
                    [=](float u, float v) {
                        // The moon stands to the right, behind.
                        const float lit = Clamp01(0.35f + 0.65f * std::cos(2 * kPi * u - 0.6f));
                        const color c = Mix(color{0.018f, 0.034f, 0.050f, 1}, color{0.10f, 0.15f, 0.21f, 1},
                                            lit * (0.35f + 0.65f * v));
                        return Mix(c, color{0.13f, 0.13f, 0.24f, 1}, 0.55f * far);
                    }));
            }
        }
        stage_.Mesh(trees, outline_, stage_.Root());
    }

    // Blades that stand on one bone and lean with others, which the wind moves.
    void Grass() {
        constexpr int kWinds = 5;
        std::vector<HierarchyNode*> bones{stage_.Node(stage_.Root(), {0, 0, 0})};
        for (int i = 0; i < kWinds; ++i)
            bones.push_back(stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame, [i](float t) {
                                              const float s = std::sin(1.7f * t - 0.9f * F(i)) +
                                                              0.4f * std::sin(4.1f * t + 1.7f * F(i));
                                              return vect3{0.10f * s, 0.03f * s, -0.012f * s * s};
                                          })));
        Random random(4);
        Shape grass;
        std::vector<osm3d::VertexWeights> weights;
        for (int i = 0; i < 5200; ++i) {
            const float far = random.Next(), y = -0.4f + 26 * far * far;
            const float x = random.Between(-1, 1) * (2.2f + 0.62f * (y + 1)) + 0.2f;
            const bool flower = i % 23 == 0;
            if (y < (flower ? 3.2f : 2.0f) && std::abs(x - Eye(1.5f * (y + 1)).x) < (flower ? 0.9f : 0.3f))
                continue;
            const float tall =
                flower ? random.Between(0.7f, 1.0f)
                       : random.Between(0.28f, 0.78f) * (0.8f + 0.5f * Noise(x * 0.5f, y * 0.5f, 64));
            const float half = flower ? 0.006f : random.Between(0.008f, 0.020f);
            const float lean = random.Between(-0.4f, 0.4f) * tall, turn = random.Between(-0.7f, 0.7f);
            const vect3 foot{x, y, Height(x, y) - 0.02f},
                side{std::cos(turn) * half, std::sin(turn) * half, 0};
            const float light = random.Between(0.5f, 1.0f);
            const color root{0.012f, 0.026f, 0.030f, 1};
            const color tip = Shade(
                Mix(color{0.22f, 0.40f, 0.27f, 1}, color{0.34f, 0.42f, 0.52f, 1}, random.Next()), light);
            const auto wind =
                static_cast<u8>(1 + static_cast<int>(Clamp01(0.5f + 0.5f * Noise(x * 0.35f, y * 0.35f, 64)) *
                                                     (kWinds - 0.01f)));
            const auto vertex = [&](const vect3& at, const color& c, float share) {
                osm3d::VertexWeights w{};
                w.bones[0] = wind;
                w.blend[0] = share;  // the fourth bone, number 0, has the rest
                weights.push_back(w);
                return grass.Vertex(at, c);
            };
            const vect3 middle = foot + vect3{lean * 0.3f, 0, tall * 0.55f},
                        top = foot + vect3{lean, 0, tall};
            const auto a = vertex(foot - side, root, 0), b = vertex(foot + side, root, 0);
            const auto c = vertex(middle + side * 0.8f, Mix(root, tip, 0.5f), 0.35f);
            const auto d = vertex(middle - side * 0.8f, Mix(root, tip, 0.5f), 0.35f);
            const auto e = vertex(top, tip, 1);
            grass.Quad(a, b, c, d);
            grass.Triangle(d, c, e);
            if (!flower) continue;
            const float r = random.Between(0.025f, 0.045f);
            const color petal = i % 2 == 0 ? color{0.62f, 0.64f, 0.86f, 1} : color{0.66f, 0.50f, 0.76f, 1};
            const auto middle_of = vertex(top, color{0.9f, 0.8f, 0.5f, 1}, 1);
            std::array<std::uint32_t, 8> ring{};
            for (std::size_t k = 0; k < 8; ++k) {
                const float angle = kPi / 4 * F(k), reach = k % 2 == 0 ? r : r * 0.55f;
                ring[k] =
                    vertex(top + vect3{reach * std::cos(angle), -0.01f, reach * std::sin(angle)}, petal, 1);
            }
            for (std::size_t k = 0; k < 8; ++k) grass.Triangle(middle_of, ring[k], ring[(k + 1) % 8]);
        }
        Look look;
        look.lit = false;
        look.two_sided = true;
        stage_.Skin(grass, weights, bones, std::vector<vect3>(bones.size(), vect3{0, 0, 0}),
                    stage_.Material(look));
    }

    // Thin curtains of it, one behind the other.
    void Mist() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.blend = Blend::Alpha;
        Layer layer;
        layer.texture = stage_.Picture(Painted(256, 64, [](float u, float v) {
            const float n = 0.5f + 0.7f * Fbm(u * 6, v * 2 + 3, 6, 4);
            return color{1, 1, 1, Clamp01(n) * Smooth(0, 0.55f, v) * Smooth(0, 0.45f, 1 - v)};
        }));
        layer.speed_u = 0.02f;
        look.layers = {layer};
        osm3d::Material* material = stage_.Material(look);
        for (const float y : {58.0f, 40.0f, 24.0f, 13.0f}) {
            const float strength = Mix(0.30f, 0.62f, y / 58);
            stage_.Mesh(ColoredSurface(
                            24, 4,
                            [=](float u, float v) {
                                const float x = (u - 0.5f) * (30 + 2.4f * y);
                                return vect3{x, y, Height(x, y) - 0.4f + (1.2f + 0.10f * y) * v};
                            },
                            [=](float, float) {
                                return color{0.34f, 0.36f, 0.60f, strength};
                            }),
                        material, stage_.Root());
        }
    }

    void Fireflies() {
        Look look;
        look.lit = false;
        look.diffuse = {0.90f, 1, 0.38f, 1};
        look.blend = Blend::Add;
        Layer layer;
        layer.texture = stage_.Picture(Painted(64, 64, [](float u, float v) {
            const float r = 2 * std::hypot(u - 0.5f, v - 0.5f);
            const float soft = std::pow(Clamp01(1 - r), 2.6f), core = std::exp(-r * r * 60);
            return Mix(color{0.82f, 1, 0.30f, Clamp01(0.55f * soft + core)}, color{1, 1, 0.85f, 1}, core);
        }));
        layer.color_op = 1;
        look.layers = {layer};
        osm3d::Material* material = stage_.Material(look);
        Random random(15);
        std::vector<Stage::Spark> sparks;
        for (int i = 0; i < 110; ++i) {
            const float far = random.Next(), y = 1.6f + 22 * far * far;
            const float x = random.Between(-1, 1) * (0.8f + 0.55f * y) + 0.5f;
            const vect3 from{x, y, Height(x, y) + random.Between(0.35f, 0.9f) + random.Next() * 0.10f * y};
            const float p = random.Between(0, 6), q = random.Between(0, 6), fast = random.Between(0.7f, 1.5f);
            const auto place = [=](float t) {
                return from + vect3{0.45f * std::sin(fast * t + p) + 0.10f * std::sin(3.3f * t + q),
                                    0.35f * std::sin(fast * 0.8f * t + q),
                                    0.22f * std::sin(fast * 1.3f * t + p + q)};
            };
            const float size = random.Between(0.22f, 0.62f), beat = random.Between(1.5f, 2.8f);
            sparks.push_back({stage_.Moving(stage_.Root(), Sampled<vect3>(0, kTo, kFrame * 2, place)),
                              Sampled<float>(0, kTo, kFrame * 2, [=](float t) {
                                  const float s = 0.5f + 0.5f * std::sin(beat * t + p * 2);
                                  return size * (0.25f + 0.75f * s * s);
                              })});
        }
        stage_.Sparks(sparks, material);
    }

    Stage stage_;
    HierarchyNode* eye_ = nullptr;
    Texture* glow_ = nullptr;
    osm3d::Material* outline_ = nullptr;
};

}  // namespace

void MakeMeadow(const std::string& path) { Meadow().Make(path); }

}  // namespace demo
