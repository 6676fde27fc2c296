// Mirrors: what is sent in which order, and what the picture shows.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "material/texture_cubemap_file.h"
#include "render/scene_renderer_mirror.h"
#include "scene/scene_validation.h"
#include "scene/small_scene.h"
#include "support/cube_images.h"
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
constexpr u32 kBackground = 0x000080;
constexpr color kRedGlow{1, 0, 0, 1};
constexpr color kWhiteGlow{1, 1, 1, 1};

// A mirror of 8 x 8 around the origin that looks towards the camera, with a picture of its own: green, of
// which a quarter shows.
struct MirrorScene : SmallScene {
    MirrorScene() {
        mirrors = Make<SceneRendererMirror>();
        scene.renderers.push_back(mirrors);
        SceneRendererMirror::stencilChecked = false;
    }
    Mesh* AddMirror(const Quad& quad, const color& c = {0, 1, 0, 0.25f}, Transformation* place = nullptr) {
        Mesh* mesh = Add({quad}, c, place);
        mirrors->mirrors.push_back(mesh);
        return mesh;
    }
    SceneRendererMirror* mirrors;
};

// A quarter of green over `under`.
u32 Overlaid(u32 under) {
    const auto mix = [](u32 over, u32 below) { return (over + 3 * below + 2) / 4; };
    return mix(0, under >> 16) << 16 | mix(255, under >> 8 & 0xff) << 8 | mix(0, under & 0xff);
}

std::vector<u32> Picture(PictureDevice& device, SmallScene& scene) {
    device.Frame([&] { scene.Frame(); });
    std::vector<u32> out;
    for (u32 y = 0; y < kSize; ++y)
        for (u32 x = 0; x < kSize; ++x) out.push_back(device.At(x, y));
    return out;
}

testing::AssertionResult Shows(const PictureDevice& device, u32 x, u32 y, u32 expected) {
    if (Alike(device.At(x, y), expected)) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "(" << x << ", " << y << ") is " << std::hex << device.At(x, y) << ", expected " << expected;
}

// The pixels left..right, top..bottom (the last ones left out) are `inside`, those around them `around`. The
// outermost pixels on both sides of the border are left to rounding.
void ExpectRect(const PictureDevice& device, u32 left, u32 top, u32 right, u32 bottom, u32 inside,
                u32 around) {
    for (const u32 x : {left + 1, (left + right) / 2, right - 2})
        for (const u32 y : {top + 1, (top + bottom) / 2, bottom - 2})
            EXPECT_TRUE(Shows(device, x, y, inside));
    for (const u32 x : {left - 2, left + 1, right - 2, right + 1})
        for (const u32 y : {top - 2, bottom + 1}) EXPECT_TRUE(Shows(device, x, y, around));
    for (const u32 y : {top + 1, bottom - 2})
        for (const u32 x : {left - 2, right + 1}) EXPECT_TRUE(Shows(device, x, y, around));
}

}  // namespace

// The red quad stands behind the camera at z = 12 and looks at the mirror in z = 0: its reflection stands at
// z = -12, 16 from the camera, where a unit is 4 pixels.
TEST(Mirror, ShowsTheSceneReflectedBehindItsPlane) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-4, -4, 4, 4, 0));
    s.Add({SmallScene::Averted(1, -2, 5, 3, 12)}, kRedGlow);
    s.Add({SmallScene::Facing(-9, -9, -3, 9, 12)}, kWhiteGlow);  // the mirror sees its back
    s.Add({SmallScene::Facing(-2, -2, 2, 2, -3)}, kWhiteGlow);   // the mirror stands before it
    device.Frame([&] { s.Frame(); });
    ExpectRect(device, 64 + 4, 64 - 12, 64 + 20, 64 + 8, Overlaid(kRed), Overlaid(kBackground));
    EXPECT_TRUE(Shows(device, 30, 64, Overlaid(kBackground)));
    EXPECT_TRUE(Shows(device, 3, 3, Overlaid(kBackground)));
}

// The same mirror, made as a floor of another size and put up by its transformation.
// The camera looks down -z at a mirror: it sees the side of the sky behind itself, its left on the left.
TEST(Mirror, ReflectsTheSky) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-8, -8, 8, 8, 0), {0, 0, 0, 0});
    auto* sky = s.Make<TextureCubemapFile>();
    for (const support::CubeSide& side : support::kCubeSides)
        sky->SetFaceData(side.key, support::QuarteredImage(side, 16));
    s.scene.textures.push_back(sky);
    auto* background = s.Make<AtmosphericBackground>();
    background->UseCube(sky);
    s.scene.background = background;
    for (int i = 0; i < 2; ++i) device.Frame([&] { s.Frame(); });
    const support::CubeSide& behind = support::kCubeSides[0];  // whose right is +x and whose low half is +y
    EXPECT_TRUE(Shows(device, 96, 32, QuarterColor(behind, true, true)));
    EXPECT_TRUE(Shows(device, 32, 32, QuarterColor(behind, false, true)));
    EXPECT_TRUE(Shows(device, 96, 96, QuarterColor(behind, true, false)));
    EXPECT_TRUE(Shows(device, 32, 96, QuarterColor(behind, false, false)));
}

TEST(Mirror, StandsWhereItsTransformationPutsIt) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    // Scale (2, 5, 1/2), then a quarter turn about x, which takes y to z and z to -y, then half a unit along
    // z. The floor lies at y = 0.3 and so comes to z = 2: the mirror is 2 from the camera, 4 x 4 around the
    // axis.
    auto* place = s.Make<TransformationPRS>(vect3{0, 0, 0.5f}, QuatFromAxisAngle({1, 0, 0}, 1.5707963f),
                                            vect3{2, 5, 0.5f});
    s.AddMirror({{{-1, 0.3f, 4}, {1, 0.3f, 4}, {1, 0.3f, -4}, {-1, 0.3f, -4}}}, {0, 1, 0, 0.25f}, place);
    // From z = 10 to z = -6, 10 from the camera: 6.4 pixels a unit.
    s.Add({SmallScene::Averted(2.5f, -5, 5, -2.5f, 10)}, kRedGlow);
    device.Frame([&] { s.Frame(); });
    ExpectRect(device, 64 + 16, 64 + 16, 64 + 32, 64 + 32, Overlaid(kRed), Overlaid(kBackground));
}

// One mesh reaches behind the mirror. Reflected, that part would stand before it.
TEST(Mirror, DoesNotReflectWhatIsBehindIt) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-4, -4, 4, 4, 0));
    s.Add({SmallScene::Averted(1, -2, 5, 3, 12), SmallScene::Averted(-2, -2, 2, 2, -2)}, kRedGlow);
    device.Frame([&] { s.Frame(); });
    ExpectRect(device, 64 + 4, 64 - 12, 64 + 20, 64 + 8, Overlaid(kRed), Overlaid(kBackground));
    EXPECT_TRUE(Shows(device, 40, 64, Overlaid(kBackground)));
}

TEST(Mirror, EndsAtItsEdgesAndBehindWhatStandsBeforeIt) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    // 16 pixels a unit: 32 to 96. The white quad, 2 from the camera with 32 pixels a unit, hides 48 to 80 of
    // it.
    s.AddMirror(SmallScene::Facing(-2, -2, 2, 2, 0));
    s.Add({SmallScene::Facing(-0.5f, -0.5f, 0.5f, 0.5f, 2)}, kWhiteGlow);
    s.Add({SmallScene::Averted(-50, -50, 50, 50, 12)}, kRedGlow);
    device.Frame([&] { s.Frame(); });
    ExpectRect(device, 48, 48, 80, 80, kWhite, Overlaid(kRed));
    for (const u32 near : {30u, 98u}) {
        EXPECT_TRUE(Shows(device, near, 40, kBackground) && Shows(device, 40, near, kBackground));
    }
    for (const u32 in : {33u, 94u}) {
        EXPECT_TRUE(Shows(device, in, 40, Overlaid(kRed)) && Shows(device, 40, in, Overlaid(kRed)));
    }
}

TEST(Mirror, SecondMirrorsLeaveTheFirstAlone) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-3, -2, -1, 2, 0));
    s.AddMirror(SmallScene::Facing(1, -2, 3, 2, 0), {0, 0, 1, 0.5f});
    s.Add({SmallScene::Averted(-50, -50, 50, 50, 12)}, kRedGlow);
    const std::vector<u32> once = Picture(device, s);
    ExpectRect(device, 16, 32, 48, 96, Overlaid(kRed), kBackground);
    ExpectRect(device, 80, 32, 112, 96, 0x800080, kBackground);

    // A mirror that is named twice, or hidden, or turned away, changes nothing of that.
    s.mirrors->mirrors.push_back(s.mirrors->mirrors[0]);
    EXPECT_EQ(Picture(device, s), once);
    Mesh* hidden = s.AddMirror(SmallScene::Facing(-4, -4, 4, 4, 1));
    hidden->Initialize();
    hidden->SetHidden(true);
    s.AddMirror(SmallScene::Averted(-4, -4, 4, 4, -1))->Initialize();
    EXPECT_EQ(Picture(device, s), once);
}

TEST(Mirror, IsAnOrdinaryMeshInOtherMirrors) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-4, -4, 4, 4, 0));
    // Behind the camera, opposite: as a mirror it is not in the picture, in the other one its own colour is.
    s.AddMirror(SmallScene::Averted(1, -2, 5, 3, 12), {1, 1, 1, 1});
    device.Frame([&] { s.Frame(); });
    ExpectRect(device, 64 + 4, 64 - 12, 64 + 20, 64 + 8, Overlaid(kWhite), Overlaid(kBackground));
}

TEST(Mirror, LeavesTheNextSceneOfTheFrameAsItWouldBe) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.AddMirror(SmallScene::Facing(-4, -4, 4, 4, 0));
    s.Add({SmallScene::Averted(1, -2, 5, 3, 12)}, kRedGlow);
    SmallScene next;
    next.Add({SmallScene::Facing(-1, -2, 3, 1, 0)}, kRedGlow);
    next.Add({SmallScene::Facing(-3, -1, 0, 2, -1)}, kWhiteGlow)->SetMaterial(nullptr);
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

TEST(Mirror, OfNoShapeOrNoSizeIsSafe) {
    PictureDevice device(kSize, kSize);
    MirrorScene s;
    s.Add({SmallScene::Facing(-2, -2, 2, 2, 0)}, kRedGlow);
    const std::vector<u32> without = Picture(device, s);
    ExpectRect(device, 32, 32, 96, 96, kRed, kBackground);

    const testing_messages::Listener messages;
    auto* flat = s.Make<TransformationPRS>(vect3{0, 0, 0}, kQuatIdentity, vect3{0, 0, 0});
    s.AddMirror(SmallScene::Facing(-2, -2, 2, 2, 0), {0, 1, 0, 1}, flat)->Initialize();
    auto* shapeless = s.Make<MeshSimple>();
    s.scene.meshes.push_back(shapeless);
    s.mirrors->mirrors.push_back(shapeless);
    shapeless->Initialize();
    auto* empty = s.Make<MeshSimple>();
    empty->SetGeometry(new GeometrySimple);
    s.scene.meshes.push_back(empty);
    s.mirrors->mirrors.push_back(empty);
    empty->Initialize();
    EXPECT_EQ(Picture(device, s), without);
}

// ---- what is sent

namespace {

// The draws and clears of a frame, each with what was in force of the states that the renderer works with.
std::vector<std::string> Steps(const support::Recorder& recorded, std::map<i64, i64> states) {
    std::vector<std::string> out;
    f32 viewZ = 0;  // which way the view takes z
    for (const support::Call& call : recorded.Calls()) {
        if (call.name == "SetRenderState") states[call.args[0]] = call.args[1];
        if (call.name == "SetTransform" && call.args[0] == D3DTS_VIEW) viewZ = call.floats[10];
        if (call.name == "Clear") out.push_back("clear " + std::to_string(call.args.at(1)));
        if (!call.name.starts_with("Draw")) continue;
        std::string text = call.name == "DrawPrimitive" ? "quad" : "mesh";
        text += viewZ > 0 ? " seen" : " reflected";
        if (states[D3DRS_STENCILENABLE] != 0) {
            text += " stencil";
            for (const auto state : {D3DRS_STENCILFUNC, D3DRS_STENCILREF, D3DRS_STENCILPASS,
                                     D3DRS_STENCILFAIL, D3DRS_STENCILZFAIL})
                text += " " + std::to_string(states[state]);
        }
        if (states[D3DRS_ALPHABLENDENABLE] != 0)
            text += " blend " + std::to_string(states[D3DRS_SRCBLEND]) + " " +
                    std::to_string(states[D3DRS_DESTBLEND]);
        text += " depth " + std::to_string(states[D3DRS_ZENABLE]) + " " + std::to_string(states[D3DRS_ZFUNC]);
        text += " cull " + std::to_string(states[D3DRS_CULLMODE]);
        if (states[D3DRS_CLIPPLANEENABLE] != 0)
            text += " clip " + std::to_string(states[D3DRS_CLIPPLANEENABLE]);
        out.push_back(text);
    }
    return out;
}

const std::map<i64, i64> kDefaults = {{D3DRS_STENCILFUNC, D3DCMP_ALWAYS},
                                      {D3DRS_STENCILPASS, D3DSTENCILOP_KEEP},
                                      {D3DRS_STENCILFAIL, D3DSTENCILOP_KEEP},
                                      {D3DRS_STENCILZFAIL, D3DSTENCILOP_KEEP},
                                      {D3DRS_SRCBLEND, D3DBLEND_ONE},
                                      {D3DRS_DESTBLEND, D3DBLEND_ZERO},
                                      {D3DRS_ZENABLE, TRUE},
                                      {D3DRS_ZFUNC, D3DCMP_LESSEQUAL},
                                      {D3DRS_CULLMODE, D3DCULL_CW}};

}  // namespace

TEST(Mirror, GoesThroughItsStepsForEachMirror) {
    support::EngineDevice engine;
    MirrorScene s;
    // The planes z = 0 and z = 1 reflect the camera at 4 to -4 and to -2.
    s.AddMirror(SmallScene::Facing(-4, -4, 0, 4, 0));
    s.AddMirror(SmallScene::Facing(0, -4, 4, 4, 1));
    s.Add({SmallScene::Facing(-1, -1, 1, 1, 2)}, kRedGlow);
    engine.context().BeginScene();
    s.Frame();
    engine.context().EndScene();
    const std::string all = std::to_string(D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL);
    const std::string seen = "mesh seen depth 1 4 cull 2";
    const std::string mark = "mesh seen stencil 8 1 3 1 1 blend 1 2 depth 1 4 cull 2";
    const std::string wipe = "quad seen stencil 3 1 1 1 1 depth 1 8 cull 2";
    const std::string reflected = "mesh reflected stencil 3 1 1 1 1 depth 1 4 cull 3 clip 1";
    const std::string overlay = "mesh seen blend 5 6 depth 1 4 cull 2";
    // The second mirror stands before the first; the first one behind the second, out of its sight.
    EXPECT_EQ(Steps(engine.recorded(), kDefaults),
              (std::vector<std::string>{"clear " + all, seen, mark, wipe, reflected, reflected, overlay,
                                        "clear " + std::to_string(D3DCLEAR_STENCIL), mark, wipe, reflected,
                                        overlay}));
    EXPECT_TRUE(engine.recorded().faults.empty());

    const auto planes = engine.recorded().Named("SetClipPlane");
    ASSERT_EQ(planes.size(), 2u);
    EXPECT_EQ(planes[0].floats, (std::vector<f32>{0, 0, 1, 0}));
    EXPECT_EQ(planes[1].floats, (std::vector<f32>{0, 0, 1, -1}));
    // Defaults, the camera's view, nothing forced, no plane, nothing excluded.
    Context& context = engine.context();
    engine.recorded().Clear();
    context.ApplyDefaultRenderState();
    EXPECT_TRUE(engine.recorded().Calls().empty());
    EXPECT_EQ(context.forcedRenderState.mask, 0u);
    EXPECT_TRUE(context.clipPlanes.empty());
    EXPECT_EQ(context.transforms.GetView(), s.camera->GetView());
    engine.recorded().Clear();
    context.BeginScene();
    for (Mesh* mirror : s.mirrors->mirrors) mirror->Draw();
    context.EndScene();
    EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 2u);
}

TEST(Mirror, WithoutAMirrorIsThePlainSceneAndWithoutClipPlanesGoesOn) {
    support::EngineDevice engine;
    MirrorScene s;
    s.Add({SmallScene::Facing(-1, -1, 1, 1, 2)}, kRedGlow);
    engine.context().BeginScene();
    s.Frame();
    EXPECT_EQ(Steps(engine.recorded(), kDefaults).size(), 2u);
    engine.context().caps.maxClipPlanes = 0;
    s.AddMirror(SmallScene::Facing(-4, -4, 0, 4, 0))->Initialize();
    engine.recorded().Clear();
    s.Frame();
    EXPECT_EQ(engine.recorded().Count("SetClipPlane"), 0u);
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_CLIPPLANEENABLE}), 0u);
    EXPECT_EQ(Steps(engine.recorded(), kDefaults).size(), 6u);
    // Without a camera nothing is seen.
    s.scene.currentCamera = nullptr;
    engine.recorded().Clear();
    s.Frame();
    engine.context().EndScene();
    EXPECT_EQ(Steps(engine.recorded(), kDefaults).size(), 1u);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(Mirror, WithoutStencilSaysSoOnceAndDrawsMirrorsAsMeshes) {
    for (const int lack : {0, 1, 2}) {
        support::EngineDevice engine;
        const testing_messages::Listener messages;
        DeviceCaps& caps = engine.context().caps;
        if (lack == 0) caps.stencilBits = 0;
        if (lack == 1) caps.stencilReplace = false;
        if (lack == 2) caps.stencilKeep = false;
        MirrorScene s;
        s.AddMirror(SmallScene::Facing(-4, -4, 0, 4, 0));
        s.Add({SmallScene::Facing(-1, -1, 1, 1, 2)}, kRedGlow);
        engine.context().BeginScene();
        s.Frame();
        s.Frame();
        engine.context().EndScene();
        EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 4u);
        EXPECT_EQ(messages.boxes, (std::vector<std::string>{
                                      "Stencil Mirror needs stencil buffer capabilities, the current device "
                                      "does not have it, try changing resolution and pixel format."}));
    }
    SceneRendererMirror::stencilChecked = false;
}

// ---- storage

TEST(MirrorRecord, ReadsWhatItWritesAndNothingElse) {
    om2::File f;
    f.Chunk("SRMR", 1, [&] {
        f.I32(2);
        f.Mesh([&] { f.Geometry(om2::Quad(0, 0, 1, 1)); }, [&] { f.Null(); }, [&] { f.Null(); });
        f.Null();
    });
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    auto* mirrors = loaded.As<SceneRendererMirror>();
    ASSERT_NE(mirrors, nullptr);
    ASSERT_EQ(mirrors->mirrors.size(), 2u);
    EXPECT_NE(mirrors->mirrors[0], nullptr);
    EXPECT_EQ(mirrors->mirrors[1], nullptr);
    EXPECT_EQ(test_support::Save(mirrors), f.bytes);
}
