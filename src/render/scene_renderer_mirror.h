// Planar mirrors through the stencil buffer.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"
#include "scene/scene_renderer.h"
#include "scene/value_types.h"

namespace osm3d {

class Mesh;

/// Draws the scene without its mirrors; then, for each mirror, the scene reflected at the mirror's plane into
/// the mirror's visible pixels, and the mirror's own surface over that by source alpha. A mirror reflects on
/// the side that its first vertex normal points to; no reflection shows in a reflection. Ends the chain of
/// renderers. Stored as chunk SRMR.
class SceneRendererMirror : public SceneRenderer {
  public:
    SceneRendererMirror() = default;
    SceneRendererMirror(const SceneRendererMirror&) = delete;
    SceneRendererMirror& operator=(const SceneRendererMirror&) = delete;

    /// Version 1 alone.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    void Update(f32) override {}

    /// On a device that cannot stencil: a message, once per process, and the mirrors as ordinary meshes; the
    /// same without a camera, and without the message.
    /// Leaves default render states, the camera's view, and 1 in the stencil of the last mirror's pixels.
    void Render(SceneHierarchy* scene, Camera* camera) override;

    /// Refuses a missing mirror, and one that is not among the scene's meshes.
    bool Validate(const SceneHierarchy& scene, std::string& reason) const override;

    /// Not owned, in the order in which they are drawn. None may be null in Render.
    std::vector<Mesh*> mirrors;

    /// Whether the device has been asked for its stencil operations, and the answer: once per process.
    static bool stencilChecked;
    static bool stencilUsable;

  private:
    bool CanStencil();
    void Exclude(bool excluded);
    void Mark(Mesh& mirror, bool clearFirst);
    void ClearMarked(SceneHierarchy& scene);
    void DrawReflected(SceneHierarchy& scene, Mesh& mirror, const plane& surface, const matrix& reflectedView,
                       const matrix& projection);
    void DrawOverlay(Mesh& mirror);
};

}  // namespace osm3d
