// The filters that recompose a captured picture: in grey, and with its colour channels pulled apart.
#pragma once

#include <array>

#include "effects/effect.h"
#include "effects/effect_drawing.h"
#include "render/state_block.h"

namespace osm3d {

class Context;

/// Captures what is drawn between BeginRender and EndRender into a screen target.
class CapturingEffect : public EffectBase {
  public:
    explicit CapturingEffect(RenderTargetPool& pool) : picture(pool, CapturedPicture::kScreen) {}
    CapturingEffect(const EffectDefinition& effect, const std::string& clipName,
                    HostControllerFactory* factory, RenderTargetPool& pool)
        : EffectBase(effect, clipName, factory), picture(pool, CapturedPicture::kScreen) {}

    void BeginRender() override { picture.Begin(); }
    void EndRender() override { picture.End(); }
    void Init() override;
    void Shutdown() override;

  protected:
    Context* context = nullptr;
    CapturedPicture picture;
    RenderStateBlock renderBlock{RenderStateBlock::kComplete};
};

// The host knows these classes by their type names.
// NOLINTBEGIN(readability-identifier-naming)

/// Grey: the sum of the channels times parameter 0. A third is the plain mean, which is also what an effect
/// without parameters shows.
class fx_render_bw : public CapturingEffect {
  public:
    explicit fx_render_bw(RenderTargetPool& pool) : CapturingEffect(pool) {}
    fx_render_bw(const EffectDefinition& effect, const std::string& clipName, HostControllerFactory* factory,
                 RenderTargetPool& pool);

    void OnFloatChanged(u32 index, f32 value) override;
    void Update(u32 word, f32 time) override;
    void Init() override;
    void Draw() override;

  private:
    static constexpr f32 kMean = 2.0f / 3.0f;

    /// The weight of each channel, 0 to 1 for -1 to 1, as a dot product takes it.
    color grey{kMean, kMean, kMean, 1.0f};
    std::array<EffectVertex, 4> vertices{};
    TextureStageStateBlock stage0;
    TextureStageStateBlock stage1;
};

/// Red stays in place, green begins at parameter 0 and blue at twice that, in texture widths; all three end
/// at the right edge.
class fx_render_rgb : public CapturingEffect {
  public:
    explicit fx_render_rgb(RenderTargetPool& pool) : CapturingEffect(pool) {}
    fx_render_rgb(const EffectDefinition& effect, const std::string& clipName, HostControllerFactory* factory,
                  RenderTargetPool& pool);

    void OnFloatChanged(u32 index, f32 value) override;
    void Update(u32 word, f32 time) override;
    void Init() override;
    void Draw() override;

  private:
    void Place();

    f32 shift = 0;
    /// One strip for red, green, blue each.
    std::array<std::array<EffectVertex, 4>, 3> vertices{};
    TextureStageStateBlock stageBlock;
};
// NOLINTEND(readability-identifier-naming)

}  // namespace osm3d
