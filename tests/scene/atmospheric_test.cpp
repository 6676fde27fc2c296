// What atmospherics make of a picture. Their numbers and calls are in view_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#include "controller/constant.h"
#include "fxutil/math.h"
#include "geometry/geometry_simple.h"
#include "io/object_graph.h"
#include "material/texture_cubemap_file.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/cube_images.h"
#include "support/engine_device.h"
#include "support/picture_device.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using controller::Const;
using support::Alike;
using support::CubeSide;
using support::kCubeSides;
using support::PictureDevice;
using support::QuarterColor;

namespace {

constexpr f32 kHalfPi = 1.5707963f;
constexpr u32 kSize = 128;

// A camera of 90 degrees in both directions, for square pictures.
struct Eye {
    Eye(const vect3& at, const vect3& forward, const vect3& up) {
        matrix axes = kMatrixIdentity;
        const vect3 rows[3] = {Cross(forward, up), up, -forward};
        for (int i = 0; i < 3; ++i) std::memcpy(axes.m[i], &rows[i], sizeof(vect3));
        quat turn;
        D3DXQuaternionRotationMatrix(&turn, &axes);
        place = std::make_unique<TransformationPRS>(at, turn, vect3{1, 1, 1});
        camera.transformation = place.get();
        camera.SetFov(new Const<f32>(kHalfPi));
        camera.SetNearControl(new Const<f32>(1.0f));
        camera.SetFarControl(new Const<f32>(100.0f));
        camera.Update(0);
    }
    CameraSimple camera;
    std::unique_ptr<TransformationPRS> place;
};

void FillSky(TextureCubemapFile& sky, u32 size) {
    for (const CubeSide& side : kCubeSides) sky.SetFaceData(side.key, support::QuarteredImage(side, size));
}

// The middles of a picture's quarters.
u32 Quarter(const PictureDevice& device, bool right, bool low) {
    return device.At(kSize / 4 + (right ? kSize / 2 : 0), kSize / 4 + (low ? kSize / 2 : 0));
}

constexpr bool kSides[] = {false, true};

// Two triangles over the whole view at this distance before an eye in the origin, unlit and white.
void FillSheet(GeometrySimple& sheet, f32 distance) {
    const f32 h = 2 * distance;
    sheet.positions = {{-h, -h, -distance}, {h, -h, -distance}, {h, h, -distance}, {-h, h, -distance}};
    sheet.triangles = {{{0, 1, 2}}, {{0, 2, 3}}};
    sheet.colors.assign(4, color{1, 1, 1, 1});
    sheet.Initialize();
}

}  // namespace

TEST(CubeBackground, ShowsEachSideUprightWhereverTheEyeIs) {
    PictureDevice device(kSize, kSize);
    TextureCubemapFile sky;
    FillSky(sky, 16);
    sky.Load();
    AtmosphericBackground background;
    background.UseCube(&sky);
    for (const CubeSide& side : kCubeSides) {
        Eye eye({30, -200, 5}, side.forward, side.up);
        device.Frame([&] { background.Clear(&eye.camera, 7, true); });
        for (const bool right : kSides) {
            for (const bool low : kSides) {
                EXPECT_EQ(Quarter(device, right, low), QuarterColor(side, right, low))
                    << "side " << side.key << (low ? " below" : " above") << (right ? " right" : " left");
            }
        }
    }
}

TEST(CubeBackground, StopsATexelShortOfTheEdges) {
    // White rims of one texel around black. A pixel 4 of 128 from the left is at u = 1/8 + 4/128 x 6/8, which
    // is 1.1875 texels of 8: between the middles of texel 0 (0.5) and texel 1 (1.5), 0.3125 of the first.
    PictureDevice device(kSize, kSize);
    std::vector<om2::Rgb> pixels;
    for (u32 i = 0; i < 64; ++i) {
        const bool rim = i % 8 == 0 || i % 8 == 7 || i / 8 == 0 || i / 8 == 7;
        const int v = rim ? 255 : 0;
        pixels.push_back({v, v, v});
    }
    TextureCubemapFile sky;
    for (u32 key = 1; key <= 6; ++key) sky.SetFaceData(key, om2::Tga(8, 8, pixels));
    sky.Load();
    AtmosphericBackground background;
    background.UseCube(&sky);
    for (const CubeSide& side : kCubeSides) {
        Eye eye({0, 0, 0}, side.forward, side.up);
        device.Frame([&] { background.Clear(&eye.camera, 7, true); });
        for (const auto& [x, y] :
             {std::pair(4u, 64u), std::pair(64u, 4u), std::pair(124u, 64u), std::pair(64u, 124u)}) {
            EXPECT_TRUE(Alike(device.At(x, y), 0x505050, 3)) << std::hex << device.At(x, y);
        }
    }
}

TEST(CubeBackground, ClearsDepthAndLeavesItClear) {
    PictureDevice device(kSize, kSize);
    TextureCubemapFile sky;
    FillSky(sky, 16);
    sky.Load();
    AtmosphericBackground background;
    background.UseCube(&sky);
    Eye eye({0, 0, 0}, {0, 0, -1}, {0, 1, 0});
    GeometrySimple far;
    FillSheet(far, 99);
    device.Frame([&] {
        Context& context = device.context();
        context.Clear(7, true);
        eye.camera.Apply();
        context.SetWorld(kMatrixIdentity);
        context.ApplyDefaultRenderState();
        context.ResetStages();
        GeometrySimple close;
        FillSheet(close, 2);
        close.Draw();
        background.Clear(&eye.camera, 7, true);
        context.SetWorld(kMatrixIdentity);
        context.ApplyDefaultRenderState();
        context.ResetStages();
        far.Draw();
    });
    EXPECT_EQ(device.At(96, 96), 0xffffffu) << "the sheet lies behind the sides of the cube";
}

TEST(CubeBackground, DrawsSixSidesAboutTheEyeAtHalfTheDepth) {
    support::EngineDevice engine;
    support::Recorder& recorded = engine.recorded();
    TextureCubemapFile sky;
    FillSky(sky, 4);
    sky.Load();
    AtmosphericBackground background;
    background.UseCube(&sky);
    Eye eye({1, 2, 3}, {0, 0, -1}, {0, 1, 0});
    recorded.Clear();
    background.Clear(&eye.camera, 6, true);
    EXPECT_EQ(recorded.Calls().size(), 1u) << "without the colour bit it only clears";
    recorded.Clear();
    engine.context().BeginScene();
    background.Clear(&eye.camera, 7, true);
    engine.context().EndScene();
    const matrix world = engine.context().transforms.GetWorld();
    EXPECT_TRUE(world.m[0][0] == 50 && world.m[1][1] == 50 && world.m[2][2] == 50);
    EXPECT_TRUE(world.m[3][0] == 1 && world.m[3][1] == 2 && world.m[3][2] == 3);
    EXPECT_EQ(recorded.Count("DrawPrimitive", {D3DPT_TRIANGLESTRIP}), 6u);
    for (u32 key = 1; key <= 6; ++key)
        EXPECT_EQ(recorded.Count("SetTexture", {0, recorded.IdOf(sky.GetFace(key))}), 1u);
    for (const support::Call& clear : recorded.Named("Clear"))
        EXPECT_NE(std::find(clear.args.begin(), clear.args.end(), D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL),
                  clear.args.end());
    // Without a camera, as in a mirror: about the view as it stands.
    engine.context().SetView(MatrixTranslation({-7, 0, 0}));
    engine.context().SetPerspective(kHalfPi, 1, 1, 20);
    engine.context().BeginScene();
    background.Clear(nullptr, 7, true);
    engine.context().EndScene();
    const matrix mirrored = engine.context().transforms.GetWorld();
    EXPECT_TRUE(mirrored.m[0][0] == 10 && mirrored.m[3][0] == 7);
    EXPECT_TRUE(recorded.faults.empty());
}

TEST(CubeBackground, FollowsTheCameraOfThePictureBefore) {
    TextureCubemapFile sky;
    SceneHierarchy scene;
    auto* background = scene.Own(std::make_unique<AtmosphericBackground>());
    scene.background = background;
    CameraSimple first;
    CameraSimple second;
    scene.cameras = {&first, &second};
    scene.currentCamera = &first;
    EXPECT_FALSE(scene.FollowsView());
    background->UseCube(&sky);
    EXPECT_TRUE(scene.FollowsView()) << "a clip may choose the second, after the background was drawn";
    scene.cameras.pop_back();
    EXPECT_FALSE(scene.FollowsView());
    scene.currentCamera = nullptr;
    EXPECT_TRUE(scene.FollowsView());
}

TEST(CubeBackground, ACubeOfOneFileHasNoFacesToShow) {
    // No separate images and sizes of 0: sides without texture, which reads as white.
    PictureDevice device(kSize, kSize);
    TextureCubemapFile sky;
    sky.SetFace(0, OSM_SOURCE_DIR "/tests/fxutil/images/dds_cube.dds");
    sky.Load();
    ASSERT_NE(sky.GetDeviceTexture(), nullptr);
    AtmosphericBackground background;
    background.UseCube(&sky);
    Eye eye({0, 0, 0}, {0, 0, -1}, {0, 1, 0});
    device.Frame([&] { background.Clear(&eye.camera, 7, true); });
    EXPECT_EQ(device.At(64, 64), 0xffffffu);
}

// A stage that follows the camera's reflection looks the cube up along r, the reflected way of sight, turned
// round: -r. The cube, left-handed, shows the world along (-r.x, r.y, -r.z) there.
TEST(CubeBackground, AMirrorLooksTheSameImagesUp) {
    om2::SceneFile s;
    int sky = -1;
    int mirror = -1;
    std::array<std::vector<u8>, 6> images;
    for (const CubeSide& side : kCubeSides) images[side.key - 1] = support::QuarteredImage(side, 16);
    s.textures.push_back([&] { sky = s.file.EmbeddedCube(images); });
    s.materials.push_back([&] {
        om2::File::MaterialColors colors;
        colors.diffuse = {0, 0, 0, 1};
        colors.emissive = {1, 1, 1, 1};
        om2::File::StageState state;
        state.coord_index = 19;
        state.transform_count = 3;
        mirror = s.file.Material(
            colors, 1, [&] { s.file.RenderState(); },
            [&] {
                s.file.I32(1);
                s.file.TextureStage(s.Ref(sky), state, 2, 0, 1);
            });
    });
    s.Mesh(om2::Quad(-4, -4, 4, 4), s.Ref(mirror), s.Null());
    // At (0, 0, 5), a quarter turn to the left about the way of sight: what is right in the picture is up in
    // the world, what is up is left.
    s.cameras = [&s] {
        s.file.I32(1);
        s.camera = s.file.Camera(
            [&s] {
                s.file.Placement({0, 0, 5}, {0, 0, std::sqrt(0.5f), std::sqrt(0.5f)});
            },
            om2::kHalfPi, 1, 100);
    };
    s.background = [&] { s.file.TextureBackground(3, s.Ref(sky)); };
    const std::vector<u8> bytes = s.Bytes();

    PictureDevice device(kSize, kSize);
    const test_support::TempFile file;
    file.Fill(bytes);
    osmio::ObjectGraph graph;
    SceneHierarchy* scene = nullptr;
    std::string reason;
    ASSERT_TRUE(LoadSceneFile(file.path, graph, scene, reason)) << reason;
    EXPECT_EQ(test_support::Save(scene), bytes);
    scene->LoadResources();
    // The stage takes the view of the picture before.
    for (int i = 0; i < 2; ++i) {
        device.Frame([&] {
            scene->ClearBackground(0);
            scene->Update(0);
            scene->Render();
        });
    }
    const CubeSide& ahead = kCubeSides[1];  // seen past the mirror, along -z with y up
    for (const bool right : kSides) {
        for (const bool low : kSides) {
            // In the world the pixel lies at x of the sign of `low`, y of that of `right`.
            const bool worldRight = low;
            const bool worldLow = !right;
            EXPECT_EQ(device.At(right ? 126 : 2, low ? 126 : 2), QuarterColor(ahead, worldRight, worldLow));
            // On the mirror r is (x, y, +), so the world along (-x, y, -): left and right change places.
            EXPECT_EQ(Quarter(device, right, low), QuarterColor(ahead, !worldRight, worldLow))
                << right << low;
        }
    }
}

TEST(Fog, HalfWayThroughItsRangeColoursAreHalfWay) {
    PictureDevice device(16, 16);
    Context& context = device.context();
    struct Case {
        f32 fogNear, fogFar, a, b, distance;
        u32 expected;
    };
    // White under fog of (1, 0.5, 0): half-way (255, 191.25, 127.5); a quarter in (255, 223.1, 191.25).
    for (const Case& c : {
             Case{10, 60, 0, 1, 35, 0xffbf80},         // from 10 to 60
             Case{10, 60, 0, 1, 9, 0xffffff},          // before it
             Case{10, 60, 0, 1, 61, 0xff8000},         // beyond it
             Case{0, 100, -1, 1, 75, 0xffbf80},        // from 50 to 100
             Case{0, 100, -1, 1, 62.5f, 0xffdfbf},     //
             Case{0, 100, 0.5f, 1, 50, 0xffbf80},      // from -100, which counts as 0, to 100
             Case{0, 100, 0.5f, 0.75f, 50, 0xffdfbf},  // from 0 to 200
         }) {
        CameraSimple ranges;
        ranges.SetNearControl(new Const<f32>(c.fogNear));
        ranges.SetFogFarControl(new Const<f32>(c.fogFar));
        AtmosphericFog fog;
        fog.SetColor(new Const<color>(color{1, 0.5f, 0, 1}));
        fog.SetIntensityNear(new Const<f32>(c.a));
        fog.SetIntensityFar(new Const<f32>(c.b));
        GeometrySimple sheet;
        FillSheet(sheet, c.distance);
        const auto draw = [&] {
            context.Clear(7, true);
            context.ApplyDefaultRenderState();
            context.ResetStages();
            context.SetWorld(kMatrixIdentity);
            context.SetView(kMatrixIdentity);
            context.SetPerspective(kHalfPi, 1, 1, 200);
            sheet.Draw();
        };
        fog.Apply(&ranges);
        device.Frame(draw);
        EXPECT_TRUE(Alike(device.At(8, 8), c.expected)) << c.distance << std::hex << " " << device.At(8, 8);
        fog.Unapply();
        device.Frame(draw);
        EXPECT_EQ(device.At(8, 8), 0xffffffu);
    }
}

TEST(Ambient, TheLastOfAListCountsAndAllAreTakenBack) {
    // 0.5 of the ambient on a white sheet, lit by nothing else.
    PictureDevice device(16, 16);
    Context& context = device.context();
    context.SetAmbient({0, 0, 1, 1});
    SceneHierarchy scene;
    for (const color& c : {color{1, 0, 0, 1}, color{0, 1, 0, 1}}) {
        auto* ambient = scene.Own(std::make_unique<AtmosphericAmbient>());
        ambient->SetAmbient(new Const<color>(c));
        scene.atmosphericsBefore.push_back(ambient);
    }
    GeometrySimple sheet;
    FillSheet(sheet, 5);
    sheet.colors.clear();
    sheet.normals.assign(4, vect3{0, 0, 1});
    sheet.Initialize();
    const auto draw = [&] {
        context.Clear(7, true);
        context.ApplyDefaultRenderState();
        context.ResetStages();
        D3DMATERIAL9 material{};
        material.Ambient = {0.5f, 0.5f, 0.5f, 1};
        context.device->SetMaterial(&material);
        context.SetWorld(kMatrixIdentity);
        context.SetView(kMatrixIdentity);
        context.SetPerspective(kHalfPi, 1, 1, 200);
        sheet.Draw();
    };
    for (Atmospheric* ambient : scene.atmosphericsBefore) ambient->Apply(nullptr);
    device.Frame(draw);
    EXPECT_TRUE(Alike(device.At(8, 8), 0x008000));
    for (std::size_t i = 2; i > 0; --i) scene.atmosphericsBefore[i - 1]->Unapply();
    EXPECT_EQ(context.ambient, (color{0, 0, 1, 1}));
    device.Frame(draw);
    EXPECT_TRUE(Alike(device.At(8, 8), 0x000080));
    scene.RenderContents();
    EXPECT_EQ(context.ambient, (color{0, 0, 1, 1}));
}
