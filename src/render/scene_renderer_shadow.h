// Stencil shadows of the scene's shadow light.
#pragma once

#include <string>

#include "render/state_block.h"
#include "scene/scene_renderer.h"

namespace osm3d {

class Light;
class Mesh;

/// Draws the scene lit, counts the shadow volumes of the shadow light's casters into stencil, and darkens
/// every pixel with a count, once. The camera must stand outside of the volumes, and stencil must be 0 when
/// Render begins, which the scene's background clear sees to. Ends the chain of renderers. Stored as chunk
/// SRSW, without a body.
class SceneRendererShadow : public SceneRenderer {
  public:
    SceneRendererShadow();
    SceneRendererShadow(const SceneRendererShadow&) = delete;
    SceneRendererShadow& operator=(const SceneRendererShadow&) = delete;

    /// Version 1 alone.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    void Update(f32) override {}

    /// Asks the device for two-sided stencil.
    void Initialize() override;

    /// Without a camera, a shadow light or casters the plain scene. Otherwise leaves stencil off and the rest
    /// of the render states as the darkening needs them: unlit, unculled, untested, blended.
    void Render(SceneHierarchy* scene, Camera* camera) override;

    /// Refuses a shadow caster that is missing or not among the scene's meshes.
    bool Validate(const SceneHierarchy& scene, std::string& reason) const override;

    bool IsTwoSided() const { return twoSided; }

  private:
    void UpdateVolumes(Light& light, Camera& camera);
    void CountVolumes(Light& light);
    void Darken();

    RenderStateBlock volumeBlock;
    RenderStateBlock darkenBlock;
    bool twoSided = false;
};

}  // namespace osm3d
