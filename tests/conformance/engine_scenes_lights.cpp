// Lights and cameras.
#include <cmath>

#include "conformance/engine_scenes.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

// A wall of many vertices: light is worked out at them.
Shape Wall(float x0, float y0, float x1, float y1) {
    return demo::Surface(36, 27, [=](float u, float v) {
        return vect3{demo::Mix(x0, x1, u), demo::Mix(y0, y1, v), 0};
    });
}

// Where the reach of a light ends, and how it falls off until then.
void Reach(SceneMaker& maker) {
    const float falls[6][3] = {{1, 0, 0},       {0, 1, 0},          {0, 0, 1},
                               {0.5f, 0.5f, 0}, {0.2f, 0.3f, 0.5f}, {2, 0, 0}};
    for (int i = 0; i < 6; ++i) {
        const float x = -2.7f + 2.7f * F(i % 3), y = 1.5f - 3 * F(i / 3);
        LightOmni* light =
            maker.Light(maker.Node({x, y, 0.8f}),
                        Still(color{i % 2 == 0 ? 1.0f : 0.4f, 0.8f, i < 3 ? 0.3f : 1.0f, 1}), 1.25f);
        for (u32 k = 0; k < 3; ++k) light->SetAttenuation(k, Still(falls[i][k]));
    }
    maker.Mesh(Wall(-4, -3, 4, 3), maker.Matt({0.9f, 0.9f, 0.9f, 1}));
}

// Ten lights, of which eight count; each has its own colour, ambient and highlight.
void Many(SceneMaker& maker) {
    for (int i = 0; i < 10; ++i) {
        const float a = 0.6283f * F(i);
        LightOmni* light = maker.Light(
            maker.Node({2.8f * std::cos(a), 2 * std::sin(a), 0.7f}),
            Still(color{i % 3 == 0 ? 1.0f : 0.1f, i % 3 == 1 ? 1.0f : 0.1f, i % 3 == 2 ? 1.0f : 0.1f, 1}), 3);
        light->SetAttenuation(2, Still(1.5f));
        light->SetAmbient(Still(color{0.03f * F(i), 0, 0.05f, 1}));
        light->SetSpecular(Still(color{0.5f, 0.5f, 0.3f, 1}));
    }
    MaterialSimple* wall = maker.Matt({0.8f, 0.8f, 0.8f, 1});
    wall->SetConstants({0.8f, 0.8f, 0.8f, 1}, {0.6f, 0.6f, 0.6f, 1}, kWhite, kNone, 30);
    wall->GetRenderState()->specularEnable = wall->GetRenderState()->localViewer = true;
    maker.Mesh(Wall(-4, -3, 4, 3), wall);
}

// Colour, range, fall-off and place from keys. One hangs on a node that turns, which it does not follow.
void Animated(SceneMaker& maker) {
    LightOmni* light = maker.Light(maker.Moving(Keyed<vect3>({{0, {-3, 2, 1}}, {100, {3, -1, 2}}})),
                                   Keyed<color>({{0, {1, 0.2f, 0.2f, 1}}, {100, {0.2f, 1, 0.4f, 1}}}));
    light->SetRange(Keyed<f32>({{0, 2}, {100, 6}}));
    light->SetAttenuation(1, Keyed<f32>({{0, 0}, {100, 0.6f}}));
    HierarchyNode* arm = maker.Moving(
        Still(vect3{1, 1, 0}), Keyed<quat>({{0, kQuatIdentity}, {100, QuatFromAxisAngle({0, 0, 1}, 2)}}));
    maker.Light(maker.Node({1.5f, 0, 1}, kQuatIdentity, {1, 1, 1}, arm), Still(color{0.3f, 0.3f, 1, 1}),
                2.5f);
    maker.Light(nullptr, Still(color{0.5f, 0.5f, 0, 1}), 8);
    maker.Mesh(Wall(-4, -3, 4, 3), maker.Matt({0.9f, 0.9f, 0.9f, 1}), maker.Node({0, 0, -0.6f}));
}

// A ring of boxes around cameras that stand in it: one looks ahead, one aims and rolls, one has a narrow
// view, a near plane and a far plane that cut, one has no view angle of its own.
void Cameras(SceneMaker& maker) {
    maker.Ambient({0.4f, 0.4f, 0.4f, 1});
    maker.Light(maker.Node({1, 3, 0}), Still(color{0.8f, 0.8f, 0.7f, 1}));
    MaterialSimple* stone = maker.Matt({0.8f, 0.8f, 0.8f, 1});
    maker.Layer(stone, maker.Picture(Pattern(32, 32)));
    for (int i = 0; i < 16; ++i) {
        const float a = 2 * demo::kPi * F(i) / 16;
        maker.Mesh(demo::Box({-0.7f, -1.2f, -0.7f}, {0.7f, 1.2f, 0.7f}), stone,
                   maker.Node({6 * std::sin(a), 0.4f * F(i % 3) - 0.4f, -6 * std::cos(a)},
                              QuatFromAxisAngle({0, 1, 0}, 0.3f * F(i))));
    }
    for (int i = 0; i < 5; ++i)
        maker.Mesh(demo::Sphere(0.5f, 16, 12), maker.Matt({1, 0.25f * F(i), 0.2f, 1}),
                   maker.Node({-2 + F(i), 0, -1.2f * F(i)}));
    maker.LookFrom({0.2f, 0.5f, 1.5f}, 0.1f, 0.3f);
    maker.camera->SetFov(Still(1.6f));
    HierarchyNode* target = maker.Node({1, -0.5f, -3});
    HierarchyNode* aimed = maker.Node({-3, 2.5f, 3});
    aimed->target = target;
    aimed->roll = maker.Keep(Still(0.5f));
    maker.Camera(aimed, 0.8f, 0.5f, 100, 100);
    // Planes on either side of what is there cut through boxes and spheres.
    maker.Camera(maker.Node({0, 0, 2}), 0.9f, 3, 7.6f, 100);
    osm3d::CameraSimple* missing =
        maker.Camera(maker.Node({0, 1, 6}, QuatFromAxisAngle({1, 0, 0}, -0.1f)), 0.9f, 0.5f, 100, 100);
    missing->SetNearControl(nullptr);
    missing->SetFarControl(nullptr);
    missing->SetFogFarControl(nullptr);
}

EngineCase FromCamera(const std::string& name, int camera, unsigned width, unsigned height) {
    EngineCase out = SceneCase(name, Cameras);
    out.camera = camera;
    out.width = width;
    out.height = height;
    return out;
}

}  // namespace

std::vector<EngineCase> LightScenes() {
    return {
        SceneCase("scene_light_reach", Reach),
        SceneCase("scene_lights", Many),
        SceneCase("scene_animated_lights", Animated, {0, 60}),
        FromCamera("scene_camera_wide", 0, 320, 120),
        FromCamera("scene_camera_aimed", 1, 120, 200),
        FromCamera("scene_camera_cut", 2, 160, 120),
        FromCamera("scene_camera_bare", 3, 160, 120),
    };
}

}  // namespace conformance
