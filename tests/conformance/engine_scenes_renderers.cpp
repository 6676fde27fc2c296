// Shadows, mirrors, and both in a chain.
#include <cmath>

#include "conformance/engine_scenes.h"
#include "render/scene_renderer_mirror.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

const Shape& Cube() {
    static const Shape shape = demo::Box({-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f});
    return shape;
}

struct Yard {
    LightOmni* light;
    MaterialSimple* floor;
};

// A floor at y = -1 and a wall behind it, seen from above, with a light.
Yard MakeYard(SceneMaker& maker) {
    maker.LookFrom({0, 2.2f, 6}, 0.42f);
    maker.Ambient({0.35f, 0.35f, 0.4f, 1});
    LightOmni* light = maker.Light(maker.Node({-2.5f, 5, 3}), Still(color{0.8f, 0.8f, 0.7f, 1}));
    MaterialSimple* floor = maker.Matt({0.8f, 0.7f, 0.5f, 1});
    maker.Mesh(demo::Surface(12, 12,
                             [](float u, float v) {
                                 return vect3{16 * u - 8, -1, 8 - 12 * v};
                             }),
               floor);
    maker.Mesh(demo::Surface(12, 6,
                             [](float u, float v) {
                                 return vect3{16 * u - 8, 6 * v - 1, -4};
                             }),
               floor);
    return {light, floor};
}

// A thing that is seen and throws a shadow.
void Thing(SceneMaker& maker, LightOmni* light, const Shape& shape, Material* material, HierarchyNode* node) {
    maker.Mesh(shape, material, node);
    maker.stage.ShadowOf(shape, node, light);
}

// Shadows on floor, wall and each other's bodies; where they overlap they are no darker. One moves.
void Shadows(SceneMaker& maker) {
    const Yard yard = MakeYard(maker);
    MaterialSimple* red = maker.Matt({0.9f, 0.3f, 0.2f, 1});
    maker.stage.Shadows(yard.light);
    Thing(maker, yard.light, Cube(), red,
          maker.Node({-1.2f, 0.2f, 0.5f}, QuatFromEuler(0.3f, 0.5f, 0), {1, 1.5f, 0.7f}));
    Thing(maker, yard.light, demo::Sphere(0.6f, 16, 10), red,
          maker.Moving(Keyed<vect3>({{0, {0, 0.4f, -0.6f}}, {100, {2, 1, -1}}})));
    Thing(maker, yard.light, demo::Torus(0.7f, 0.2f, 18, 8), red,
          maker.Node({1.6f, 0.6f, 0}, QuatFromEuler(-0.9f, 0.3f, 0)));
}

// The last material drawn has a texture, which the darkening meets in the stages.
void ShadowTextured(SceneMaker& maker) {
    Shadows(maker);
    MaterialSimple* painted = maker.Matt({0.9f, 0.9f, 0.9f, 1});
    maker.Layer(painted, maker.Picture(Pattern(64, 64, true)));
    maker.Mesh(Cube(), painted, maker.Node({2.5f, -0.4f, 1.6f}));
}

// A second light that throws none, and a shadow light that is not the first; what casts has open edges, or is
// in parts, and one caster is not seen at all.
void ShadowLights(SceneMaker& maker) {
    const Yard yard = MakeYard(maker);
    LightOmni* second = maker.Light(maker.Node({3, 4, 2}), Still(color{0.3f, 0.4f, 0.8f, 1}));
    MaterialSimple* green = maker.Matt({0.3f, 0.8f, 0.3f, 1});
    green->GetRenderState()->cullMode = 2;
    maker.stage.Shadows(second);
    MeshSimple* sail = maker.Mesh(Board(-0.8f, -0.6f, 0.8f, 1), green,
                                  maker.Node({0.6f, 0.4f, 0.3f}, QuatFromEuler(0.3f, 0.9f, 0)));
    sail->SetCastShadow(true);
    second->GetShadowCasters().push_back(sail);
    Thing(maker, second, Cube(), green, maker.Node({-1.8f, -0.4f, 0}, kQuatIdentity, {0.8f, 1.6f, 0.8f}));
    maker.stage.ShadowOf(Cube(), maker.Node({2.2f, 1.2f, 1}, kQuatIdentity, {0.4f, 0.4f, 0.4f}), second);
    yard.light->SetDiffuse(Still(color{0.5f, 0.4f, 0.3f, 1}));
}

// A mirror of 3 x 2.3 a little over a floor, things on both of its sides.
MeshSimple* MakeHall(SceneMaker& maker, MaterialSimple* surface) {
    maker.LookFrom({0.9f, 1, 5}, 0.22f, 0.15f);
    maker.Ambient({0.35f, 0.35f, 0.4f, 1});
    maker.Light(maker.Node({1.5f, 4, 3}), Still(color{0.8f, 0.8f, 0.7f, 1}));
    maker.Mesh(demo::Surface(10, 10,
                             [](float u, float v) {
                                 return vect3{12 * u - 6, -1, 6 - 12 * v};
                             }),
               maker.Matt({0.6f, 0.7f, 0.5f, 1}));
    maker.Mesh(Cube(), maker.Matt({0.9f, 0.3f, 0.2f, 1}),
               maker.Node({-0.9f, -0.5f, 0.6f}, QuatFromAxisAngle({0, 1, 0}, 0.5f)));
    // Through the mirror's plane: what is behind it must not show.
    maker.Mesh(demo::Sphere(0.6f, 18, 12), maker.Matt({0.9f, 0.8f, 0.2f, 1}),
               maker.Node({0.5f, -0.1f, -1.2f}));
    maker.Mesh(Cube(), maker.Matt({0.9f, 0.2f, 0.9f, 1}), maker.Node({0, 1, -3}));
    MeshSimple* glass = maker.Mesh(Board(-1.5f, -0.9f, 1.5f, 1.4f), surface, maker.Node({0, 0, -1.2f}));
    return glass;
}

MaterialSimple* Silver(SceneMaker& maker, float alpha) {
    MaterialSimple* silver = maker.Matt({0.7f, 0.8f, 0.9f, alpha});
    silver->SetConstants({0.7f, 0.8f, 0.9f, alpha}, {0.7f, 0.8f, 0.9f, alpha}, kNone, kNone, 0);
    return silver;
}

void Mirror(SceneMaker& maker) { maker.stage.Mirror(MakeHall(maker, Silver(maker, 0.25f))); }

// Alpha of the picture on it says how much of the mirror is seen.
void MirrorPainted(SceneMaker& maker) {
    MaterialSimple* painted = Silver(maker, 1);
    maker.Layer(painted, maker.Picture(Pattern(32, 32, true)))->State().alphaOp = 1;
    maker.stage.Mirror(MakeHall(maker, painted));
}

// A texture stands in the stages when the mirror's place is cleared.
void MirrorTextured(SceneMaker& maker) {
    MeshSimple* glass = MakeHall(maker, Silver(maker, 0.1f));
    MaterialSimple* painted = maker.Matt({0.9f, 0.9f, 0.9f, 1});
    maker.Layer(painted, maker.Picture(Pattern(64, 64, true)));
    maker.Mesh(Cube(), painted, maker.Node({1.6f, -0.5f, 0.4f}));
    maker.stage.Mirror(glass);
}

// The surface itself has the texture when the place is cleared after it is marked.
void MirrorFog(SceneMaker& maker) {
    MaterialSimple* painted = Silver(maker, 0.5f);
    maker.Layer(painted, maker.Picture(Checks(16, 4, {1, 1, 1, 1}, {0.3f, 0.3f, 0.3f, 1})));
    maker.stage.Mirror(MakeHall(maker, painted));
    maker.camera->SetFogFarControl(Still(14.0f));
    maker.Fog({0.6f, 0.65f, 0.7f, 1}, 0, 1);
    maker.Background({0.6f, 0.65f, 0.7f, 1});
}

// Two mirrors at an angle in surroundings that both of them show; a tilted one moves.
void MirrorTwo(SceneMaker& maker, bool cube) {
    MeshSimple* first = MakeHall(maker, Silver(maker, 0.2f));
    MeshSimple* second = maker.Mesh(
        Board(-1.2f, -1, 1.2f, 1), Silver(maker, 0.3f),
        maker.Moving(Keyed<vect3>({{0, {-2.2f, 0, 0.2f}}, {100, {-2.2f, 0.6f, 0.6f}}}),
                     Keyed<quat>({{0, QuatFromEuler(0, 0.9f, 0)}, {100, QuatFromEuler(-0.3f, 1.1f, 0.2f)}})));
    maker.stage.Mirror(first);
    dynamic_cast<SceneRendererMirror&>(*maker.scene.renderers.back()).mirrors.push_back(second);
    if (cube)
        maker.stage.BackgroundCube(Room(32));
    else
        maker.stage.BackgroundPicture(maker.Picture(Pattern(32, 32)));
}
void MirrorTwoCube(SceneMaker& maker) { MirrorTwo(maker, true); }
void MirrorTwoPicture(SceneMaker& maker) { MirrorTwo(maker, false); }

// Both renderers in one scene: the one that stands last draws, and ends the chain.
void ShadowAndMirror(SceneMaker& maker, bool mirror_last) {
    MeshSimple* glass = MakeHall(maker, Silver(maker, 0.25f));
    LightOmni* light = maker.Light(maker.Node({2.5f, 3, 2}), Still(color{0.3f, 0.3f, 0.3f, 1}));
    maker.stage.ShadowOf(demo::Sphere(0.4f, 12, 8), maker.Node({0.6f, 0.2f, 0.6f}), light);
    if (mirror_last) maker.stage.Shadows(light);
    maker.stage.Mirror(glass);
    if (!mirror_last) maker.stage.Shadows(light);
}
void MirrorLast(SceneMaker& maker) { ShadowAndMirror(maker, true); }
void ShadowLast(SceneMaker& maker) { ShadowAndMirror(maker, false); }

EngineCase Sized(EngineCase entry, unsigned width, unsigned height, unsigned samples = 0) {
    entry.width = width;
    entry.height = height;
    entry.samples = samples;
    return entry;
}

}  // namespace

std::vector<EngineCase> RendererScenes() {
    return {
        Sized(SceneCase("scene_shadows", Shadows, {0, 100}), 240, 180),
        SceneCase("scene_shadow_textured", ShadowTextured),
        SceneCase("scene_shadow_lights", ShadowLights),
        Sized(SceneCase("scene_shadow_smooth", Shadows), 160, 120, 4),
        Sized(SceneCase("scene_mirror", Mirror), 240, 180),
        SceneCase("scene_mirror_painted", MirrorPainted),
        SceneCase("scene_mirror_textured", MirrorTextured),
        SceneCase("scene_mirror_fog", MirrorFog),
        SceneCase("scene_mirror_two_cube", MirrorTwoCube, {0, 100}),
        SceneCase("scene_mirror_two_picture", MirrorTwoPicture, {0, 100}),
        Sized(SceneCase("scene_mirror_smooth", Mirror), 160, 120, 4),
        SceneCase("scene_mirror_last", MirrorLast),
        SceneCase("scene_shadow_last", ShadowLast),
    };
}

}  // namespace conformance
