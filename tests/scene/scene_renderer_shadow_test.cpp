// Shadows: what is sent in which order, and what the picture shows.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "render/scene_renderer_mirror.h"
#include "render/scene_renderer_shadow.h"
#include "scene/small_scene.h"
#include "support/allocations.h"
#include "support/engine_device.h"
#include "support/picture_device.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using support::Alike;
using support::PictureDevice;

namespace {

constexpr u32 kSize = 128;
constexpr u32 kRed = 0xff0000;
constexpr u32 kWhite = 0xffffff;
// 255 x (1 - 178 / 255).
constexpr u32 kShadow = 0x4d4d4d;

// Closed, with corners shared by the faces.
void MakeBox(GeometrySimple& g, const vect3& lo, const vect3& hi) {
    for (u32 i = 0; i < 8; ++i)
        g.positions.push_back(
            {(i & 1) != 0 ? hi.x : lo.x, (i & 2) != 0 ? hi.y : lo.y, (i & 4) != 0 ? hi.z : lo.z});
    for (const auto& [a, b, c, d] : std::vector<std::array<u16, 4>>{
             {1, 3, 7, 5}, {0, 4, 6, 2}, {2, 6, 7, 3}, {0, 1, 5, 4}, {4, 5, 7, 6}, {0, 2, 3, 1}}) {
        g.triangles.push_back({{a, b, c}});
        g.triangles.push_back({{a, c, d}});
    }
}

// A white floor in z = 0, where a unit is 16 pixels, and a light at (-4, 0, 4), beside the camera: it throws
// a point (x, y, z) onto the floor at (-4 + (x + 4) t, y t) with t = 4 / (4 - z).
struct ShadowScene : SmallScene {
    ShadowScene() {
        shadows = Make<SceneRendererShadow>();
        scene.renderers.push_back(shadows);
        light = Dark(Make<TransformationPRS>(vect3{-4, 0, 4}, kQuatIdentity, vect3{1, 1, 1}));
        scene.shadowLight = light;
        Add({Facing(-8, -8, 8, 8, 0)}, {1, 1, 1, 1});
    }
    MeshSimple* AddCaster(const vect3& lo, const vect3& hi, Transformation* place = nullptr) {
        auto* mesh = Make<MeshSimple>();
        auto* box = new GeometrySimple;
        MakeBox(*box, lo, hi);
        mesh->SetGeometry(box);
        mesh->SetMaterial(Glow({1, 0, 0, 1}));
        mesh->SetCastShadow(true);
        mesh->transformation = place != nullptr ? place : Make<TransformationPRS>();
        scene.meshes.push_back(mesh);
        light->GetShadowCasters().push_back(mesh);
        return mesh;
    }
    // Its upper end (z = 2) falls on x 0 to 1, y -1 to 1 of the floor, which is 64 to 80 by 48 to 80; its
    // lower end (z = 1) on x -4/3 to -2/3, y -2/3 to 2/3. It is seen itself at 0 to 32.
    MeshSimple* AddPost() { return AddCaster({-2, -0.5f, 1}, {-1.5f, 0.5f, 2}); }

    SceneRendererShadow* shadows;
    LightOmni* light;
};

testing::AssertionResult Shows(const PictureDevice& device, u32 x, u32 y, u32 expected) {
    if (Alike(device.At(x, y), expected)) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "(" << x << ", " << y << ") is " << std::hex << device.At(x, y) << ", expected " << expected;
}

void ExpectPostsShadow(const PictureDevice& device) {
    for (const u32 y : {50u, 64u, 78u})
        for (const u32 x : {66u, 72u, 78u}) EXPECT_TRUE(Shows(device, x, y, kShadow));
    EXPECT_TRUE(Shows(device, 45, 64, kShadow)) << "the lower end";
    for (const u32 y : {46u, 82u}) EXPECT_TRUE(Shows(device, 72, y, kWhite));
    for (const u32 x : {38u, 82u, 120u}) EXPECT_TRUE(Shows(device, x, 64, kWhite));
}

std::vector<u32> Picture(PictureDevice& device, SmallScene& scene, f32 time = 0) {
    device.Frame([&] { scene.Frame(time); });
    std::vector<u32> out;
    for (u32 y = 0; y < kSize; ++y)
        for (u32 x = 0; x < kSize; ++x) out.push_back(device.At(x, y));
    return out;
}

// Moves the shape along x as time goes.
class Slide : public Modifier {
  public:
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32 now) override { time = now; }
    bool IsDeforming() const override { return true; }
    bool NeedsDrawSetup() const override { return false; }
    bool AcceptsGeometry(Geometry*) const override { return true; }
    Geometry* CreateResult(Geometry* input) override {
        auto* result = new GeometrySimple(true);
        result->positions = dynamic_cast<GeometrySimple*>(input)->positions;
        result->triangles = dynamic_cast<GeometrySimple*>(input)->triangles;
        return result;
    }
    void Apply(Geometry* result, Geometry* input) override {
        auto* to = dynamic_cast<GeometrySimple*>(result);
        const auto* from = dynamic_cast<GeometrySimple*>(input);
        for (std::size_t i = 0; i < from->positions.size(); ++i)
            to->positions[i] = from->positions[i] + vect3{time, 0, 0};
        to->UpdateBuffers(GeometrySimple::kUpdatePositions);
    }
    void SetupDraw() override {}

  private:
    f32 time = 0;
};

}  // namespace

TEST(Shadow, DarkensWhatTheLightDoesNotReach) {
    PictureDevice device(kSize, kSize);
    ShadowScene s;
    s.AddPost();
    device.Frame([&] { s.Frame(); });
    ExpectPostsShadow(device);
    // The post itself: its upper end is lit, the side to the right of it, seen at 16 to 32, is not.
    EXPECT_TRUE(Shows(device, 8, 64, kRed));
    EXPECT_TRUE(Shows(device, 24, 64, 0x4d0000));
}

TEST(Shadow, IsAsDarkWhereTwoFall) {
    PictureDevice device(kSize, kSize);
    ShadowScene s;
    s.AddPost();
    // Out of the picture. Falls on x 0.5 to 2, y 0 to 0.8 at its lower end, and on more at its upper.
    s.AddCaster({-2.3125f, 0, 2.5f}, {-1.75f, 0.3f, 2.6f});
    device.Frame([&] { s.Frame(); });
    EXPECT_TRUE(Shows(device, 78, 56, kShadow)) << "both";
    EXPECT_TRUE(Shows(device, 70, 72, kShadow)) << "the first";
    EXPECT_TRUE(Shows(device, 88, 56, kShadow)) << "the second";
    EXPECT_TRUE(Shows(device, 88, 72, kWhite)) << "none";
}

TEST(Shadow, IsTheSameFromADeviceWithoutTwoSidedStencil) {
    std::vector<u32> pictures[2];
    for (const bool twoSided : {false, true}) {
        PictureDevice device(kSize, kSize);
        device.context().caps.stencilTwoSided = twoSided;
        ShadowScene s;
        s.AddPost();
        s.AddCaster({-2.3125f, 0, 2.5f}, {-1.75f, 0.3f, 2.6f});
        pictures[twoSided] = Picture(device, s);
        EXPECT_EQ(s.shadows->IsTwoSided(), twoSided);
        EXPECT_EQ(Picture(device, s), pictures[twoSided]) << "the next frame";
        EXPECT_TRUE(Shows(device, 72, 64, kShadow));
    }
    EXPECT_EQ(pictures[0], pictures[1]);
}

TEST(Shadow, FollowsThePlaceAndTheShapeOfItsMesh) {
    PictureDevice device(kSize, kSize);
    // A unit cube made into the post.
    ShadowScene placed;
    placed.AddCaster(
        {-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f},
        placed.Make<TransformationPRS>(vect3{-1.75f, 0, 1.5f}, QuatFromAxisAngle({0, 0, 1}, 1.5707963f),
                                       vect3{1, 0.5f, 1}));
    device.Frame([&] { placed.Frame(); });
    ExpectPostsShadow(device);

    // A post elsewhere that comes here with time.
    ShadowScene moved;
    auto* post = moved.AddCaster({-12, -0.5f, 1}, {-11.5f, 0.5f, 2});
    post->AddModifier(new Slide);
    device.Frame([&] { moved.Frame(0); });
    EXPECT_TRUE(Shows(device, 72, 64, kWhite));
    device.Frame([&] { moved.Frame(10); });
    ExpectPostsShadow(device);
}

TEST(Shadow, LeavesTheNextSceneOfTheFrameAsItWouldBe) {
    PictureDevice device(kSize, kSize);
    ShadowScene s;
    s.AddPost();
    SmallScene next;
    next.Add({SmallScene::Facing(-1, -2, 3, 1, 0)}, {1, 0, 0, 1});
    next.Add({SmallScene::Averted(-4, -4, 4, 4, 1)}, {0, 1, 0, 1});
    next.Add({SmallScene::Facing(-3, -1, 0, 2, -1)}, {1, 1, 1, 1})->SetMaterial(nullptr);
    const std::vector<u32> alone = Picture(device, next);
    device.Frame([&] {
        s.Frame();
        next.Frame();
    });
    std::vector<u32> after;
    for (u32 i = 0; i < kSize * kSize; ++i) after.push_back(device.At(i % kSize, i / kSize));
    EXPECT_EQ(after, alone);
    EXPECT_TRUE(Shows(device, 64 + 30, 64, kRed));
}

TEST(Shadow, OfCastersThatAreNoneIsSafe) {
    PictureDevice device(kSize, kSize);
    const testing_messages::Listener messages;
    ShadowScene s;
    s.AddCaster({-2, -0.5f, 1}, {-1.5f, 0.5f, 2})->SetCastShadow(false);
    s.AddCaster(
        {-0.1f, -0.1f, -0.1f}, {0.1f, 0.1f, 0.1f},
        s.Make<TransformationPRS>(vect3{-4, 0, 4}, kQuatIdentity, vect3{1, 1, 1}));  // in the light's place
    s.AddCaster({-2, -0.5f, 1}, {-1.5f, 0.5f, 2},
                s.Make<TransformationPRS>(vect3{50, 0, 0}, kQuatIdentity, vect3{0, 0, 0}));
    MeshSimple* empty = s.AddCaster({-2, -0.5f, 1}, {-1.5f, 0.5f, 2});
    const std::unique_ptr<Geometry> back(empty->GetGeometry());
    empty->SetGeometry(new GeometrySimple);
    auto* shapeless = s.Make<MeshSimple>();
    shapeless->SetCastShadow(true);
    s.scene.meshes.push_back(shapeless);
    s.light->GetShadowCasters().push_back(shapeless);
    device.Frame([&] { s.Frame(); });
    EXPECT_TRUE(Shows(device, 72, 64, kWhite));
    // One that begins to cast after it was made ready, and one without a place.
    dynamic_cast<MeshSimple*>(s.scene.meshes[1])->SetCastShadow(true);
    s.AddPost()->transformation = nullptr;
    s.scene.meshes.back()->Initialize();
    device.Frame([&] { s.Frame(); });
    EXPECT_TRUE(Shows(device, 72, 64, kShadow));
}

// ---- what is sent

namespace {

// The draws of a frame, each with what was in force of the states that the renderer works with.
std::vector<std::string> Steps(const support::Recorder& recorded, std::map<i64, i64>& states) {
    std::vector<std::string> out;
    for (const support::Call& call : recorded.Calls()) {
        if (call.name == "SetRenderState") states[call.args[0]] = call.args[1];
        if (!call.name.starts_with("Draw")) continue;
        std::string text = call.name == "DrawPrimitive" ? "quad" : "mesh";
        const auto add = [&](const char* label, std::initializer_list<D3DRENDERSTATETYPE> types) {
            text += std::string(" ") + label;
            for (const auto type : types) text += " " + std::to_string(states[type]);
        };
        if (states[D3DRS_STENCILENABLE] != 0)
            add("stencil", {D3DRS_STENCILFUNC, D3DRS_STENCILREF, D3DRS_STENCILPASS, D3DRS_STENCILFAIL,
                            D3DRS_STENCILZFAIL});
        if (states[D3DRS_TWOSIDEDSTENCILMODE] != 0)
            add("ccw", {D3DRS_CCW_STENCILFUNC, D3DRS_CCW_STENCILPASS, D3DRS_CCW_STENCILFAIL,
                        D3DRS_CCW_STENCILZFAIL});
        if (states[D3DRS_ALPHABLENDENABLE] != 0) add("blend", {D3DRS_SRCBLEND, D3DRS_DESTBLEND});
        if (states[D3DRS_ZENABLE] != 0) add("depth", {D3DRS_ZFUNC, D3DRS_ZWRITEENABLE});
        add("cull", {D3DRS_CULLMODE});
        add("write", {D3DRS_COLORWRITEENABLE});
        add("light", {D3DRS_LIGHTING});
        out.push_back(text);
    }
    return out;
}

std::map<i64, i64> Defaults() {
    std::map<i64, i64> out = {{D3DRS_SRCBLEND, D3DBLEND_ONE},
                              {D3DRS_DESTBLEND, D3DBLEND_ZERO},
                              {D3DRS_ZENABLE, TRUE},
                              {D3DRS_ZFUNC, D3DCMP_LESSEQUAL},
                              {D3DRS_ZWRITEENABLE, TRUE},
                              {D3DRS_CULLMODE, D3DCULL_CW},
                              {D3DRS_COLORWRITEENABLE, 15},
                              {D3DRS_LIGHTING, TRUE},
                              {D3DRS_STENCILFUNC, D3DCMP_ALWAYS},
                              {D3DRS_CCW_STENCILFUNC, D3DCMP_ALWAYS}};
    for (const auto type : {D3DRS_STENCILPASS, D3DRS_STENCILFAIL, D3DRS_STENCILZFAIL, D3DRS_CCW_STENCILPASS,
                            D3DRS_CCW_STENCILFAIL, D3DRS_CCW_STENCILZFAIL})
        out[type] = D3DSTENCILOP_KEEP;
    return out;
}

const std::string kSeen = "mesh depth 4 1 cull 2 write 15 light 1";
const std::string kDarken = "quad stencil 4 1 1 1 1 blend 5 6 cull 1 write 15 light 0";

}  // namespace

TEST(Shadow, TwoSidedCountsEachVolumeOnceAndDarkensOnce) {
    support::EngineDevice engine;
    ShadowScene s;
    s.AddPost();
    s.AddPost();
    engine.context().BeginScene();
    s.Frame();
    std::map<i64, i64> states = Defaults();
    const std::string volume = "mesh stencil 8 0 7 1 1 ccw 8 8 1 1 depth 4 0 cull 1 write 0 light 0";
    EXPECT_EQ(Steps(engine.recorded(), states),
              (std::vector<std::string>{kSeen, kSeen, kSeen, volume, volume, kDarken}));
    EXPECT_EQ(states[D3DRS_STENCILENABLE], 0);
    EXPECT_EQ(states[D3DRS_STENCILREF], 0);
    EXPECT_EQ(states[D3DRS_LIGHTING], 0) << "the rest stays as the darkening left it";

    const support::Call darken = engine.recorded().Named("DrawPrimitive").back();
    struct Corner {
        f32 x, y, z, rhw;
        u32 diffuse;
        bool operator==(const Corner&) const = default;
    } corners[4];
    ASSERT_EQ(darken.vertices.size(), sizeof corners);
    std::memcpy(corners, darken.vertices.data(), sizeof corners);
    for (u32 i = 0; i < 4; ++i)
        EXPECT_EQ(corners[i],
                  (Corner{(i & 1) != 0 ? 640.0f : 0.0f, i > 1 ? 480.0f : 0.0f, 0, 1, 0xb2000000}));
    EXPECT_TRUE(engine.recorded().faults.empty());
    engine.context().EndScene();
}

TEST(Shadow, AWarmFrameTakesNothingFromTheHeapNorDoesOneOfMirrors) {
    support::DeviceOptions options;
    options.keep_calls = false;
    support::EngineDevice engine(options);
    ShadowScene s;
    MeshSimple* post = s.AddPost();
    post->AddModifier(new Slide);
    auto* mirrors = s.Make<SceneRendererMirror>();
    mirrors->mirrors = {s.scene.meshes[0], post};
    engine.context().BeginScene();
    for (SceneRenderer* renderer :
         {static_cast<SceneRenderer*>(s.shadows), static_cast<SceneRenderer*>(mirrors)}) {
        s.scene.renderers = {renderer};
        for (int i = 0; i < 3; ++i) s.Frame();
        const long long before = support::Allocations();
        s.Frame();
        EXPECT_EQ(support::Allocations() - before, 0);
    }
    engine.context().EndScene();
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(Shadow, OneSidedTakesTwoPassesAndTheFirstOfAllStillSaysTwoSided) {
    support::EngineDevice engine;
    engine.context().caps.stencilTwoSided = false;
    ShadowScene s;
    s.AddPost();
    s.AddPost();
    engine.context().BeginScene();
    s.Frame();
    std::map<i64, i64> states = Defaults();
    const std::string first = "mesh stencil 8 0 8 1 1 ccw 8 8 1 1 depth 4 0 cull 3 write 0 light 0";
    const std::string less = "mesh stencil 8 0 8 1 1 depth 4 0 cull 3 write 0 light 0";
    const std::string more = "mesh stencil 8 0 7 1 1 depth 4 0 cull 2 write 0 light 0";
    EXPECT_EQ(Steps(engine.recorded(), states),
              (std::vector<std::string>{kSeen, kSeen, kSeen, first, more, less, more, kDarken}));
    engine.recorded().Clear();
    s.Frame();
    engine.context().EndScene();
    EXPECT_EQ(Steps(engine.recorded(), states),
              (std::vector<std::string>{kSeen, kSeen, kSeen, less, more, less, more, kDarken}));
}

TEST(Shadow, WithoutALightOrCastersIsThePlainScene) {
    support::EngineDevice engine;
    ShadowScene s;
    s.AddPost();
    s.light->GetShadowCasters().clear();
    engine.context().BeginScene();
    s.Frame();
    std::map<i64, i64> states = Defaults();
    EXPECT_EQ(Steps(engine.recorded(), states), (std::vector<std::string>{kSeen, kSeen}));
    s.light->GetShadowCasters().push_back(s.scene.meshes[1]);
    s.scene.shadowLight = nullptr;
    engine.recorded().Clear();
    s.Frame();
    EXPECT_EQ(Steps(engine.recorded(), states), (std::vector<std::string>{kSeen, kSeen}));
    s.scene.shadowLight = s.light;
    s.scene.currentCamera = nullptr;
    engine.recorded().Clear();
    s.Frame();
    EXPECT_TRUE(Steps(engine.recorded(), states).empty());
    engine.context().EndScene();
}

// The volume reaches twice as far as the camera, in the mesh's space, from wherever the light is in the
// world.
TEST(Shadow, VolumesReachTwiceTheFarPlane) {
    support::EngineDevice engine;
    ShadowScene s;
    auto* root = s.scene.root;
    auto* at = s.Make<HierarchyNode>();
    root->AddChild(at);
    root->localMatrix = MatrixTranslation({-4, 0, 4});
    s.light->transformation = at;
    s.AddCaster({-2, -0.5f, 1}, {-1.5f, 0.5f, 2},
                s.Make<TransformationPRS>(vect3{10, 20, 30}, kQuatIdentity, vect3{2, 2, 2}));
    engine.context().BeginScene();
    s.Frame();
    engine.context().EndScene();
    const auto draws = engine.recorded().Named("DrawIndexedPrimitive");
    const auto& vertices = draws.back().vertices;
    ASSERT_GE(vertices.size(), 64u);
    f32 v[16];
    std::memcpy(v, vertices.data(), sizeof v);
    const vect3 a{v[0], v[1], v[2]};
    const vect3 far{v[8], v[9], v[10]};
    const vect3 way = far - a;
    EXPECT_NEAR(D3DXVec3Length(&way), 200, 0.01f);
    // Away from where the light is for the mesh: ((-4, 0, 4) - (10, 20, 30)) / 2.
    const vect3 from = a - vect3{-7, -10, -13};
    const vect3 aside = Cross(way, from);
    EXPECT_NEAR(D3DXVec3Length(&aside), 0, 0.05f);
    EXPECT_GT(Dot(way, from), 0);
}

// ---- storage, and the chain

namespace {

struct CountingRenderer : SceneRenderer {
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    void Render(SceneHierarchy*, Camera*) override { ++count; }
    int count = 0;
};

}  // namespace

TEST(Shadow, EndsTheChainAsMirrorsDo) {
    support::EngineDevice engine;
    ShadowScene s;
    auto* mirrors = s.Make<SceneRendererMirror>();
    auto* other = s.Make<CountingRenderer>();
    engine.context().BeginScene();
    for (SceneRenderer* last :
         {static_cast<SceneRenderer*>(mirrors), static_cast<SceneRenderer*>(s.shadows)}) {
        s.scene.renderers = {other, last};
        engine.recorded().Clear();
        s.Frame();
        EXPECT_EQ(other->count, 0);
        EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 1u);
    }
    engine.context().EndScene();
}

TEST(ShadowRecord, IsAnEmptyChunkOfVersion1) {
    om2::File f;
    f.Chunk("SRSW", 1, [] {});
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    ASSERT_NE(loaded.As<SceneRendererShadow>(), nullptr);
    EXPECT_EQ(test_support::Save(loaded.root), f.bytes);
}
