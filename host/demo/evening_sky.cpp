#include "evening_sky.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "demo_scenes.h"

namespace demo {
namespace {

constexpr vect3 kUp{0, 0, 1};

vect3 Direction(float azimuth, float elevation) {
    const float a = azimuth, e = elevation * kPi / 180;
    return {std::cos(a) * std::cos(e), std::sin(a) * std::cos(e), std::sin(e)};
}

class EveningSky {
  public:
    EveningSky(Stage& stage, HierarchyNode* node, Texture* glow) : stage_(stage), sky_(node), glow_(glow) {}

    void Make() {
        constexpr float kRadius = 40;
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        const auto dome = [&](float u, float v) {
            const float s = 2 * v - 1;
            return Direction(2 * kPi * u, 90 * s * std::abs(s)) * kRadius;
        };
        stage_.Mesh(ColoredSurface(64, 64, dome,
                                   [](float u, float v) {
                                       const float s = 2 * v - 1;
                                       const color c = SkyColor(2 * kPi * u, 90 * s * s);
                                       return s < 0 ? Shade(c, 0.8f) : c;
                                   }),
                    stage_.Material(look), sky_);
        Clouds();
        Mountains();
        Veil();
        Stars();
        Moon();
    }

  private:
    // Evening falls: a dark sphere within the sky, which thickens.
    void Veil() {
        Look look;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Alpha;
        look.ambient = {0, 0, 0, 1};
        look.emissive = {0.030f, 0.055f, 0.19f, 1};
        MaterialSimple* material = stage_.Material(look);
        material->SetColorController(MaterialSimple::kDiffuse, Sampled<color>(0, kEnd, 0.2f, [](float t) {
                                         return color{0, 0, 0, 0.56f * Dusk(t)};
                                     }));
        stage_.Mesh(Sphere(35, 24, 16), material, sky_);
    }

    void Stars() {
        Random random(5);
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Add;
        // Two clouds of light and dark that pass over each other make the stars twinkle.
        Texture* twinkle = stage_.Picture(Painted(64, 64, [](float u, float v) {
            const float n = Clamp01(0.62f + 0.7f * Fbm(u * 8, v * 8, 8, 2));
            return color{1, 1, 1, n};
        }));
        Layer layer;
        layer.texture = twinkle;
        layer.speed_u = 0.06f;
        layer.speed_v = 0.02f;
        look.layers = {layer};
        Shape stars;
        for (int i = 0; i < 1300; ++i) {
            const float elevation = std::asin(random.Between(0.10f, 1)) * 180 / kPi;
            const float azimuth = random.Between(0, 2 * kPi);
            const vect3 at = Direction(azimuth, elevation) * 39.0f;
            const float bright = std::pow(random.Next(), 3.0f);
            const float size = Mix(0.036f, 0.085f, bright);
            const vect3 side = Normal(osm3d::Cross(at, kUp)) * size,
                        up = Normal(osm3d::Cross(side, at)) * size;
            color c = Mix(color{0.75f, 0.82f, 1, 1}, color{1, 0.90f, 0.76f, 1}, random.Next());
            c.a = Mix(0.35f, 1, bright) * Smooth(6, 26, elevation);
            const UV uv{random.Next(), random.Next()};
            const std::uint32_t first = stars.Vertex(at - side, c, uv);
            stars.Vertex(at - up, c, uv);
            stars.Vertex(at + side, c, uv);
            stars.Vertex(at + up, c, uv);
            stars.Quad(first, first + 1, first + 2, first + 3);
        }
        stage_.Mesh(stars, stage_.Material(look), sky_);
    }

    // A thing of the sky as a picture on a square, `half` degrees to each side, and its image in the water.
    void SkySquare(float azimuth, float elevation, float half, const color& c, MaterialSimple* material) {
        for (const float sign : {1.0f, -1.0f}) {
            Shape shape;
            for (int corner = 0; corner < 4; ++corner) {
                const float x = corner == 0 || corner == 3 ? -1.0f : 1.0f, y = corner < 2 ? -1.0f : 1.0f;
                const float e = elevation + y * half;
                const vect3 at =
                    Direction(azimuth - x * half * kPi / 180 / std::cos(elevation * kPi / 180), e);
                shape.Vertex({at.x * 38, at.y * 38, at.z * 38 * sign}, c, {0.5f + x / 2, 0.5f - y / 2});
            }
            shape.Quad(0, 1, 2, 3);
            stage_.Mesh(shape, material, sky_);
        }
    }

    void Moon() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Add;
        Layer layer;
        layer.texture = glow_;
        look.layers = {layer};
        MaterialSimple* halo = stage_.Material(look);
        SkySquare(1.0f, 15, 13, {1.0f, 0.86f, 0.72f, 0.30f}, halo);
        SkySquare(kPi * 0.58f, 1, 34, {1.0f, 0.42f, 0.20f, 0.34f}, halo);
        look.blend = Blend::Alpha;
        look.layers[0].texture = stage_.Picture(Painted(256, 256, [](float u, float v) {
            const float x = 2.1f * (u - 0.5f), y = 2.1f * (v - 0.5f), r = std::hypot(x, y);
            const float sea = Smooth(-0.15f, 0.35f, Fbm(u * 3 + 1, v * 3, 16, 4));
            color c = Mix(color{1, 0.95f, 0.86f, 1}, color{0.86f, 0.78f, 0.76f, 1}, sea);
            // Lit from the lower left, where the sun went.
            const float lit = Smooth(-0.25f, 0.35f, -x * 0.75f + y * 0.55f + 0.28f);
            c.a = (1 - Smooth(0.95f, 0.99f, r)) * Mix(0.10f, 1, lit);
            return c;
        }));
        SkySquare(1.0f, 15, 2.2f, {1, 1, 1, 1}, stage_.Material(look));
    }

    void Clouds() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        look.blend = Blend::Alpha;
        Layer layer;
        layer.texture = stage_.Picture(Painted(512, 128, [](float u, float v) {
            const float wisps = Fbm(u * 8, v * 7, 8, 5) + 0.5f * Fbm(u * 16 + 3, v * 40, 16, 3);
            const float border = Smooth(0, 0.3f, v) * Smooth(0, 0.35f, 1 - v);
            const float shade = Clamp01(0.55f + 0.6f * Fbm(u * 16, v * 14 + 0.5f, 16, 3));
            return color{shade, shade, shade, border * Smooth(0.02f, 0.75f, wisps + 0.05f)};
        }));
        layer.color_op = 4;
        layer.tiling_u = 2;
        layer.speed_u = 0.0012f;
        look.layers = {layer};
        MaterialSimple* material = stage_.Material(look);
        for (const float sign : {1.0f, -1.0f}) {
            stage_.Mesh(ColoredSurface(
                            64, 6,
                            [=](float u, float v) {
                                vect3 at = Direction(2 * kPi * u, 3 + 17 * v) * 37.0f;
                                at.z *= sign;
                                return at;
                            },
                            [](float u, float v) {
                                const color sky = SkyColor(2 * kPi * u, 2 + 5 * v);
                                color c = Mix(sky, color{0.95f, 0.5f, 0.45f, 1}, 0.3f);
                                c.a = 0.8f;
                                return Shade(c, 0.85f);
                            }),
                        material, sky_);
        }
    }

    void Mountains() {
        Look look;
        look.lit = false;
        look.two_sided = true;
        look.behind_all = true;
        MaterialSimple* material = stage_.Material(look);
        for (int range = 0; range < 3; ++range) {
            const float depth = F(range) / 2;
            for (const float sign : {1.0f, -1.0f}) {
                stage_.Mesh(ColoredSurface(
                                360, 1,
                                [=](float u, float v) {
                                    const float c = std::cos(2 * kPi * u), s = std::sin(2 * kPi * u);
                                    const float rough = Fbm(c * 5 + 9 * depth + 20, s * 5 + 20, 128, 5);
                                    const float broad = Noise(c * 1.6f + 5 * depth + 9, s * 1.6f + 9, 128);
                                    const float height =
                                        std::max(0.0f, Mix(3.6f, 1.5f, depth) * (0.55f + 0.75f * broad) +
                                                           Mix(1.5f, 1.0f, depth) * rough);
                                    vect3 at = Direction(2 * kPi * u, height * v) * 36.0f;
                                    at.z *= sign;
                                    return at;
                                },
                                [=](float u, float v) {
                                    const color sky = SkyColor(2 * kPi * u, 2);
                                    const color rock{0.22f, 0.17f, 0.34f, 1};
                                    return Mix(Mix(sky, rock, Mix(0.42f, 0.80f, depth)), sky,
                                               0.32f * (1 - v));
                                }),
                            material, sky_);
            }
        }
    }

    Stage& stage_;
    HierarchyNode* sky_;
    Texture* glow_;
};

}  // namespace

color SkyColor(float azimuth, float elevation) {
    struct Band {
        float elevation;
        color glow, dusk;
    };
    static const std::array<Band, 7> kBands{{
        {0, {1.00f, 0.64f, 0.38f, 1}, {0.44f, 0.34f, 0.54f, 1}},
        {4, {0.99f, 0.52f, 0.38f, 1}, {0.46f, 0.33f, 0.54f, 1}},
        {10, {0.86f, 0.38f, 0.44f, 1}, {0.40f, 0.29f, 0.53f, 1}},
        {20, {0.52f, 0.27f, 0.50f, 1}, {0.25f, 0.22f, 0.48f, 1}},
        {34, {0.25f, 0.18f, 0.44f, 1}, {0.14f, 0.15f, 0.39f, 1}},
        {55, {0.10f, 0.10f, 0.30f, 1}, {0.08f, 0.10f, 0.29f, 1}},
        {90, {0.035f, 0.05f, 0.18f, 1}, {0.035f, 0.05f, 0.18f, 1}},
    }};
    const float weight = std::pow(0.5f + 0.5f * std::cos(azimuth - kPi * 0.58f), 1.6f);
    for (std::size_t i = 1; i < kBands.size(); ++i) {
        if (elevation > kBands[i].elevation) continue;
        const Band &a = kBands[i - 1], &b = kBands[i];
        const float t = (elevation - a.elevation) / (b.elevation - a.elevation);
        return Mix(Mix(a.dusk, b.dusk, t), Mix(a.glow, b.glow, t), weight);
    }
    return kBands.back().dusk;
}

float Dusk(float time) {
    return 0.3f * Smooth(0, kClockworkIn, time) + 0.7f * Smooth(kClockworkSecond, kEnd - 3, time);
}

void MakeEveningSky(Stage& stage, HierarchyNode* node, Texture* glow) {
    EveningSky(stage, node, glow).Make();
}

}  // namespace demo
