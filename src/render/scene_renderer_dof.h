// Depth of field.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "controller/controller.h"
#include "geometry/modifier_stack.h"
#include "io/slot.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"
#include "render/draw_queue.h"
#include "render/render_target.h"
#include "render/scene_renderer_multirender.h"

namespace osm3d {

class MaterialFX;

/// Draws the scene, by way of the rest of the chain, into a target of its own, writes how far each pixel is
/// out of focus into that target's alpha, and merges the sharp picture with blurred copies of it by that
/// alpha. The picture in between has 640 x 480 pixels whatever the display. Stored as chunk SRDF.
///
///     auto* focus = scene.Own(std::make_unique<SceneRendererDOF>());
///     focus->SetFocus(camera, nullptr, new controller::Const<f32>(12.0f));
///     scene.renderers.push_back(focus);
///
/// Only the cameras that have a focus are drawn so, and only on a device that can draw the effect; the others
/// are drawn plainly.
class SceneRendererDOF : public SceneRendererMultirender {
  public:
    using FloatController = controller::ControllerBase<f32>;

    SceneRendererDOF();
    ~SceneRendererDOF() override;
    SceneRendererDOF(const SceneRendererDOF&) = delete;
    SceneRendererDOF& operator=(const SceneRendererDOF&) = delete;

    /// Version 1 alone.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Runs the controllers of every focus.
    void Update(f32 time) override;

    /// Makes the targets and the effect. What the device refuses leaves IsReady false.
    void Initialize() override;

    /// Leaves the Context's clear colour at (1, 0, 1, 0), the viewport and target as they were, their depth
    /// cleared.
    void Render(SceneHierarchy* scene, Camera* camera) override;

    /// Refuses controllers that cannot run. A focus without a camera, or with one of another scene, is never
    /// drawn with.
    bool Validate(const SceneHierarchy& scene, std::string& reason) const override;

    bool IsReady() const { return ready; }

    /// Gives `camera` a focus, in the place of an earlier one, and takes the controllers over. `distance` is
    /// the clip-space depth (about the distance beyond the near plane) that is sharp, null for the camera's
    /// focal distance. `scale` multiplies how fast the blur grows away from it, 0.5 over the distance; null
    /// for 1.
    void SetFocus(Camera* camera, FloatController* scale, FloatController* distance);

    u32 FocusCount() const { return static_cast<u32>(focus.size()); }
    /// Of focus number `index`, below FocusCount(), in the order of the file or of SetFocus; may be null.
    Camera* GetFocusCamera(u32 index) const { return focus[index].camera; }
    FloatController* GetFocusScale(u32 index) const { return focus[index].scale.Get(); }
    FloatController* GetFocusDistance(u32 index) const { return focus[index].distance.Get(); }

  private:
    struct Focus {
        Camera* camera = nullptr;
        osmio::Slot<FloatController> scale;
        osmio::Slot<FloatController> distance;
    };
    struct Tap {
        f32 x, y, weight;
    };

    Focus& FocusOf(Camera* camera);
    bool MakeResources();
    void RenderScene(SceneHierarchy& scene, Camera& camera);
    void WriteBlurAmount(SceneHierarchy& scene, Camera& camera, const Focus& active);
    void Blur();
    void BlurPass(RenderTarget& to, const D3DVIEWPORT9& view, const RenderTarget& from, const Tap (&taps)[4],
                  const f32* uv);
    void Merge();

    /// In the order in which they came; `places` finds them.
    std::vector<Focus> focus;
    std::unordered_map<const Camera*, u32> places;

    bool ready = false;
    ComPtr<IDirect3DTexture9> lookup;
    std::unique_ptr<MaterialFX> effect;
    std::unique_ptr<ModifierStack> modifiers;
    std::unique_ptr<RenderTarget> mainTarget;
    std::unique_ptr<RenderTarget> smallTarget;
    D3DVIEWPORT9 fullView{};
    D3DVIEWPORT9 sceneView{};
    D3DVIEWPORT9 smallView{};
    D3DVIEWPORT9 blurView{};
    DrawQueue queue;
};

}  // namespace osm3d
