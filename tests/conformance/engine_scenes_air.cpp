// Fog, backgrounds, ambient light and billboards.
#include <cmath>

#include "conformance/engine_scenes.h"
#include "scene/atmospheric_billboard.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

MaterialSimple* Stone(SceneMaker& maker) {
    MaterialSimple* stone = maker.Matt({0.9f, 0.8f, 0.7f, 1});
    maker.Layer(stone, maker.Picture(Pattern(32, 32)));
    return stone;
}

// Boxes into the distance over a floor of many quads: fog is worked out at their corners.
void Avenue(SceneMaker& maker) {
    maker.Ambient({0.3f, 0.3f, 0.3f, 1});
    LightOmni* light = maker.Light(maker.Node({4, 8, 4}), Still(color{0.8f, 0.8f, 0.8f, 1}));
    light->SetSpecular(Still(kWhite));
    maker.LookFrom({0, 1.2f, 6}, 0.12f);
    MaterialSimple* stone = Stone(maker);
    stone->SetConstants({0.9f, 0.8f, 0.7f, 1}, {0.9f, 0.8f, 0.7f, 1}, kWhite, kNone, 12);
    stone->GetRenderState()->specularEnable = true;
    for (int i = 0; i < 6; ++i)
        for (int side = -1; side < 2; side += 2)
            maker.Mesh(demo::Box({-0.5f, -0.5f, -0.5f}, {0.5f, 1.5f, 0.5f}), stone,
                       maker.Node({1.8f * F(side), 0, 3 - 3 * F(i)}, QuatFromAxisAngle({0, 1, 0}, 0.4f)));
    maker.Mesh(demo::Surface(16, 40,
                             [](float u, float v) {
                                 return vect3{16 * u - 8, -0.5f, 5 - 25 * v};
                             }),
               maker.Matt({0.4f, 0.7f, 0.4f, 1}));
    MaterialSimple* glass = maker.Glow({0.9f, 0.2f, 0.2f, 0.5f});
    SceneMaker::Blend(glass, 2);
    maker.Mesh(Board(-1, 0, -0.1f, 1.6f, -3), glass);
    MaterialSimple* flame = maker.Glow({0.2f, 0.5f, 0.9f, 0.7f});
    SceneMaker::Blend(flame, 3);
    maker.Mesh(Board(0.1f, 0.4f, 0.9f, 2, -2), flame);
}

void Fog(SceneMaker& maker) {
    Avenue(maker);
    maker.camera->SetFogFarControl(Still(17.0f));
    AtmosphericFog* fog = maker.Fog({0.7f, 0.75f, 0.8f, 1}, 0, 1);
    fog->SetColor(Keyed<color>({{0, {0.7f, 0.75f, 0.8f, 1}}, {100, {0.8f, 0.3f, 0.1f, 1}}}));
    fog->SetIntensityNear(Keyed<f32>({{0, 0}, {50, -1}, {100, 0.2f}}));
    fog->SetIntensityFar(Keyed<f32>({{0, 1}, {100, 0.9f}}));
    maker.Background({0.7f, 0.75f, 0.8f, 1});
}

// The fog clears the picture too, to its own colour.
void FogClears(SceneMaker& maker) {
    Avenue(maker);
    maker.camera->SetFogFarControl(Still(16.0f));
    AtmosphericFog* fog = maker.Fog({0.5f, 0.6f, 0.4f, 1}, 0.1f, 1);
    fog->SetCanClear(true);
    maker.scene.background = fog;
}

// Coloured vertices and what glows lie in the fog as well; a surface without it would show.
void FogUnlit(SceneMaker& maker) {
    maker.camera->SetFogFarControl(Still(12.0f));
    maker.Fog({0.9f, 0.9f, 0.2f, 1}, 0, 1);
    for (int i = 0; i < 4; ++i) {
        const float x = -4 + 2.1f * F(i), z = 2 - 2 * F(i);
        maker.Mesh(demo::ColoredSurface(
                       4, 4,
                       [=](float u, float v) {
                           return vect3{x + 1.8f * u, -2.5f + 2.2f * v, z};
                       },
                       [](float u, float v) {
                           return color{u, v, 0.6f, 1};
                       }),
                   maker.Matt(kWhite));
        maker.Mesh(demo::Surface(4, 4,
                                 [=](float u, float v) {
                                     return vect3{x + 1.8f * u, 0.2f + 2.2f * v, z - 4 * u};
                                 }),
                   maker.Glow({0.1f, 0.3f, 0.8f, 1}));
    }
}

void BackgroundPicture(SceneMaker& maker) {
    maker.stage.BackgroundPicture(maker.Picture(Pattern(48, 20)));
    maker.Light(maker.Node({3, 4, 6}), Still(kWhite));
    maker.Mesh(demo::Sphere(1.2f, 20, 14), maker.Matt({0.9f, 0.4f, 0.3f, 1}));
}

// All six sides, up and down too, with a roll and at a wide angle.
void BackgroundCube(SceneMaker& maker) {
    maker.stage.BackgroundCube(Room(32));
    maker.camera->SetFov(Keyed<f32>({{0, 1.2f}, {400, 1.2f}, {500, 2}}));
    maker.LookFrom(maker.Moving(Keyed<vect3>({{0, {0, 0, 6}}, {500, {20, -5, 3}}}),
                                Keyed<quat>({{0, QuatFromEuler(0.5f, 0.4f, 0.1f)},
                                             {100, QuatFromEuler(0.3f, 1.9f, 0.2f)},
                                             {200, QuatFromEuler(-0.4f, 3.5f, 0)},
                                             {300, QuatFromEuler(1.4f, 0.3f, 0.4f)},
                                             {400, QuatFromEuler(-1.3f, -0.5f, 0.8f)},
                                             {500, QuatFromEuler(0.2f, -1.2f, 2.5f)}})));
    maker.Light(maker.Node({10, 4, 10}), Still(kWhite));
    maker.Mesh(demo::Sphere(1, 20, 14), maker.Matt({0.9f, 0.9f, 0.9f, 1}));
}

// Two ambient lights: the later one counts, and each surface takes its own share of it.
void Ambient(SceneMaker& maker) {
    maker.Ambient({0.9f, 0.1f, 0.1f, 1});
    auto* later = maker.Make<AtmosphericAmbient>();
    later->SetAmbient(Keyed<color>({{0, {0.2f, 0.6f, 0.4f, 1}}, {100, {0.9f, 0.9f, 1.4f, 1}}}));
    maker.scene.atmosphericsBefore.push_back(later);
    for (int i = 0; i < 4; ++i) {
        MaterialSimple* material = maker.Matt(kWhite);
        material->SetConstants({0, 0, 0, 1}, {0.25f * F(i + 1), 1 - 0.25f * F(i), 0.7f, 1}, kNone,
                               {0.1f * F(i), 0, 0, 0}, 0);
        maker.Mesh(demo::Sphere(0.9f, 20, 14), material, maker.Node({-3 + 2 * F(i), 0, 0}));
    }
}

AtmosphericBillboard* Sprites(SceneMaker& maker, Material* material) {
    auto* sprites = maker.Make<AtmosphericBillboard>();
    auto* holder = new particle::Billboard();
    holder->material = material;
    sprites->SetBillboard(holder);
    return sprites;
}

// Sprites over the finished picture, growing and moving, blended in their order and hidden by what is nearer;
// others ahead of the meshes, without a material. All under a camera that rolls.
void Billboards(SceneMaker& maker) {
    maker.Light(maker.Node({3, 4, 6}), Still(kWhite));
    maker.Mesh(demo::Sphere(1.1f, 20, 14), maker.Matt({0.3f, 0.5f, 0.9f, 1}), maker.Node({0.3f, 0, 0}));
    MaterialSimple* leaf = maker.Poster(maker.Picture(Pattern(32, 32, true)));
    leaf->GetStage(0)->State().alphaOp = 1;
    SceneMaker::Blend(leaf, 2);
    leaf->GetRenderState()->lighting = false;
    leaf->GetRenderState()->depthMode = 1;
    AtmosphericBillboard* over = Sprites(maker, leaf);
    for (int i = 0; i < 6; ++i)
        over->AddElement(
            maker.Moving(Keyed<vect3>({{0, {-2.7f + F(i), 0.5f * F(i % 3) - 0.8f, 1.5f - 0.7f * F(i)}},
                                       {100, {2.2f - 0.8f * F(i), 0.6f * F(i) - 1.5f, 0.3f * F(i) - 0.8f}}})),
            Keyed<f32>({{0, 1.3f}, {100, 0.6f + 0.3f * F(i)}}));
    maker.scene.atmosphericsAfter.push_back(over);
    AtmosphericBillboard* ahead = Sprites(maker, nullptr);
    for (int i = 0; i < 3; ++i) ahead->AddElement(maker.Node({-2.5f + 2.5f * F(i), 2.1f, -1}), Still(1.4f));
    maker.scene.atmosphericsBefore.push_back(ahead);
    maker.LookFrom(maker.Moving(Still(vect3{0, 0, 6}),
                                Keyed<quat>({{0, kQuatIdentity}, {100, QuatFromEuler(0.1f, -0.1f, 0.7f)}})));
}

// Sprites that add up, that are cut by their alpha, and plain ones, in a fog that begins after the meshes.
void SpriteMaterials(SceneMaker& maker) {
    Texture* glow = maker.Picture(demo::GlowPicture(1.5f));
    Texture* pattern = maker.Picture(Pattern(16, 16));
    maker.Mesh(Board(-4, -3, 4, 0, -0.5f), maker.Poster(pattern));
    maker.camera->SetFogFarControl(Still(9.0f));
    maker.scene.atmosphericsAfter.push_back(maker.Fog({0.2f, 0.7f, 0.2f, 1}, -1, 1));
    maker.scene.atmosphericsBefore.clear();
    for (int i = 0; i < 3; ++i) {
        MaterialSimple* material = maker.Glow(kWhite);
        maker.Layer(material, i < 2 ? glow : pattern)->State().alphaOp = 1;
        if (i == 0) {
            SceneMaker::Blend(material, 3);
        } else if (i == 1) {
            material->GetRenderState()->alphaTestEnable = true;
            material->GetRenderState()->alphaFunc = 6;
            material->GetRenderState()->alphaRef = 100;
        }
        AtmosphericBillboard* sprites = Sprites(maker, material);
        for (int k = 0; k < 4; ++k)
            sprites->AddElement(
                maker.Node({-2.6f + 2.6f * F(i) + 0.3f * F(k % 2), -2 + 1.3f * F(k), 0.2f * F(k)}),
                Still(1.8f));
        maker.scene.atmosphericsAfter.push_back(sprites);
    }
}

}  // namespace

std::vector<EngineCase> AirScenes() {
    std::vector<EngineCase> out = {
        SceneCase("scene_fog", Fog, {0, 50, 100}),
        SceneCase("scene_fog_clears", FogClears),
        SceneCase("scene_fog_unlit", FogUnlit),
        SceneCase("scene_background_picture", BackgroundPicture),
        SceneCase("scene_background_cube", BackgroundCube, {0, 100, 200, 300, 400, 500}),
        SceneCase("scene_ambient", Ambient, {0, 100}),
        SceneCase("scene_billboards", Billboards, {0, 70}),
        SceneCase("scene_sprite_materials", SpriteMaterials),
    };
    out[3].width = 203, out[3].height = 77;
    return out;
}

}  // namespace conformance
