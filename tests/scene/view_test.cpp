// Cameras, frustums, lights and atmospherics: their numbers, and what they send.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <memory>

#include "controller/constant.h"
#include "material/texture_bitmap_file.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/near.h"
#include "scene/scene_hierarchy.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using controller::Const;

namespace {

constexpr f32 kHalfPi = 1.5707963f;

Const<f32>* Float(f32 value) { return new Const<f32>(value); }
Const<color>* Color(const color& value) { return new Const<color>(value); }

OrientedBox BoxAt(const vect3& centre, f32 half) { return {{half, half, half}, MatrixTranslation(centre)}; }

struct ViewTest : testing::Test {
    support::EngineDevice engine;
    support::Recorder& recorded = engine.recorded();
};

TEST_F(ViewTest, CameraLooksDownItsMinusZ) {
    CameraSimple camera;
    // A quarter turn about z and a step to (1, 2, 3): the view axis stays -z, up turns to -x. Scale does not
    // count.
    TransformationPRS place({1, 2, 3}, QuatFromAxisAngle({0, 0, 1}, kHalfPi), {2, 2, 2});
    camera.transformation = &place;
    camera.Update(0);
    ExpectNear(Through(camera.GetView(), {1, 2, 3}), {0, 0, 0});
    ExpectNear(Through(camera.GetView(), {1, 2, -2}), {0, 0, -5});
    ExpectNear(Through(camera.GetView(), {0, 2, 3}), {0, 1, 0});
}

TEST_F(ViewTest, MissingControllersAnswerEachReaderInItsOwnWay) {
    CameraSimple camera;
    EXPECT_TRUE(camera.GetNear() == 1 && camera.GetFar() == 10000);
    EXPECT_TRUE(camera.GetFogNear() == 0 && camera.GetFogFar() == 0);

    // Without a field of view Apply sends the view alone.
    camera.Apply();
    EXPECT_EQ(recorded.Count("SetTransform"), 1u);
    EXPECT_EQ(recorded.Count("SetTransform", {D3DTS_VIEW}), 1u);

    camera.SetFov(Float(1.2f));
    camera.SetNearControl(Float(2));
    camera.Apply();
    EXPECT_TRUE(camera.GetNear() == 1 && camera.GetFogNear() == 2);
    const f32 aspect = static_cast<f32>(640.0 / 480.0);
    EXPECT_EQ(camera.GetProjection(), MatrixPerspective(1.2f, aspect, 2, 10000));

    camera.SetRangeNearControl(Float(3));
    camera.SetFarControl(Float(50));
    camera.SetFogFarControl(Float(40));
    EXPECT_TRUE(camera.GetNear() == 3 && camera.GetFar() == 50 && camera.GetFogFar() == 40);

    // The aspect follows the target's viewport, with the next Apply.
    const matrix before = camera.GetProjection();
    D3DVIEWPORT9 viewport = engine.context().GetRenderTarget()->viewport;
    viewport.Width = 480;
    engine.context().SetViewport(viewport);
    EXPECT_EQ(camera.GetProjection(), before);
    camera.Apply();
    EXPECT_EQ(camera.GetProjection(), MatrixPerspective(1.2f, 1, 2, 50));
}

TEST_F(ViewTest, FocalDistanceGoesByLocalPositions) {
    const auto place = [](HierarchyNode& node, ControllerTransformation& by, const vect3& at) {
        by.SetPosition(new Const<vect3>(at));
        by.SetRotation(new Const<quat>(kQuatIdentity));
        by.SetScale(new Const<vect3>(vect3{1, 1, 1}));
        node.transform = &by;
    };
    HierarchyNode eye;
    HierarchyNode target;
    ControllerTransformation eyeBy;
    ControllerTransformation targetBy;
    place(eye, eyeBy, {0, 0, 0});
    place(target, targetBy, {3, 4, 0});
    CameraSimple camera;
    camera.transformation = &eye;
    EXPECT_EQ(camera.GetFocalDistance(), 4999.5f);
    eye.target = &target;
    EXPECT_EQ(camera.GetFocalDistance(), 5.0f);
}

TEST_F(ViewTest, FrustumKeepsWhatTouchesIt) {
    CameraSimple camera;
    camera.SetFov(Float(kHalfPi));
    camera.SetNearControl(Float(1));
    camera.SetFarControl(Float(100));
    D3DVIEWPORT9 viewport = engine.context().GetRenderTarget()->viewport;
    viewport.Width = 480;
    engine.context().SetViewport(viewport);
    camera.Update(0);
    camera.Apply();
    Frustum frustum = camera.GetFrustum();
    ASSERT_EQ(frustum.PlaneCount(), 6u);
    // Left: 45 degrees through the eye. Near: one ahead of it, as depth 0.
    ExpectNear(frustum.Plane(0).normal, {std::sqrt(0.5f), 0, -std::sqrt(0.5f)});
    EXPECT_NEAR(frustum.Plane(0).d, 0, 1e-5f);
    ExpectNear(frustum.Plane(4).normal, {0, 0, -1});
    EXPECT_NEAR(frustum.Plane(4).d, 1, 1e-5f);
    EXPECT_NEAR(frustum.Plane(5).d, -100, 1e-2f);

    EXPECT_FALSE(frustum.Intersects(BoxAt({0, 0, 10}, 1)));
    EXPECT_FALSE(frustum.Intersects(BoxAt({0, 0, -102}, 1)));
    EXPECT_TRUE(frustum.Intersects(BoxAt({0, 0, -100.5f}, 1)));
    EXPECT_FALSE(frustum.Intersects(BoxAt({-20, 0, -10}, 4)));
    EXPECT_TRUE(frustum.Intersects(BoxAt({-15, 0, -10}, 4)));
    // Around the whole frustum, every corner outside some plane.
    EXPECT_TRUE(frustum.Intersects(BoxAt({0, 0, 0}, 1000)));

    frustum.AddPlane({{0, 1, 0}, 3});
    EXPECT_EQ(frustum.PlaneCount(), 7u);
    EXPECT_FALSE(frustum.Intersects(BoxAt({0, 0, -10}, 1)));
    EXPECT_TRUE(frustum.Intersects(BoxAt({0, 2.5f, -10}, 1)));
}

TEST_F(ViewTest, LightsReachTheDeviceAsOfTheLastUpdateAndUpToItsLimit) {
    SceneHierarchy scene;
    TransformationPRS place({1, 2, 3}, kQuatIdentity, {1, 1, 1});
    for (u32 i = 0; i < engine.context().caps.maxLights + 2; ++i) {
        auto* light = scene.Own(std::make_unique<LightOmni>());
        light->SetAmbient(Color({0.1f, 0, 0, 0}));
        light->SetDiffuse(Color({0.5f, 0.25f, 1, 1}));
        light->SetSpecular(Color({0, 0, 0.3f, 0}));
        light->SetRange(Float(7));
        light->SetAttenuation(0, Float(0.5f));
        light->SetAttenuation(1, Float(1));
        light->SetAttenuation(2, Float(static_cast<f32>(i)));
        if (i == 0) light->transformation = &place;
        light->Update(0);
        scene.lights.push_back(light);
    }
    static_cast<LightOmni*>(scene.lights[0])->GetRange()->value = 99;

    scene.RenderContents();
    const u32 limit = engine.context().caps.maxLights;
    ASSERT_GT(limit, 0u);
    EXPECT_EQ(recorded.Count("SetLight"), limit);
    EXPECT_EQ(recorded.Count("LightEnable", {0, TRUE}), 1u);
    EXPECT_EQ(engine.context().lightCount, limit);
    const auto* first = static_cast<LightOmni*>(scene.lights[0]);
    const D3DLIGHT9& sent = first->GetDeviceLight();
    EXPECT_TRUE(sent.Type == D3DLIGHT_POINT && sent.Range == 7 && sent.Diffuse.g == 0.25f &&
                sent.Ambient.r == 0.1f && sent.Specular.b == 0.3f && sent.Position.y == 2);

    recorded.Clear();
    engine.context().ResetLights();
    EXPECT_EQ(recorded.Count("LightEnable"), limit);
    recorded.Clear();
    engine.context().ResetLights();
    EXPECT_TRUE(recorded.Calls().empty());
}

TEST(LightRecord, AmbientStandsFirst) {
    om2::File f;
    f.Light([&] { f.Null(); }, {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, 4, {5, 6, 7});
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    auto* light = loaded.As<LightOmni>();
    ASSERT_NE(light, nullptr);
    EXPECT_TRUE(light->GetAmbient()->value.r == 1 && light->GetDiffuse()->value.g == 1 &&
                light->GetSpecular()->value.b == 1);
    EXPECT_TRUE(light->GetRange()->value == 4 && light->GetAttenuation(2)->value == 7);
}

TEST_F(ViewTest, AmbientIsPutBack) {
    engine.context().SetAmbient({1, 0, 0, 1});
    AtmosphericAmbient ambient;
    recorded.Clear();
    ambient.Apply(nullptr);
    ambient.Unapply();
    EXPECT_TRUE(recorded.Calls().empty());

    ambient.SetAmbient(Color({0, 1, 0, 1}));
    ambient.Apply(nullptr);
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_AMBIENT, 0xff00ff00}), 1u);
    ambient.Unapply();
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_AMBIENT, 0xffff0000}), 1u);
}

TEST_F(ViewTest, FogStartsAndEndsWhereItsLineDoes) {
    struct Case {
        f32 fromNear, fromFar, a, b, start, end;
    };
    // The last has equal strengths: what the division gives.
    constexpr f32 inf = std::numeric_limits<f32>::infinity();
    for (const Case& c :
         {Case{10, 60, 0, 1, 10, 60}, Case{0, 100, -1, 1, 50, 100}, Case{0, 100, 0.5f, 1, 0, 100},
          Case{0, 100, 0, 0.5f, 0, 200}, Case{0, 10, 0.5f, 0.5f, 0, inf}}) {
        CameraSimple camera;
        camera.SetNearControl(Float(c.fromNear));
        camera.SetFogFarControl(Float(c.fromFar));
        AtmosphericFog fog;
        recorded.Clear();
        fog.Apply(&camera);
        fog.Unapply();
        EXPECT_TRUE(recorded.Calls().empty());

        fog.SetColor(Color({1, 0.5f, 0, 1}));
        fog.SetIntensityNear(Float(c.a));
        fog.SetIntensityFar(Float(c.b));
        fog.Apply(nullptr);
        EXPECT_TRUE(recorded.Calls().empty());
        fog.Apply(&camera);
        EXPECT_EQ(fog.GetParams().start, c.start);
        EXPECT_EQ(fog.GetParams().end, c.end);
        const auto bits = [](f32 v) { return i64{std::bit_cast<u32>(v)}; };
        EXPECT_EQ(recorded.Texts(),
                  (std::vector<std::string>{
                      "SetRenderState(28, 1)",  // FOGENABLE
                      "SetRenderState(34, " + std::to_string(0xffff8000u) + ")",
                      "SetRenderState(35, 0)",   // FOGTABLEMODE
                      "SetRenderState(48, 0)",   // RANGEFOGENABLE
                      "SetRenderState(140, 3)",  // FOGVERTEXMODE
                      "SetRenderState(36, " + std::to_string(bits(c.start)) + ")",
                      "SetRenderState(37, " + std::to_string(bits(c.end)) + ")",
                  }));
        recorded.Clear();
        fog.Unapply();
        EXPECT_EQ(recorded.Texts(), (std::vector<std::string>{"SetRenderState(28, 0)"}));
        recorded.Clear();
    }
}

TEST_F(ViewTest, BackgroundsClearAndPutTheClearColourBack) {
    const color clear = engine.context().clearColor;
    AtmosphericFog fog;
    fog.Clear(nullptr, 7, true);
    EXPECT_TRUE(recorded.Calls().empty());
    fog.SetColor(Color({1, 0, 0, 1}));
    fog.Clear(nullptr, 7, true);
    AtmosphericBackground background;
    background.UseColor(Color({0, 0, 1, 0.5f}));
    background.Clear(nullptr, 1, true);
    const std::vector<support::Call> clears = recorded.Named("Clear");
    ASSERT_EQ(clears.size(), 2u);
    EXPECT_NE(clears[0].Text().find(std::to_string(0xffff0000u)), std::string::npos);
    EXPECT_NE(clears[1].Text().find(std::to_string(0x800000ffu)), std::string::npos);
    EXPECT_EQ(engine.context().clearColor, clear);
    EXPECT_FALSE(fog.CanClear());
    EXPECT_TRUE(background.CanClear());
}

TEST_F(ViewTest, BitmapBackgroundCoversTheViewport) {
    TextureBitmapFile texture;
    AtmosphericBackground background;
    background.UseBitmap(&texture);
    background.Clear(nullptr, 2, true);
    EXPECT_EQ(recorded.totals.draws, 0u);
    EXPECT_EQ(recorded.Named("Clear").size(), 1u);

    engine.context().SetViewport({100, 50, 200, 300, 0, 1});
    recorded.Clear();
    engine.context().BeginScene();
    background.Clear(nullptr, 7, true);
    engine.context().EndScene();
    const std::vector<support::Call> draws = recorded.Named("DrawPrimitive");
    ASSERT_EQ(draws.size(), 1u);
    f32 corners[4][7];
    ASSERT_EQ(draws[0].vertices.size(), sizeof(corners));
    std::memcpy(corners, draws[0].vertices.data(), sizeof(corners));
    const f32 expected[4][4] = {{100, 50, 0, 0}, {300, 50, 1, 0}, {100, 350, 0, 1}, {300, 350, 1, 1}};
    for (int i = 0; i < 4; ++i) {
        const f32* c = corners[i];
        EXPECT_EQ((std::array{c[0], c[1], c[5], c[6]}), std::to_array(expected[i]));
        EXPECT_TRUE(c[2] == 1 && c[3] == 1);
    }
    // Depth and stencil by the device's clear, the colour by the quad.
    const std::vector<support::Call> clears = recorded.Named("Clear");
    ASSERT_EQ(clears.size(), 1u);
    EXPECT_NE(std::find(clears[0].args.begin(), clears[0].args.end(), D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL),
              clears[0].args.end());
    EXPECT_TRUE(recorded.faults.empty());
}

TEST_F(ViewTest, BackgroundWithoutAModeIsToldAndClearsNothing) {
    const testing_messages::Listener listener;
    AtmosphericBackground background;
    background.Clear(nullptr, 7, true);
    EXPECT_EQ(listener.boxes, std::vector<std::string>{"Invalid clear function"});
    EXPECT_TRUE(recorded.Calls().empty());
}

}  // namespace
