// The transitions: a hard cut, a cut behind a white flash, a cross-fade. Parameter 0 of each is the progress.
#pragma once

#include <array>

#include "effects/effect.h"
#include "effects/effect_drawing.h"
#include "render/state_block.h"

namespace osm3d {

class Context;

/// A transition that cuts half way: only the main input is needed, and it is drawn as if it stood alone.
class TransitionEffectBase : public EffectForwarder<TransitionEffect> {
  public:
    TransitionEffectBase() = default;
    TransitionEffectBase(const EffectDefinition& effect, const std::string& clipName,
                         HostControllerFactory* factory)
        : EffectForwarder<TransitionEffect>(effect, clipName, factory) {}

    bool IsTransition() override { return true; }
    bool IsInputNeeded(i32 input) override { return input == GetMainInput(); }
    void BeginInput(i32) override {}
    i32 GetMainInput() override { return progress < 0.5f ? 1 : 2; }
    void OnFloatChanged(u32 index, f32 value) override {
        if (index == 0) {
            progress = value;
        }
    }

  protected:
    f32 progress = 0;
};

// The host knows these classes by their type names.
// NOLINTBEGIN(readability-identifier-naming)
class fx_trans_direct : public TransitionEffectBase {
  public:
    fx_trans_direct() = default;
    fx_trans_direct(const EffectDefinition& effect, const std::string& clipName,
                    HostControllerFactory* factory);

    void Init() override {}
    void Shutdown() override {}
    void Draw() override {}
};

/// Adds white to the picture, most at half way, nothing at both ends.
class fx_trans_white : public TransitionEffectBase {
  public:
    fx_trans_white() = default;
    fx_trans_white(const EffectDefinition& effect, const std::string& clipName,
                   HostControllerFactory* factory);

    void Update(u32 word, f32 time) override;
    void Init() override;
    void Shutdown() override;
    void Draw() override;

  private:
    struct FlashVertex {
        f32 x, y, z, rhw;
        u32 diffuse;
    };
    static_assert(sizeof(FlashVertex) == 20);

    Context* context = nullptr;
    std::array<FlashVertex, 4> vertices{};
    RenderStateBlock renderBlock{RenderStateBlock::kComplete};
};

/// Captures input 1 and lays it over input 2 with what is left of the progress. At progress 0 input 1 goes
/// straight to the picture and nothing is captured: a host does without Draw there, which would lay the
/// picture captured last over it.
class fx_trans_blend : public TransitionEffectBase {
  public:
    explicit fx_trans_blend(RenderTargetPool& pool) : picture(pool, CapturedPicture::kScreen) {}
    fx_trans_blend(const EffectDefinition& effect, const std::string& clipName,
                   HostControllerFactory* factory, RenderTargetPool& pool);

    bool IsInputNeeded(i32 input) override;
    void BeginInput(i32 input) override;
    void EndRender() override;
    void Update(u32 word, f32 time) override;
    void Init() override;
    void Shutdown() override;
    void Draw() override;

  private:
    Context* context = nullptr;
    std::array<EffectVertex, 4> vertices{};
    RenderStateBlock renderBlock{RenderStateBlock::kComplete};
    TextureStageStateBlock stageBlock;
    CapturedPicture picture;
};
// NOLINTEND(readability-identifier-naming)

}  // namespace osm3d
