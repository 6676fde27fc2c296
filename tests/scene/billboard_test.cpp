// Billboards: where their sprites are, how they look, what they cost.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "geometry/geometry_simple.h"
#include "io/object_graph.h"
#include "scene/atmospheric_billboard.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/near.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "scene/transformation_prs.h"
#include "support/allocations.h"
#include "support/cube_images.h"
#include "support/engine_device.h"
#include "support/picture_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using controller::Const;

namespace {

constexpr f32 kHalfPi = 1.5707963f;
constexpr u32 kYellow = 0xffff00;

struct Sprites {
    explicit Sprites(const std::vector<AtmosphericBillboard::Sprite>& at) {
        object.SetBillboard(new particle::Billboard);
        for (const auto& s : at) {
            places.push_back(
                std::make_unique<TransformationPRS>(vect3{s.x, s.y, s.z}, kQuatIdentity, vect3{1, 1, 1}));
            object.AddElement(places.back().get(), new Const<f32>(s.size));
        }
        object.Update(0);
    }
    GeometrySimple& Geometry() { return *object.GetBillboard()->geometry; }

    std::vector<std::unique_ptr<TransformationPRS>> places;
    AtmosphericBillboard object;
};

// 90 degrees both ways in a picture of 160 x 160: ten units ahead a unit is 8 pixels.
void Look(CameraSimple& camera, TransformationPRS& place) {
    camera.transformation = &place;
    camera.SetFov(new Const<f32>(kHalfPi));
    camera.Update(0);
    camera.Apply();
}

// Exactly the pixels of the rectangle (the last ones left out) are of other colours than blue.
testing::AssertionResult Covers(const support::PictureDevice& device, u32 left, u32 top, u32 right,
                                u32 bottom) {
    for (u32 y = 0; y < device.Height(); ++y)
        for (u32 x = 0; x < device.Width(); ++x) {
            const bool inside = x >= left && x < right && y >= top && y < bottom;
            if ((device.At(x, y) != 0x0000ff) != inside)
                return testing::AssertionFailure()
                       << "(" << x << ", " << y << ") is " << std::hex << device.At(x, y);
        }
    return testing::AssertionSuccess();
}

}  // namespace

TEST(Billboards, CornersUvsAndTriangles) {
    support::EngineDevice engine;
    Sprites sprites({{5, 6, 7, 2}, {-1, 0, 0, 4}});
    engine.context().SetView(kMatrixIdentity);
    engine.context().BeginScene();
    sprites.object.Apply(nullptr);
    engine.context().EndScene();
    const GeometrySimple& g = sprites.Geometry();
    EXPECT_EQ(
        g.positions,
        (std::vector<vect3>{
            {4, 5, 7}, {6, 5, 7}, {4, 7, 7}, {6, 7, 7}, {-3, -2, 0}, {1, -2, 0}, {-3, 2, 0}, {1, 2, 0}}));
    ASSERT_EQ(g.uvSets.size(), 1u);
    EXPECT_EQ(g.uvSets[0],
              (std::vector<UV>{{0, -1}, {1, -1}, {0, 0}, {1, 0}, {0, -1}, {1, -1}, {0, 0}, {1, 0}}));
    EXPECT_EQ(g.triangles, (std::vector<Triangle>{{{1, 2, 0}}, {{1, 3, 2}}, {{5, 6, 4}}, {{5, 7, 6}}}));
    EXPECT_EQ(g.colors, std::vector<color>(8, color{1, 1, 1, 1}));
    EXPECT_TRUE(g.dynamicVertices && !g.dynamicIndices);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(Billboards, SpritesFollowTheirPlacesAndSizes) {
    support::EngineDevice engine;
    TransformationPRS place({1, 2, 3}, kQuatIdentity, {9, 9, 9});
    AtmosphericBillboard object;
    object.SetBillboard(new particle::Billboard);
    auto* size = new controller::Linear<f32>;
    size->AddKey(controller::LinearKey<f32>(0, 1));
    size->AddKey(controller::LinearKey<f32>(10, 3));
    object.AddElement(&place, size);
    object.Update(5);
    const auto& sprite = object.GetSprites()[0];
    EXPECT_TRUE(sprite.x == 1 && sprite.y == 2 && sprite.z == 3 && sprite.size == 2);
}

TEST(Billboards, EachApplyIsTwoPointsASpriteThenOneDrawOfAll) {
    support::EngineDevice engine;
    support::Recorder& recorded = engine.recorded();
    Sprites sprites({{0, 0, -5, 1}, {1, 0, -5, 1}, {2, 0, -5, 1}});
    engine.context().BeginScene();
    sprites.object.Apply(nullptr);
    for (int frame = 0; frame < 2; ++frame) {
        recorded.Clear();
        sprites.object.Apply(nullptr);
        EXPECT_EQ(recorded.Count("CreateVertexBuffer"), 0u);
        std::vector<std::string> draws;
        for (const support::Call& call : recorded.Calls()) {
            if (call.name == "DrawPrimitive") {
                EXPECT_EQ(call.args[0], D3DPT_POINTLIST);
                f32 x = 0;
                u32 c = 0;
                std::memcpy(&x, call.vertices.data(), 4);
                std::memcpy(&c, call.vertices.data() + 12, 4);
                EXPECT_EQ(c, 0xff000000 | kYellow);
                draws.push_back("point " + std::to_string(static_cast<int>(x)));
            } else if (call.name == "DrawIndexedPrimitive") {
                draws.push_back("sprites " + std::to_string(call.indices.size()));
            }
        }
        EXPECT_EQ(draws, (std::vector<std::string>{"point 0", "point 1", "point 2", "point 0", "point 1",
                                                   "point 2", "sprites 18"}));
    }
    engine.context().EndScene();
    EXPECT_TRUE(recorded.faults.empty());
}

TEST(Billboards, NothingIsAllocatedAfterTheFirstApply) {
    if (!support::kCountsAllocations) GTEST_SKIP() << "allocations are the sanitizer's";
    support::DeviceOptions quiet;
    quiet.keep_calls = false;
    support::EngineDevice engine(quiet);
    Sprites sprites(std::vector<AtmosphericBillboard::Sprite>(100, {0, 0, -5, 1}));
    engine.context().BeginScene();
    sprites.object.Apply(nullptr);
    const long long before = support::Allocations();
    for (int frame = 0; frame < 10; ++frame) {
        sprites.object.Update(static_cast<f32>(frame));
        sprites.object.Apply(nullptr);
    }
    EXPECT_EQ(support::Allocations(), before);
    engine.context().EndScene();
}

TEST(Billboards, TheFirstApplyFixesTheirNumber) {
    support::EngineDevice engine;
    Sprites none({});
    engine.context().BeginScene();
    none.object.Apply(nullptr);
    ASSERT_NE(none.object.GetBillboard()->geometry, nullptr);
    EXPECT_EQ(none.Geometry().VertexCount(), 0u);
    TransformationPRS place({0, 0, -5}, kQuatIdentity, {1, 1, 1});
    none.object.AddElement(&place, new Const<f32>(1.0f));
    none.object.Update(0);
    none.object.Apply(nullptr);
    EXPECT_EQ(none.Geometry().VertexCount(), 0u);
    AtmosphericBillboard unfinished;
    unfinished.Apply(nullptr);
    engine.context().EndScene();
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(Billboards, StayOutOfReflections) {
    support::EngineDevice engine;
    Sprites sprites({{0, 0, -5, 1}});
    SceneHierarchy scene;
    scene.atmosphericsAfter.push_back(&sprites.object);
    engine.context().BeginScene();
    scene.RenderContentsWith(Frustum(kMatrixIdentity));
    EXPECT_EQ(engine.recorded().totals.draws, 0u);
    scene.RenderContents();
    EXPECT_GT(engine.recorded().totals.draws, 0u);
    engine.context().EndScene();
}

TEST(BillboardPicture, SquareUprightAndOfTheRightSizeUnderATurnedCamera) {
    support::PictureDevice device(160, 160);
    // A sprite of 3.9 units ten units ahead is 31.2 pixels wide and high, about (80, 80): 64.4 to 95.6. Two
    // units to the right and one up on the screen it lies about (96, 72): 80.4 to 111.6, 56.4 to 87.6.
    const quat turns[] = {kQuatIdentity, QuatFromAxisAngle({0, 0, 1}, 0.5f),
                          QuatFromAxisAngle({0.6f, 0, 0.8f}, 1.1f),
                          QuatFromAxisAngle({0, -0.8f, 0.6f}, 2.5f)};
    for (const quat& turn : turns) {
        TransformationPRS eye({3, -4, 5}, turn, {1, 1, 1});
        const vect3 middle = Through(eye.GetWorldMatrix(), {0, 0, -10});
        const vect3 aside = Through(eye.GetWorldMatrix(), {2, 1, -10});
        for (const bool moved : {false, true}) {
            const vect3& at = moved ? aside : middle;
            Sprites sprites({{at.x, at.y, at.z, 3.9f}});
            CameraSimple camera;
            device.Frame([&] {
                device.context().Clear(7, true);
                Look(camera, eye);
                sprites.object.Apply(&camera);
            });
            EXPECT_TRUE(moved ? Covers(device, 81, 57, 112, 88) : Covers(device, 65, 65, 96, 96));
            EXPECT_EQ(device.At(moved ? 82 : 66, 70), 0xffffffu) << "without a material it is white";
        }
    }
}

TEST(BillboardPicture, AYellowPointMarksTheCentre) {
    support::PictureDevice device(160, 160);
    Sprites sprites({{2, 1, 0, 0}});
    TransformationPRS eye({0, 0, 10}, kQuatIdentity, {1, 1, 1});
    CameraSimple camera;
    device.Frame([&] {
        device.context().Clear(7, true);
        Look(camera, eye);
        sprites.object.Apply(&camera);
    });
    EXPECT_EQ(device.At(96, 72), kYellow);
    EXPECT_TRUE(Covers(device, 96, 72, 97, 73));
}

// A scene file with a mesh, an image on a sprite that comes after it, and a sprite behind the mesh.
TEST(BillboardPicture, ComesOutOfAFileWithItsMaterial) {
    om2::SceneFile s;
    int texture = -1;
    int material = -1;
    const support::CubeSide& side = support::kCubeSides[4];
    s.textures.push_back([&] { texture = s.file.EmbeddedTexture(support::QuarteredImage(side, 16)); });
    s.Textured(material, texture);
    s.Mesh(om2::Colored(om2::Quad(-1, -1, 1, 1), {0, 1, 0, 1}), s.Null(), s.Null());
    s.after.push_back([&] {
        s.file.Billboards(s.Ref(material), {s.file.Sprite({5, 0, -5}, 4), s.file.Sprite({0, 0, -1}, 1)});
    });
    s.background = [&] { s.file.ColorBackground({0, 0, 1, 1}); };
    s.cameras = [&s] {
        s.file.I32(1);
        const f32 half = 0.25f;
        s.camera = s.file.Camera(
            [&] {
                s.file.Placement({0, 0, 5}, {0, 0, std::sin(half), std::cos(half)});
            },
            om2::kHalfPi, 1, 100);
    };
    const std::vector<u8> bytes = s.Bytes();

    support::PictureDevice device(160, 160);
    const test_support::TempFile file;
    file.Fill(bytes);
    osmio::ObjectGraph graph;
    SceneHierarchy* scene = nullptr;
    std::string reason;
    ASSERT_TRUE(LoadSceneFile(file.path, graph, scene, reason)) << reason;
    EXPECT_EQ(test_support::Save(scene), bytes);
    scene->LoadResources();
    scene->Update(0);
    device.Frame([&] {
        scene->ClearBackground(0);
        scene->Render();
    });
    // Ten units ahead, five to the right in the world: the picture turns by half a radian against the camera.
    // Four units are 32 pixels; quarters are 8 off the centre. v grows upwards from -1: the image is upside
    // down.
    const auto x = static_cast<u32>(80 + 40 * std::cos(0.5f));
    const auto y = static_cast<u32>(80 + 40 * std::sin(0.5f));
    for (const bool right : {false, true}) {
        for (const bool low : {false, true}) {
            EXPECT_EQ(device.At(right ? x + 8 : x - 8, low ? y + 8 : y - 8),
                      support::QuarterColor(side, right, !low))
                << right << low;
        }
    }
    EXPECT_EQ(device.At(80, 80), 0x00ff00u) << "the second sprite lies behind the mesh";
}
