// What effects that draw quads or capture a picture have in common.
#pragma once

#include <array>

#include "effects/effect.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"
#include "render/render_target.h"
#include "render/state_block.h"

namespace osm3d {

class Context;

/// Whether an effect's Context is there to draw with: taken by Init, and not ended since by the host.
bool IsCurrent(const Context* context);

/// Unculled, untested by depth, unlit; blending on or off.
void SetQuadStates(RenderStateBlock& block, bool blend);

/// Makes `fvf` the vertex format of the immediate draws that follow, without a vertex shader unless an effect
/// material owns it.
void UseEffectVertices(Context& context, u32 fvf);

/// The whole design space as a strip: top left, top right, bottom left, bottom right, with texture
/// coordinates from (0, 0) to (`u`, `v`).
std::array<EffectVertex, 4> PictureStrip(f32 u, f32 v, u32 diffuse);

/// The four vertices from `strip` on, with the states as they stand. Within a scene.
void DrawStrip(Context& context, const EffectVertex* strip);

/// A picture that an effect has drawn for it: a pool target from Take to GiveBack, and the target that was
/// current when the capture began. Without a Context, or on a device that refuses the target, there is none:
/// then Begin and End change nothing and what was to be captured goes to the current target.
class CapturedPicture {
  public:
    enum Kind : u32 { kScreen = 0, kSmall = 1 };

    /// `pool` must outlive this.
    CapturedPicture(RenderTargetPool& pool, Kind kind) : pool_(&pool), kind_(kind) {}
    CapturedPicture(const CapturedPicture&) = delete;
    CapturedPicture& operator=(const CapturedPicture&) = delete;
    ~CapturedPicture() { GiveBack(); }

    /// Lets the pool make a screen target ahead of time, whatever this picture's kind.
    void WarmUp();

    /// Gives a target that is held back first.
    void Take();
    /// Ends a capture that is still open.
    void GiveBack();

    /// Everything is drawn into the picture from here on. Ignored while a capture is open.
    void Begin();
    /// Back to the target of Begin. False when no capture is open.
    bool End();

    /// Null when there is no picture.
    IDirect3DTexture9* Texture() const;
    /// The texture coordinates of the picture's lower right corner; 0 without a picture.
    f32 Right() const;
    f32 Bottom() const;

  private:
    RenderTargetPool* pool_;
    Kind kind_;
    RenderTarget* target_ = nullptr;
    RenderTarget* savedTarget_ = nullptr;
    Context* context_ = nullptr;  // that of the open capture
};

}  // namespace osm3d
