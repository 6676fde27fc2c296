#include "render/context.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "render/render_target.h"
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
    const struct {
        bool fullscreen, immediate, search;
        i64 interval, rate;
    } rows[] = {{false, false, false, D3DPRESENT_INTERVAL_IMMEDIATE, 0},
                {true, false, true, 0, 85},
                {true, true, false, D3DPRESENT_INTERVAL_IMMEDIATE, 0},
                {false, false, true, D3DPRESENT_INTERVAL_IMMEDIATE, 0}};
    SetDisplaySize(640, 480, 32);
    for (const auto& row : rows) {
        SetDisplayFlags(row.fullscreen, row.immediate, row.search);
        const Made made = Create();
        EXPECT_EQ(made.interval, row.interval);
        EXPECT_EQ(made.rate, row.rate);
        Context::Destroy();
    }
}

TEST_F(Creation, FallsBackOnWhatTheDeviceHas) {
    Adapter().sample_types = {D3DMULTISAMPLE_2_SAMPLES};
    Adapter().sample_levels = 2;
    // Samples and quality: granted, quality too high, type not there.
    const i64 rows[][4] = {{2, 1, 2, 1}, {2, 2, 2, 0}, {4, 1, 0, 0}};
    for (const auto& [samples, quality, samples_made, quality_made] : rows) {
        SetMultisample(static_cast<u32>(samples), static_cast<u32>(quality));
        const Made made = Create();
        EXPECT_EQ(made.samples, samples_made);
        EXPECT_EQ(made.quality, quality_made);
        EXPECT_EQ(made.behaviour, D3DCREATE_MIXED_VERTEXPROCESSING);
        EXPECT_EQ(GetContext()->textureFormat, D3DFMT_DXT5);
        Context::Destroy();
    }
    Adapter().refused_formats = {D3DFMT_D24S8, D3DFMT_DXT5};
    Adapter().refused_behaviour = D3DCREATE_MIXED_VERTEXPROCESSING;
    const Made made = Create();
    EXPECT_EQ(made.depth, D3DFMT_D16);
    EXPECT_EQ(Settings().depthBits, 16u);
    EXPECT_EQ(GetContext()->textureFormat, D3DFMT_A8R8G8B8);
    EXPECT_EQ(made.behaviour, D3DCREATE_SOFTWARE_VERTEXPROCESSING);
    EXPECT_EQ(GetContext()->caps.stencilBits, 0u);
    Adapter().refuse_resources = true;
    EXPECT_EQ(GetContext()->LockScratchVertices(D3DFVF_XYZ, 12, 3), nullptr);
    EXPECT_EQ(GetContext()->LockScratchIndices(3), nullptr);
    EXPECT_FALSE(CreateRenderTarget(32, 32, true, true)->surface);
}

TEST_F(Creation, SendsEveryDefaultOnceAndSizesTheWindow) {
    Create();
    Texts sent = system.Recorded().Texts({"SetTransform", "SetRenderState", "SetSoftwareVertexProcessing",
                                          "SetTextureStageState", "SetSamplerState", "SetViewport"});
    // Projection, view and world; 32 render states and the vertex processing; 14 words for each stage;
    // viewport.
    ASSERT_EQ(sent.size(), 3u + 33u + 8u * 14u + 1u);
    const std::pair<u32, const char*> some[] = {{0, "SetTransform(3, "},
                                                {1, "SetTransform(2, "},
                                                {2, "SetTransform(256, "},
                                                {3, "SetRenderState(27, 0)"},
                                                {15, "SetRenderState(136, 0)"},
                                                {22, "SetSoftwareVertexProcessing(0)"},
                                                {35, "SetRenderState(189, 8)"},
                                                {36, "SetTextureStageState(0, 1, 4)"},
                                                {39, "SetTextureStageState(0, 4, 2)"},
                                                {50, "SetTextureStageState(1, 1, 1)"},
                                                {148, "SetViewport(0, 0, 640, 480, 0, 1)"}};
    for (const auto& [at, text] : some) EXPECT_EQ(sent[at].find(text), 0u) << at << ": " << sent[at];
    EXPECT_EQ(window.Width(), 640u);
    EXPECT_EQ(window.Height(), 480u);
    const Context& context = *GetContext();
    EXPECT_EQ(context.transforms.GetFlags(), 7u);
    EXPECT_EQ(context.projectionParams.aspect, 640.0f / 480.0f);
    EXPECT_EQ(context.clearColor, (color{0, 0, 1, 0}));
    EXPECT_EQ(system.Recorded().faults, Texts());
}

using CreationDeathTest = Creation;

using CreationDeathTest = Creation;

TEST_F(CreationDeathTest, FatalMessages) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto dies = [](const std::function<void()>& with, const std::string& message) {
        EXPECT_DEATH(
            {
                with();
                Context::Create();
            },
            "osm3d::Context.*" + message);
    };
    dies([this] { Adapter().missing = true; }, "Cannot Get Direct3D Interface\\.");
    dies([] { SetWindow(nullptr); }, "Not attached to a window\\.");
    SetDisplayFlags(true, false, true);
    dies([] { SetDisplaySize(800, 600, 32); }, "Display Mode Requested Not Found\\.");
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
    const u32 rest = (Context::kScratchBytes - 18) / 2;
    const u32 rows[][3] = {{9, 0, D3DLOCK_DISCARD},
                           {rest - 1, 18, D3DLOCK_NOOVERWRITE},
                           {1, Context::kScratchBytes - 2, D3DLOCK_NOOVERWRITE},
                           {1, 0, D3DLOCK_DISCARD}};
    for (const auto& [count, offset, flags] : rows) {
        engine.context().LockScratchIndices(count);
        engine.context().UnlockScratchIndices();
        const std::vector<i64> args = engine.recorded().Named("IndexBuffer.Lock").back().args;
        EXPECT_EQ((std::vector<i64>{args[1], args[2], args[3]}),
                  (std::vector<i64>{offset, i64{count} * 2, flags}));
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
}

}  // namespace
}  // namespace osm3d
