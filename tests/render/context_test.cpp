#include "render/context.h"

#include <gtest/gtest.h>

#include <cstring>

#include "scene/oriented_box.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"

namespace osm3d {
namespace {

using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------------- making the device

// A system whose Context is made by hand, with settings of the test's own.
class Creation : public testing::Test {
  protected:
    Creation() {
        support::ResetDisplaySettings();
        SetWindow(window.Handle());
        SetDisplaySize(640, 480, -1);
    }
    ~Creation() override {
        Context::Destroy();
        support::ResetDisplaySettings();
    }
    // The arguments of the CreateDevice that succeeded.
    struct Made {
        i64 behaviour, width, height, format, samples, quality, windowed, depth, rate, interval;
    };
    Made Create() {
        Context::Create();
        const std::vector<support::Call> calls = system.Recorded().Named("CreateDevice");
        const std::vector<i64>& a = calls.back().args;
        EXPECT_EQ(a[6], 1);  // one back buffer
        EXPECT_EQ(a[9], D3DSWAPEFFECT_DISCARD);
        EXPECT_EQ(a[11], TRUE);  // with a depth buffer
        EXPECT_EQ(a[13], 0);
        return {a[2], a[3], a[4], a[5], a[7], a[8], a[10], a[12], a[14], a[15]};
    }
    support::AdapterModel& Adapter() { return system.Recorded().adapter; }
    DisplaySettings& Settings() { return GetDisplaySettings(); }

    support::RecordingSystem system;
    support::TestWindow window{200, 100};
};

TEST_F(Creation, TakesFormatsFromTheDesktopOrTheSettings) {
    struct Row {
        bool fullscreen;
        D3DFORMAT desktop;
        i32 bits;
        D3DFORMAT format, depth;
        i32 bits_after;
        u32 depth_after;
    };
    const Row rows[] = {
        {false, D3DFMT_X8R8G8B8, -1, D3DFMT_X8R8G8B8, D3DFMT_D24S8, 32, 24},
        {false, D3DFMT_R5G6B5, -1, D3DFMT_R5G6B5, D3DFMT_D16, 16, 16},
        {false, D3DFMT_X1R5G5B5, -1, D3DFMT_UNKNOWN, D3DFMT_UNKNOWN, 0, 0},
        {false, D3DFMT_X8R8G8B8, 16, D3DFMT_R5G6B5, D3DFMT_D16, 16, 16},
        {false, D3DFMT_R5G6B5, 32, D3DFMT_X8R8G8B8, D3DFMT_D24S8, 32, 24},
        {false, D3DFMT_R5G6B5, 24, D3DFMT_UNKNOWN, D3DFMT_D24S8, 24, 24},
        {true, D3DFMT_R5G6B5, 32, D3DFMT_X8R8G8B8, D3DFMT_D24S8, 32, 24},
        {true, D3DFMT_X8R8G8B8, 16, D3DFMT_R5G6B5, D3DFMT_D16, 16, 16},
        {true, D3DFMT_X8R8G8B8, -1, D3DFMT_UNKNOWN, D3DFMT_UNKNOWN, -1, 0xffffffff},
    };
    for (const Row& row : rows) {
        Adapter().desktop = row.desktop;
        SetDisplayFlags(row.fullscreen, false, false);
        SetDisplaySize(320, 200, row.bits);
        const Made made = Create();
        EXPECT_EQ(made.width, 320);
        EXPECT_EQ(made.height, 200);
        EXPECT_EQ(made.windowed, row.fullscreen ? 0 : 1);
        EXPECT_EQ(made.format, row.format) << row.desktop << ' ' << row.bits;
        EXPECT_EQ(made.depth, row.depth) << row.desktop << ' ' << row.bits;
        EXPECT_EQ(Settings().colorBits, row.bits_after);
        EXPECT_EQ(Settings().depthBits, row.depth_after);
        Context::Destroy();
    }
    EXPECT_EQ(system.Recorded().LiveObjects(), 0u);
}

TEST_F(Creation, PresentsAndRefreshesAsTheModeAllows) {
    EXPECT_EQ(Create().interval, D3DPRESENT_INTERVAL_IMMEDIATE);
    Context::Destroy();
    SetDisplayFlags(true, false, true);
    SetDisplaySize(640, 480, 32);
    const Made waiting = Create();
    EXPECT_EQ(waiting.interval, 0);
    EXPECT_EQ(waiting.rate, 85);
    Context::Destroy();
    SetDisplayFlags(true, true, false);
    const Made immediate = Create();
    EXPECT_EQ(immediate.interval, D3DPRESENT_INTERVAL_IMMEDIATE);
    EXPECT_EQ(immediate.rate, 0);
    Context::Destroy();
    SetDisplayFlags(false, false, true);
    EXPECT_EQ(Create().rate, 0);
}

TEST_F(Creation, FallsBackOnWhatTheDeviceHas) {
    Adapter().refused_formats = {D3DFMT_D24S8, D3DFMT_DXT5};
    Adapter().refused_behaviour = D3DCREATE_MIXED_VERTEXPROCESSING;
    SetMultisample(D3DMULTISAMPLE_4_SAMPLES, 3);
    const Made made = Create();
    EXPECT_EQ(made.depth, D3DFMT_D16);
    EXPECT_EQ(Settings().depthBits, 16u);
    EXPECT_FALSE(Settings().compressTextures);
    EXPECT_EQ(GetContext()->textureFormat, D3DFMT_A8R8G8B8);
    EXPECT_EQ(made.behaviour, D3DCREATE_SOFTWARE_VERTEXPROCESSING);
    EXPECT_EQ(system.Recorded().Count("CreateDevice"), 2u);
    EXPECT_EQ(made.samples, 0);
    EXPECT_EQ(made.quality, 0);
    EXPECT_EQ(GetContext()->caps.stencilBits, 0u);
}

TEST_F(Creation, AsksForSamplesThatTheDeviceGrants) {
    Adapter().sample_types = {D3DMULTISAMPLE_2_SAMPLES};
    Adapter().sample_levels = 2;
    SetMultisample(D3DMULTISAMPLE_2_SAMPLES, 1);
    Made made = Create();
    EXPECT_EQ(made.samples, 2);
    EXPECT_EQ(made.quality, 1);
    EXPECT_EQ(made.behaviour, D3DCREATE_MIXED_VERTEXPROCESSING);
    EXPECT_EQ(GetContext()->textureFormat, D3DFMT_DXT5);
    Context::Destroy();
    SetMultisample(D3DMULTISAMPLE_2_SAMPLES, 2);
    made = Create();
    EXPECT_EQ(made.samples, 2);
    EXPECT_EQ(made.quality, 0);
}

TEST_F(Creation, SendsEveryDefaultOnceAndSizesTheWindow) {
    Create();
    Texts sent = system.Recorded().Texts({"SetTransform", "SetRenderState", "SetSoftwareVertexProcessing",
                                          "SetTextureStageState", "SetSamplerState", "SetViewport"});
    // Projection, view and world; 32 render states and the vertex processing; 14 words for each stage;
    // viewport.
    ASSERT_EQ(sent.size(), 3u + 33u + 8u * 14u + 1u);
    EXPECT_EQ(sent[0].substr(0, 16), "SetTransform(3, ");
    EXPECT_EQ(sent[1].substr(0, 16), "SetTransform(2, ");
    EXPECT_EQ(sent[2].substr(0, 18), "SetTransform(256, ");
    EXPECT_EQ(sent[3], "SetRenderState(27, 0)");
    EXPECT_EQ(sent[15], "SetRenderState(136, 0)");
    EXPECT_EQ(sent[22], "SetSoftwareVertexProcessing(0)");
    EXPECT_EQ(sent[35], "SetRenderState(189, 8)");
    EXPECT_EQ(sent[36], "SetTextureStageState(0, 1, 4)");
    EXPECT_EQ(sent[39], "SetTextureStageState(0, 4, 2)");
    EXPECT_EQ(sent[50], "SetTextureStageState(1, 1, 1)");
    EXPECT_EQ(sent.back(), "SetViewport(0, 0, 640, 480, 0, 1)");
    EXPECT_EQ(window.Width(), 640u);
    EXPECT_EQ(window.Height(), 480u);
    const Context& context = *GetContext();
    EXPECT_EQ(context.transforms.GetFlags(), 7u);
    EXPECT_EQ(context.projectionParams.aspect, 640.0f / 480.0f);
    EXPECT_EQ(context.projectionParams.farZ, 1.0f);
    EXPECT_EQ(context.clearColor, (color{0, 0, 1, 0}));
    EXPECT_EQ(system.Recorded().faults, Texts());
}

TEST_F(Creation, DigestsCapabilities) {
    D3DCAPS9& caps = Adapter().caps;
    caps.MaxVertexBlendMatrixIndex = 8;
    caps.MaxUserClipPlanes = 3;
    caps.MaxActiveLights = 5;
    caps.RasterCaps = D3DPRASTERCAPS_FOGTABLE | D3DPRASTERCAPS_ZFOG;
    caps.StencilCaps =
        D3DSTENCILCAPS_KEEP | D3DSTENCILCAPS_INCRSAT | D3DSTENCILCAPS_DECR | D3DSTENCILCAPS_TWOSIDED;
    caps.TextureCaps = 0;
    Create();
    const DeviceCaps& digest = GetContext()->caps;
    EXPECT_EQ(digest.maxPaletteMatrices, 4u);
    EXPECT_EQ(digest.maxClipPlanes, 3u);
    EXPECT_EQ(digest.maxLights, 5u);
    EXPECT_TRUE(digest.fogTable && digest.fogZ);
    EXPECT_FALSE(digest.fogRange || digest.fogVertex || digest.fogW);
    EXPECT_TRUE(digest.stencilKeep && digest.stencilIncrSat && digest.stencilDecr && digest.stencilTwoSided);
    EXPECT_FALSE(digest.stencilZero || digest.stencilReplace || digest.stencilDecrSat ||
                 digest.stencilInvert || digest.stencilIncr);
    EXPECT_FALSE(digest.cubeMaps);
    EXPECT_TRUE(digest.autoGenMipmap);
    EXPECT_EQ(digest.stencilBits, 8u);
}

using CreationDeathTest = Creation;

TEST_F(CreationDeathTest, FatalMessages) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Adapter().missing = true;
            Context::Create();
        },
        "osm3d::Context.*Cannot Get Direct3D Interface\\.");
    EXPECT_DEATH(
        {
            SetWindow(nullptr);
            Context::Create();
        },
        "osm3d::Context.*Not attached to a window\\.");
    EXPECT_DEATH(
        {
            SetDisplayFlags(true, false, true);
            SetDisplaySize(800, 600, 32);
            Context::Create();
        },
        "osm3d::Context.*Display Mode Requested Not Found\\.");
    EXPECT_DEATH(
        {
            SetDisplayFlags(true, false, true);
            Adapter().modes.clear();
            Context::Create();
        },
        "osm3d::Context.*Display Mode Requested Not Found\\.");
}

TEST(ContextLife, LeavesNothingBehind) {
    support::RecordingSystem system;
    support::TestWindow window(64, 64);
    Context::Destroy();
    EXPECT_EQ(GetContext(), nullptr);
    SetWindow(window.Handle());
    SetDisplaySize(64, 64, 32);
    Context* context = Context::Create();
    EXPECT_EQ(GetContext(), context);
    context->LockScratchVertices(D3DFVF_XYZ, 12, 3);
    context->UnlockScratchVertices();
    context->LockScratchIndices(3);
    context->UnlockScratchIndices();
    EXPECT_GT(system.Recorded().LiveObjects(), 4u);
    Context::Destroy();
    EXPECT_EQ(GetContext(), nullptr);
    EXPECT_EQ(system.Recorded().LiveObjects(), 0u);
    support::ResetDisplaySettings();
}

// ------------------------------------------------------------------------------------------------ clears

struct ScreenVertex {
    f32 x, y, z, rhw;
    u32 diffuse;
    bool operator==(const ScreenVertex&) const = default;
};

template <class Vertex>
std::vector<Vertex> VerticesOf(const support::Call& draw) {
    std::vector<Vertex> vertices(draw.vertices.size() / sizeof(Vertex));
    std::memcpy(vertices.data(), draw.vertices.data(), vertices.size() * sizeof(Vertex));
    return vertices;
}

TEST(Clear, OnTheDevice) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.SetClearColor({1.0f, 0.5f, 0.0f, 2.0f});
    context.Clear(0, true);
    EXPECT_EQ(engine.recorded().Calls().size(), 0u);
    context.Clear(7, true);
    context.Clear(6, true);
    context.caps.stencilBits = 0;
    context.Clear(7, true);
    const std::string color = std::to_string(0xffff8000u);
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{"Clear(0, 7, " + color + ", 0, 1)", "Clear(0, 6, " + color + ", 0, 1)",
                     "Clear(0, 3, " + color + ", 0, 1)"}));
}

TEST(Clear, ByAQuadOverTheViewport) {
    struct Row {
        u32 flags, write_mask, depth_enable, depth_function;
    };
    const Row rows[] = {{Context::kClearColor, 15, 0, D3DCMP_LESSEQUAL},
                        {Context::kClearColor | Context::kClearDepth, 15, 1, D3DCMP_ALWAYS},
                        {Context::kClearDepth, 0, 1, D3DCMP_ALWAYS},
                        {Context::kClearAlpha, 8, 0, D3DCMP_LESSEQUAL},
                        {Context::kClearAlpha | Context::kClearColor, 8, 0, D3DCMP_LESSEQUAL},
                        {Context::kClearStencil, 0, 0, D3DCMP_LESSEQUAL}};
    for (const Row& row : rows) {
        support::EngineDevice engine;
        Context& context = engine.context();
        context.SetViewport({10, 20, 300, 200, 0.0f, 1.0f});
        context.SetClearColor({0, 1, 0, 1});
        context.BeginScene();
        context.Clear(row.flags, false);
        context.EndScene();
        const auto held = [&](D3DRENDERSTATETYPE state) {
            DWORD value = 0;
            engine.device().GetRenderState(state, &value);
            return value;
        };
        EXPECT_EQ(held(D3DRS_COLORWRITEENABLE), row.write_mask) << row.flags;
        EXPECT_EQ(held(D3DRS_ZENABLE), row.depth_enable) << row.flags;
        EXPECT_EQ(held(D3DRS_ZFUNC), row.depth_function) << row.flags;
        EXPECT_EQ(engine.recorded().Count("Clear"), 0u);
        const std::vector<support::Call> draws = engine.recorded().Named("DrawPrimitive");
        ASSERT_EQ(draws.size(), 1u);
        EXPECT_EQ(draws[0].args, (std::vector<i64>{D3DPT_TRIANGLESTRIP, 0, 2}));
        const std::vector<ScreenVertex> expected = {{10, 20, 1, 0, 0xff00ff00},
                                                    {10, 220, 1, 0, 0xff00ff00},
                                                    {310, 20, 1, 0, 0xff00ff00},
                                                    {310, 220, 1, 0, 0xff00ff00}};
        EXPECT_EQ(VerticesOf<ScreenVertex>(draws[0]), expected);
        EXPECT_EQ(engine.recorded().faults, Texts());
    }
}

// ----------------------------------------------------------------------------------------- scratch rings

TEST(ScratchRing, VerticesAdvanceAlignedAndWrap) {
    support::EngineDevice engine({.exact_locks = true});
    Context& context = engine.context();
    struct Row {
        u32 stride, count, offset, flags;
    };
    const u32 big = (Context::kScratchBytes - 4096) / 16;
    const Row rows[] = {
        {20, 4, 0, D3DLOCK_DISCARD},          // bytes 0 to 80
        {16, 1, 96, D3DLOCK_NOOVERWRITE},     // (80 + 16) is a multiple of 16
        {20, 3, 120, D3DLOCK_NOOVERWRITE},    // 96 + 16 + 20 = 132, down to 120
        {44, 4, 220, D3DLOCK_NOOVERWRITE},    // 120 + 60 + 44 = 224, down to 220
        {16, big, 400, D3DLOCK_NOOVERWRITE},  // 220 + 176 + 16 = 412, down to 400
        {16, 300, 0, D3DLOCK_DISCARD},        // does not fit behind
        {16, (Context::kScratchBytes - 4816) / 16, 4816, D3DLOCK_NOOVERWRITE},  // to the last byte
        {16, Context::kScratchBytes / 16, 0, D3DLOCK_DISCARD},
    };
    for (const Row& row : rows) {
        void* data = context.LockScratchVertices(D3DFVF_XYZ, row.stride, row.count);
        ASSERT_NE(data, nullptr);
        std::memset(data, 1, std::size_t{row.stride} * row.count);
        context.UnlockScratchVertices();
        const support::Call lock = engine.recorded().Named("VertexBuffer.Lock").back();
        EXPECT_EQ(lock.args[1], row.offset) << row.stride << " x " << row.count;
        EXPECT_EQ(lock.args[2], i64{row.stride} * row.count);
        EXPECT_EQ(lock.args[3], row.flags) << row.stride << " x " << row.count;
    }
    EXPECT_EQ(engine.recorded().Count("CreateVertexBuffer", {0x100000, 0x208, 0, D3DPOOL_DEFAULT}), 1u);
    EXPECT_EQ(engine.recorded().faults, Texts());
}

TEST(ScratchRing, IndicesAdvanceUnroundedAndWrap) {
    support::EngineDevice engine;
    Context& context = engine.context();
    const u32 rest = (Context::kScratchBytes - 18) / 2;
    const u32 rows[][3] = {{9, 0, D3DLOCK_DISCARD},
                           {rest - 1, 18, D3DLOCK_NOOVERWRITE},
                           {1, Context::kScratchBytes - 2, D3DLOCK_NOOVERWRITE},
                           {1, 0, D3DLOCK_DISCARD}};
    for (const auto& [count, offset, flags] : rows) {
        ASSERT_NE(context.LockScratchIndices(count), nullptr);
        context.UnlockScratchIndices();
        const support::Call lock = engine.recorded().Named("IndexBuffer.Lock").back();
        EXPECT_EQ(lock.args[1], offset);
        EXPECT_EQ(lock.args[2], i64{count} * 2);
        EXPECT_EQ(lock.args[3], flags);
    }
}

TEST(ScratchRing, RefusesWhatCannotFitAndDrawsNothingThen) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.BeginScene();
    const struct {
        u32 stride, count;
    } unfit[] = {{16, 0x10001}, {0x10000, 0x10000}, {0xffffffff, 0xffffffff}, {0, 5}, {16, 0}};
    for (const auto& [stride, count] : unfit) {
        EXPECT_EQ(context.LockScratchVertices(D3DFVF_XYZ, stride, count), nullptr);
        context.UnlockScratchVertices();
        context.DrawScratch(D3DPT_POINTLIST, 0, 1);
    }
    ASSERT_NE(context.LockScratchVertices(D3DFVF_XYZ, 12, 3), nullptr);
    context.UnlockScratchVertices();
    EXPECT_EQ(context.LockScratchIndices(0x80001), nullptr);
    context.UnlockScratchIndices();
    context.DrawScratchIndexed(D3DPT_TRIANGLELIST, 0, 1);
    EXPECT_EQ(engine.recorded().totals.draws, 0u);
    EXPECT_EQ(engine.recorded().faults, Texts());
}

TEST(ScratchRing, TakesARefusalOfItsBuffers) {
    support::EngineDevice poor;
    poor.recorded().adapter.refuse_resources = true;
    EXPECT_EQ(poor.context().LockScratchVertices(D3DFVF_XYZ, 12, 3), nullptr);
    EXPECT_EQ(poor.context().LockScratchIndices(3), nullptr);
    EXPECT_FALSE(CreateRenderTarget(32, 32, true, true)->surface);
}

TEST(ScratchRing, DrawsOutOfTheLastLocks) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.LockScratchVertices(D3DFVF_XYZ, 12, 1);
    context.UnlockScratchVertices();
    auto* positions = static_cast<vect3*>(context.LockScratchVertices(D3DFVF_XYZ, 12, 4));
    for (u32 i = 0; i < 4; ++i) positions[i] = {static_cast<f32>(i), 0, 0};
    context.UnlockScratchVertices();
    context.LockScratchIndices(2);
    context.UnlockScratchIndices();
    u16* indices = context.LockScratchIndices(6);
    for (u16 i = 0; i < 6; ++i) indices[i] = i % 4;
    context.UnlockScratchIndices();
    context.BeginScene();
    engine.recorded().Clear();

    context.DrawScratchIndexed(D3DPT_TRIANGLELIST, 3, 1);
    const support::Call draw = engine.recorded().Named("DrawIndexedPrimitive").at(0);
    EXPECT_EQ(draw.args, (std::vector<i64>{D3DPT_TRIANGLELIST, 0, 0, 4, 2 + 3, 1}));
    EXPECT_EQ(draw.indices, (std::vector<u32>{3, 0, 1}));
    EXPECT_EQ(VerticesOf<vect3>(draw)[3].x, 3.0f);
    Texts names;
    for (const support::Call& call : engine.recorded().Calls()) names.emplace_back(call.name);
    EXPECT_EQ(names,
              (Texts{"SetVertexShader", "SetFVF", "SetStreamSource", "SetIndices", "DrawIndexedPrimitive"}));

    engine.recorded().Clear();
    context.effectActive = true;
    context.DrawScratch(D3DPT_LINELIST, 2, 1);
    EXPECT_EQ(engine.recorded().Texts().back(), "DrawPrimitive(2, 2, 1)");
    EXPECT_EQ(engine.recorded().Count("SetVertexShader"), 0u);
    EXPECT_EQ(engine.recorded().Count("SetStreamSource", {0}), 1u);
    context.EndScene();
    EXPECT_EQ(engine.recorded().faults, Texts());
}

// ---------------------------------------------------------------------- transforms, planes, debug drawing

TEST(Transforms, ReachCacheAndDevice) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.SetWorld(MatrixTranslation({1, 2, 3}));
    context.SetView(MatrixTranslation({4, 5, 6}));
    const matrix projection = context.SetPerspective(1.25f, 2.0f, 3.0f, 40.0f);
    EXPECT_EQ(projection, MatrixPerspective(1.25f, 2.0f, 3.0f, 40.0f));
    EXPECT_EQ(context.transforms.GetProjection(), projection);
    EXPECT_EQ(MatrixGetTranslation(context.transforms.GetWorldView()), (vect3{5, 7, 9}));
    EXPECT_EQ(context.projectionParams.fov, 1.25f);
    EXPECT_EQ(context.projectionParams.aspect, 2.0f);
    EXPECT_EQ(context.projectionParams.nearZ, 3.0f);
    EXPECT_EQ(context.projectionParams.farZ, 40.0f);
    const std::vector<support::Call> sent = engine.recorded().Named("SetTransform");
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].args[0], D3DTS_WORLD);
    EXPECT_EQ(sent[0].floats[13], 2.0f);
    EXPECT_EQ(sent[1].args[0], D3DTS_VIEW);
    EXPECT_EQ(sent[2].args[0], D3DTS_PROJECTION);
    EXPECT_EQ(sent[2].floats[11], -1.0f);
}

TEST(ClipPlanes, CountUpAndEnd) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.AddClipPlane({{1, 0, 0}, 5});
    context.AddClipPlane({{0, 0, 1}, -2});
    context.ClearClipPlanes();
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{"SetClipPlane(0, 1, 0, 0, -5)", "SetRenderState(152, 1)", "SetClipPlane(1, 0, 0, 1, 2)",
                     "SetRenderState(152, 3)", "SetRenderState(152, 0)"}));
    EXPECT_TRUE(context.clipPlanes.empty());
}

TEST(Ambient, IsPackedForTheDevice) {
    support::EngineDevice engine;
    engine.context().SetAmbient({0.5f, -1.0f, 1.0f, 0.0f});
    EXPECT_EQ(engine.recorded().Texts(), Texts{"SetRenderState(139, " + std::to_string(0x008000ffu) + ")"});
    EXPECT_EQ(engine.context().ambient, (color{0.5f, -1.0f, 1.0f, 0.0f}));
}

TEST(DebugDrawing, IsUnlitAndUntextured) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.BeginScene();
    context.DrawLine2D({1, 2, 9}, {3, 4, 9}, {1, 0, 0, 0});
    const support::Call line = engine.recorded().Named("DrawPrimitive").at(0);
    EXPECT_EQ(line.args, (std::vector<i64>{D3DPT_LINELIST, 0, 1}));
    EXPECT_EQ(VerticesOf<ScreenVertex>(line),
              (std::vector<ScreenVertex>{{1, 2, 1, 1, 0x00ff0000}, {3, 4, 1, 1, 0x00ff0000}}));
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_LIGHTING, FALSE}), 1u);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {0, 0}), 1u);
    EXPECT_EQ(engine.recorded().Count("SetFVF", {D3DFVF_XYZRHW | D3DFVF_DIFFUSE}), 1u);
    EXPECT_TRUE(RenderStateBlock::Default().lighting);

    engine.recorded().Clear();
    context.SetWorld(MatrixTranslation({7, 7, 7}));
    context.DrawPoint3D({5, 6, 7}, {0, 0, 1, 1});
    EXPECT_EQ(engine.recorded().Named("DrawPrimitive").at(0).args, (std::vector<i64>{D3DPT_POINTLIST, 0, 1}));
    EXPECT_EQ(context.transforms.GetWorld(), kMatrixIdentity);
    EXPECT_EQ(engine.recorded().Named("SetStreamSource").at(0).args[3], 16);
}

TEST(DebugDrawing, ABoxHasTwelveEdges) {
    support::EngineDevice engine;
    Context& context = engine.context();
    const matrix world = MatrixTranslation({9, 0, 0});
    context.SetWorld(world);
    context.BeginScene();
    engine.recorded().Clear();
    context.DrawBox({{1, 2, 3}, MatrixTranslation({0, 0, 5})}, kDebugColor);
    EXPECT_EQ(context.transforms.GetWorld(), world);
    EXPECT_EQ(engine.recorded().Named("SetTransform").at(0).floats[14], 5.0f);
    const std::vector<support::Call> draws = engine.recorded().Named("DrawPrimitive");
    ASSERT_EQ(draws.size(), 3u);
    EXPECT_EQ(draws[0].args, (std::vector<i64>{D3DPT_LINESTRIP, 0, 4}));
    EXPECT_EQ(draws[1].args, (std::vector<i64>{D3DPT_LINESTRIP, 5, 4}));
    EXPECT_EQ(draws[2].args, (std::vector<i64>{D3DPT_LINELIST, 10, 4}));

    struct Vertex {
        vect3 position;
        u32 diffuse;
    };
    u32 along[3] = {};
    for (const support::Call& draw : draws) {
        const std::vector<Vertex> v = VerticesOf<Vertex>(draw);
        for (std::size_t i = 0; i + 1 < v.size(); i += draw.args[0] == D3DPT_LINELIST ? 2 : 1) {
            EXPECT_EQ(v[i].diffuse, 0xffffff00u);
            const vect3 edge = v[i + 1].position - v[i].position;
            // Each edge runs along one axis, over the whole extent.
            if (edge.y == 0 && edge.z == 0 && std::abs(edge.x) == 2) ++along[0];
            if (edge.x == 0 && edge.z == 0 && std::abs(edge.y) == 4) ++along[1];
            if (edge.x == 0 && edge.y == 0 && std::abs(edge.z) == 6) ++along[2];
        }
        if (draw.args[0] == D3DPT_LINESTRIP) {
            EXPECT_EQ(v.front().position, v.back().position);
        }
    }
    EXPECT_EQ(along[0], 4u);
    EXPECT_EQ(along[1], 4u);
    EXPECT_EQ(along[2], 4u);
    EXPECT_EQ(engine.recorded().faults, Texts());
}

TEST(Frame, BracketsAndPresentsGoThrough) {
    support::EngineDevice engine;
    engine.context().BeginScene();
    engine.context().EndScene();
    engine.context().Present();
    EXPECT_EQ(engine.recorded().Texts(), (Texts{"BeginScene()", "EndScene()", "Present()"}));
}

TEST(Buffers, AreAskedForBySizeAndUse) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.CreateVertexBuffer(0x112, 32, 10, false);
    context.CreateVertexBuffer(0x112, 32, 10, true);
    context.CreateIndexBuffer(9, false);
    context.CreateIndexBuffer(9, true);
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{"CreateVertexBuffer(320, 8, 274, 0)", "CreateVertexBuffer(320, 520, 274, 0)",
                     "CreateIndexBuffer(18, 8, 101, 0)", "CreateIndexBuffer(18, 520, 101, 0)"}));
}

}  // namespace
}  // namespace osm3d
