// The filter that smears a picture away from a point.
#pragma once

#include <vector>

#include "effects/effect.h"
#include "effects/effect_drawing.h"
#include "render/state_block.h"

namespace osm3d {

class Context;

// The host knows this class by its type name.
// NOLINTBEGIN(readability-identifier-naming)

/// Draws a small captured picture over the whole design space, then `steps` copies of it, each larger than
/// the one before about the centre and all with the same alpha. Parameters: 0 steps, 1 and 2 the centre
/// (thousands of pixels, anywhere), 3 growth (half of the last copy's, about; negative shrinks), 4 alpha of
/// all copies together, 5 and 6 blend choices of destination and source.
class fx_blur_radial : public EffectBase {
  public:
    /// More copies than this are not drawn: at full alpha a copy beyond the 510th has an alpha byte of 0, and
    /// a damaged project shall not take the machine's memory. A negative number counts as none.
    static constexpr u32 kMaxSteps = 1024;

    explicit fx_blur_radial(RenderTargetPool& pool) : picture(pool, CapturedPicture::kSmall) {}
    fx_blur_radial(const EffectDefinition& effect, const std::string& clipName,
                   HostControllerFactory* factory, RenderTargetPool& pool);

    void OnFloatChanged(u32 index, f32 value) override;
    void OnIntChanged(u32 index, i32 value) override;
    void BeginRender() override { picture.Begin(); }
    /// Leaves the target of BeginRender cleared to black without alpha: Draw paints all of it.
    void EndRender() override;
    void Init() override;
    void Shutdown() override;
    void Draw() override;

    /// A yellow cross at the centre, for a host's editing display.
    virtual void DrawMarker();

  private:
    /// Room for the base and every copy, so that no frame allocates.
    void ReserveVertices();
    void FillVertices();

    u32 steps = 0;
    f32 centerX = 0;
    f32 centerY = 0;
    f32 scale = 0;
    f32 alpha = 0;
    u32 destChoice = 0;
    u32 srcChoice = 1;
    Context* context = nullptr;
    CapturedPicture picture;
    RenderStateBlock renderBlock{RenderStateBlock::kComplete};
    RenderStateBlock baseRenderBlock{RenderStateBlock::kComplete};
    TextureStageStateBlock stageBlock;
    TextureStageStateBlock baseStageBlock;
    /// Two triangles for the base, then two for each copy.
    std::vector<EffectVertex> vertices;
};
// NOLINTEND(readability-identifier-naming)

}  // namespace osm3d
