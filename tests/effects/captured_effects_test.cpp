// What transitions and filters send to the device, when they take targets, and what they do where there are
// none.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "effects/blur_radial.h"
#include "effects/show.h"
#include "support/engine_device.h"

using namespace osm3d;
using show::EffectPointer;

namespace {

using Texts = std::vector<std::string>;

std::vector<EffectVertex> VerticesOf(const support::Call& draw) {
    std::vector<EffectVertex> vertices(draw.vertices.size() / sizeof(EffectVertex));
    std::memcpy(vertices.data(), draw.vertices.data(), draw.vertices.size());
    return vertices;
}

struct CapturedEffects : testing::Test {
    support::EngineDevice engine;
    support::Recorder& recorded = engine.recorded();
    RenderTargetPool pool;

    std::size_t Targets(i64 width) const {
        return recorded.Count("CreateTexture",
                              {width, width == 1024 ? 512 : width, 1, D3DUSAGE_RENDERTARGET});
    }
    /// The device calls of one Draw with up-to-date colours, by name and value.
    Texts Drawn(Effect& effect, std::initializer_list<std::string_view> names) {
        effect.Update(0, 0);
        recorded.Clear();
        effect.Draw();
        EXPECT_EQ(recorded.Calls().front().name, "BeginScene");
        EXPECT_TRUE(recorded.faults.empty());
        return recorded.Texts(names);
    }
};

TEST_F(CapturedEffects, TargetsAreMadeAheadAndSharedInTime) {
    // Made from a definition, each type that captures has the pool hold a screen target; the others none.
    for (const char* type : {"fx_trans_white", "fx_trans_direct"}) show::Make(type, {}, pool);
    EXPECT_EQ(Targets(1024), 0u);
    const EffectPointer plain(CreateEffectByName("fx_trans_blend", pool));
    EXPECT_EQ(Targets(1024), 0u);
    for (const char* type : {"fx_blur_radial", "fx_trans_blend", "fx_render_bw", "fx_render_rgb"}) {
        RenderTargetPool own;
        recorded.Clear();
        show::Make(type, {}, own);
        show::Make(type, {}, own);
        EXPECT_EQ(Targets(1024), 1u) << type;
        EXPECT_EQ(Targets(256), 0u);
    }
    recorded.Clear();

    const EffectPointer grey = show::Make("fx_render_bw", {}, pool),
                        fade = show::Make("fx_trans_blend", {}, pool);
    const EffectPointer blur = show::Make("fx_blur_radial", {}, pool);
    for (int i = 0; i < 3; ++i) {
        // One after the other they share.
        grey->Init();
        grey->Shutdown();
        fade->Init();
        fade->Shutdown();
        EXPECT_EQ(Targets(1024), i == 0 ? 1u : 2u);
        // Together, and begun twice, each has its own.
        for (Effect* effect : {grey.get(), fade.get(), blur.get(), grey.get()}) effect->Init();
        EXPECT_EQ(Targets(1024), 2u);
        for (Effect* effect : {grey.get(), fade.get(), blur.get()}) effect->Shutdown();
    }
    EXPECT_EQ(Targets(256), 1u);
    // One that goes without Shutdown gives back, too.
    for (int i = 0; i < 3; ++i) show::Make("fx_render_rgb", {}, pool)->Init();
    EXPECT_EQ(Targets(1024), 2u);
}

TEST_F(CapturedEffects, CrossFadeAsksForInputsAndCapturesTheFirst) {
    const EffectPointer effect = show::Make("fx_trans_blend", {}, pool);
    auto& fade = static_cast<TransitionEffect&>(*effect);
    fade.Init();
    RenderTarget* screen = engine.context().GetRenderTarget();
    // Progress; are the inputs needed; is the first captured; which is the main one.
    for (const auto& [progress, first, second, captured, main] : {std::tuple{0.0f, true, false, false, 1},
                                                                  {0.25f, true, true, true, 1},
                                                                  {0.5f, true, true, true, 2},
                                                                  {1.0f, false, true, true, 2},
                                                                  {1.5f, true, true, true, 2}}) {
        static_cast<fake_host::Controller&>(*fade.GetController(0)).number = progress;
        fade.ApplyAll();
        EXPECT_EQ(fade.IsInputNeeded(1), first) << progress;
        EXPECT_EQ(fade.IsInputNeeded(2), second) << progress;
        EXPECT_EQ(fade.GetMainInput(), main) << progress;
        fade.BeginInput(1);
        EXPECT_EQ(engine.context().GetRenderTarget() != screen, captured) << progress;
        fade.EndRender();
        fade.BeginInput(2);
        EXPECT_EQ(engine.context().GetRenderTarget(), screen);
        fade.EndRender();
    }
    EXPECT_TRUE(fade.IsTransition());
}

TEST_F(CapturedEffects, GreyLeavesItsStagesOffAndItsArgumentSet) {
    const EffectPointer grey = show::Make("fx_render_bw", {{"float brightness", 1 / 3.0}}, pool);
    grey->Init();
    const Texts sent = Drawn(*grey, {"SetTextureStageState", "EndScene"});
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_TEXTUREFACTOR, 0x808080}), 1u);
    // The same call before the draw and after the scene.
    const auto end = std::find(sent.begin(), sent.end(), "EndScene()");
    EXPECT_EQ(std::count(sent.begin(), end, "SetTextureStageState(0, 26, 3)"), 1);
    EXPECT_EQ(std::count(end, sent.end(), "SetTextureStageState(0, 26, 3)"), 1);
    EXPECT_EQ(std::count(end, sent.end(), "SetTextureStageState(1, 1, 1)"), 1);
    const auto strip = VerticesOf(recorded.Named("DrawPrimitiveUP").at(0));
    for (u32 i = 0; i < 4; ++i) {
        const bool right = (i & 1) != 0, bottom = i > 1;
        EXPECT_TRUE(strip[i].x == (right ? 640 : 0) && strip[i].y == (bottom ? 480 : 0));
        EXPECT_TRUE(strip[i].z == 1 && strip[i].rhw == 1);
        EXPECT_TRUE(strip[i].u == (right ? 0.625f : 0) && strip[i].v == (bottom ? 0.9375f : 0));
        EXPECT_EQ(strip[i].diffuse, 0xffaaaaaau);  // (1/3 + 1) / 2
    }
}

TEST_F(CapturedEffects, ColourShiftDrawsOncePerChannelAndLeavesTheBlueMask) {
    const EffectPointer split = show::Make("fx_render_rgb", {{"float shift", 0.125}}, pool);
    split->Init();
    const std::string mask = "SetRenderState(" + std::to_string(D3DRS_COLORWRITEENABLE) + ", ";
    Texts masksAndDraws;
    for (const std::string& text : Drawn(*split, {"SetRenderState", "DrawPrimitiveUP"}))
        if (text.starts_with(mask) || text.starts_with("DrawPrimitiveUP")) masksAndDraws.push_back(text);
    const std::string draw = "DrawPrimitiveUP(5, 2, 28)";
    EXPECT_EQ(masksAndDraws, (Texts{mask + "1)", draw, mask + "2)", draw, mask + "4)", draw}));
    EXPECT_EQ(engine.context().renderState.colorWriteMask, 4u);
    const auto draws = recorded.Named("DrawPrimitiveUP");
    for (u32 channel = 0; channel < 3; ++channel) {
        const auto strip = VerticesOf(draws[channel]);
        for (u32 i = 0; i < 4; ++i) {
            EXPECT_EQ(strip[i].u, (i & 1) != 0 ? 0.625f : static_cast<f32>(channel) * 0.125f);
            EXPECT_EQ(strip[i].diffuse, 0xffffffffu);
        }
    }
    engine.context().ApplyDefaultRenderState();
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_COLORWRITEENABLE, 15}), 1u);
}

TEST_F(CapturedEffects, BlurSpreadsItsCopiesFromTheCentre) {
    const EffectPointer blur = show::Make("fx_blur_radial",
                                          {{"choice steps", 8},
                                           {"float x", 0.1},
                                           {"float y", -0.05},
                                           {"float scale", 0.25},
                                           {"float alpha", 1},
                                           {"choice destination", 2},
                                           {"choice source", 3}},
                                          pool);
    blur->Init();
    Drawn(*blur, {});
    const auto draws = recorded.Named("DrawPrimitiveUP");
    ASSERT_EQ(draws.size(), 2u);
    EXPECT_EQ(draws[0].args, (std::vector<i64>{D3DPT_TRIANGLELIST, 2, 28}));
    EXPECT_EQ(draws[1].args, (std::vector<i64>{D3DPT_TRIANGLELIST, 16, 28}));
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA}), 1u);
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_SRCBLEND, D3DBLEND_SRCALPHA}), 1u);

    const f32 corners[6][2] = {{0, 0}, {640, 0}, {0, 480}, {640, 0}, {0, 480}, {640, 480}};
    std::vector<EffectVertex> all = VerticesOf(draws[0]);
    const std::vector<EffectVertex> copies = VerticesOf(draws[1]);
    all.insert(all.end(), copies.begin(), copies.end());
    ASSERT_EQ(all.size(), 54u);
    for (u32 i = 0; i < all.size(); ++i) {
        const f32* corner = corners[i % 6];
        const u32 copy = i / 6;
        const f64 t = copy * 0.5 / 9;
        EXPECT_NEAR(all[i].x, corner[0] + t * (corner[0] - 100), 1e-3) << i;
        EXPECT_NEAR(all[i].y, corner[1] + t * (corner[1] + 50), 1e-3) << i;
        EXPECT_EQ(all[i].u, corner[0] > 0 ? 1.0f : 0.0f);
        EXPECT_EQ(all[i].v, corner[1] > 0 ? 0.75f : 0.0f);  // 192 rows of 256: the screen's 4 to 3
        EXPECT_EQ(all[i].diffuse, i < 6 ? 0xffffffffu : 0x1cffffffu) << i;  // 255 / 9 = 28
    }
}

TEST_F(CapturedEffects, BlurWipesTheTargetThatItPaintsOver) {
    const EffectPointer blur = show::Make("fx_blur_radial", {{"choice steps", 2}}, pool);
    blur->Init();
    engine.context().SetClearColor({1, 0.5f, 0, 1});
    RenderTarget* screen = engine.context().GetRenderTarget();
    recorded.Clear();
    blur->EndRender();
    EXPECT_TRUE(recorded.Calls().empty());
    blur->BeginRender();
    EXPECT_EQ(engine.context().GetRenderTarget()->viewport.Width, 256u);
    EXPECT_EQ(engine.context().GetRenderTarget()->viewport.Height, 192u);
    recorded.Clear();
    blur->EndRender();
    EXPECT_EQ(engine.context().GetRenderTarget(), screen);
    EXPECT_EQ(recorded.Calls().back().name, "Clear");
    EXPECT_EQ(recorded.Count("Clear", {0, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0}), 1u);
    EXPECT_EQ(engine.context().clearColor.g, 0.5f);
}

TEST_F(CapturedEffects, AnyNumberOfCopiesIsSafe) {
    for (const f64 steps : {2147483647.0, 1025.0, 1024.0, 0.0, -1.0, -2147483648.0}) {
        const EffectPointer blur = show::Make("fx_blur_radial", {{"choice steps", steps}}, pool);
        blur->Init();
        Drawn(*blur, {});
        const u32 expected = steps > 0 ? fx_blur_radial::kMaxSteps : 0;
        EXPECT_EQ(recorded.Count("DrawPrimitiveUP", {D3DPT_TRIANGLELIST, 2 * expected}), 1u) << steps;
        // Changed while playing.
        blur->Shutdown();
        blur->Init();
        static_cast<fake_host::Controller&>(*blur->GetController(0)).integer = 5;
        blur->ApplyAll();
        Drawn(*blur, {});
        EXPECT_EQ(VerticesOf(recorded.Named("DrawPrimitiveUP").at(1)).size(), 30u);
    }
}

/// Every operation, whatever came before.
void WorkWith(Effect& effect) {
    effect.ClearTarget();
    effect.Draw();
    effect.EndRender();
    effect.BeginRender();
    if (effect.IsTransition()) static_cast<TransitionEffect&>(effect).BeginInput(1);
    effect.Update(0, 0);
    effect.Draw();
    if (auto* blur = dynamic_cast<fx_blur_radial*>(&effect)) blur->DrawMarker();
    effect.EndRender();
    effect.EndRender();
    effect.Shutdown();
}

TEST(CapturedEffectsWithoutADevice, DoNothing) {
    RenderTargetPool pool;
    std::vector<EffectPointer> effects;
    for (const auto& [type, parameters] : show::kParameters) {
        effects.push_back(show::Make(type, {{"float progress", 0.5}, {"choice steps", 2}}, pool));
        effects.push_back(EffectPointer(CreateEffectByName(type, pool)));
    }
    // Without a Context; then with one, uninitialised and not; then with one that has gone.
    for (const EffectPointer& effect : effects) WorkWith(*effect);
    for (const EffectPointer& effect : effects) {
        effect->Init();
        WorkWith(*effect);
    }
    {
        support::EngineDevice engine;
        for (const EffectPointer& effect : effects) {
            engine.recorded().Clear();
            WorkWith(*effect);
            EXPECT_EQ(engine.recorded().Named("BeginScene").size(), 0u);
            effect->Init();
            effect->BeginRender();
        }
        EXPECT_TRUE(engine.recorded().faults.empty());
    }
    for (const EffectPointer& effect : effects) WorkWith(*effect);
    support::EngineDevice engine;
    for (const EffectPointer& effect : effects) {
        effect->Init();
        WorkWith(*effect);
    }
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST_F(CapturedEffects, WithoutATargetTheContentGoesStraightToThePicture) {
    engine.recorded().adapter.refuse_resources = true;
    RenderTarget* screen = engine.context().GetRenderTarget();
    for (const auto& [type, parameters] : show::kParameters) {
        const EffectPointer effect = show::Make(type, {{"float progress", 0.5}}, pool);
        effect->Init();
        recorded.Clear();
        effect->BeginRender();
        if (effect->IsTransition()) static_cast<TransitionEffect&>(*effect).BeginInput(1);
        EXPECT_EQ(engine.context().GetRenderTarget(), screen) << type;
        effect->EndRender();
        EXPECT_TRUE(recorded.Calls().empty()) << type;
        effect->Draw();
        EXPECT_EQ(recorded.Named("DrawPrimitiveUP").size(), type == "fx_trans_white" ? 1u : 0u) << type;
    }
}

TEST_F(CapturedEffects, AnOpenCaptureEndsWithItsEffect) {
    RenderTarget* screen = engine.context().GetRenderTarget();
    const EffectPointer grey = show::Make("fx_render_bw", {}, pool);
    grey->Init();
    grey->BeginRender();
    grey->BeginRender();
    grey->EndRender();
    EXPECT_EQ(engine.context().GetRenderTarget(), screen);
    grey->BeginRender();
    grey->Shutdown();
    EXPECT_EQ(engine.context().GetRenderTarget(), screen);
}

}  // namespace
