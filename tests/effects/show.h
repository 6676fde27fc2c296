// Effects of a test's own, and a host's walk over effects that stand in one another.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "effects/effect.h"
#include "effects/fake_host.h"
#include "render/context.h"

namespace show {

using namespace osm3d;

struct Deleter {
    void operator()(Effect* effect) const { effect->Release(); }
};
using EffectPointer = std::unique_ptr<Effect, Deleter>;

/// A source that paints by clearing rectangles: exact colours on exact pixels of whatever target is current.
class Painted : public EffectBase {
  public:
    explicit Painted(std::function<void(Painted&)> painting) : painting_(std::move(painting)) {}
    void Init() override {}
    void Shutdown() override {}
    void ClearTarget() override { Fill(0, 0, 0xffff, 0xffff, 0xff000000); }
    void Draw() override { painting_(*this); }

    /// `argb` from pixel (x0, y0) up to but not including (x1, y1).
    static void Fill(i32 x0, i32 y0, i32 x1, i32 y1, u32 argb) {
        const D3DRECT rect{x0, y0, x1, y1};
        GetContext()->device->Clear(1, &rect, D3DCLEAR_TARGET, argb, 1, 0);
    }

  private:
    std::function<void(Painted&)> painting_;
};

/// One colour; leaves states behind that no effect may draw with.
inline EffectPointer Flat(u32 argb) {
    return EffectPointer(new Painted([argb](Painted&) {
        Painted::Fill(0, 0, 0xffff, 0xffff, argb);
        TextureStageStateBlock stage;
        stage.colorOp = stage.alphaOp = 2;
        stage.colorArg2 = stage.alphaArg2 = 3;
        stage.addressU = stage.addressV = 2;
        stage.transformCount = 2;
        GetContext()->ApplyStage(0, stage);
        RenderStateBlock block(RenderStateBlock::kComplete);
        block.cullMode = 1;
        block.alphaTestEnable = block.stencilEnable = block.blendEnable = true;
        block.alphaFunc = block.stencilFunc = 0;
        block.colorWriteMask = 1;
        GetContext()->ApplyRenderState(block);
    }));
}

/// The library's parameters: what the module expects of each type.
inline const std::map<std::string, std::vector<std::string>> kParameters{
    {"fx_blur_radial",
     {"choice steps", "float x", "float y", "float scale", "float alpha", "choice destination",
      "choice source"}},
    {"fx_trans_white", {"float progress"}},
    {"fx_trans_blend", {"float progress"}},
    {"fx_trans_direct", {"float progress"}},
    {"fx_render_bw", {"float brightness"}},
    {"fx_render_rgb", {"float shift"}},
};

inline EffectPointer Make(const std::string& type, const std::map<std::string, f64>& values,
                          RenderTargetPool& pool) {
    fake_host::Factory factory;
    factory.values = values;
    auto definition = fake_host::Definition(type, kParameters.at(type));
    EffectPointer effect(CreateEffectByDefinition(definition, "clip", &factory, pool));
    // The factory goes; its count of controllers with it.
    for (u32 i = 0; i < effect->GetControllerCount(); ++i)
        static_cast<fake_host::Controller&>(*effect->GetController(i)).alive = nullptr;
    effect->SetStart(0);
    effect->SetLength(1);
    return effect;
}

/// An effect with what stands in it: the content of a filter, or the two inputs of a transition.
struct Clip {
    Effect* effect;
    std::vector<Clip> inner;
};

/// One frame, in the order that effects rely on. `opens`: this is what the target shows first.
inline void Play(const Clip& clip, bool opens = true) {
    Effect& effect = *clip.effect;
    effect.Update(0, 0);
    if (effect.IsTransition()) {
        auto& transition = static_cast<TransitionEffect&>(effect);
        const bool both = transition.IsInputNeeded(1) && transition.IsInputNeeded(2);
        for (i32 input = 1; input <= 2; ++input) {
            if (!transition.IsInputNeeded(input)) continue;
            transition.BeginInput(input);
            // Where both are needed the first is captured, and opens a picture of its own.
            Play(clip.inner.at(static_cast<std::size_t>(input) - 1), opens || (both && input == 1));
            transition.EndRender();
        }
        // A cross-fade at an end has nothing to lay over its one input.
        if (both || effect.GetDefinition().name != "fx_trans_blend") effect.Draw();
        return;
    }
    if (!clip.inner.empty()) {
        effect.BeginRender();
        bool first = true;
        for (const Clip& content : clip.inner) {
            Play(content, first);
            first = false;
        }
        effect.EndRender();
    }
    if (opens) effect.ClearTarget();
    effect.Draw();
}

}  // namespace show
