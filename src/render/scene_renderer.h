// Strategies that wrap how a scene is drawn.
#pragma once

#include "io/serializable.h"
#include "platform/types.h"
#include "scene/animatable.h"

namespace osm3d {

class Camera;
class Context;
class Material;
class SceneHierarchy;

/// One link of a scene's chain of renderers. It applies the camera, and gets to the picture either by
/// SceneHierarchy::Render, which runs the next link, or by RenderContents, which ends the chain.
class SceneRenderer : public osmio::Serializable, public Animatable {
  public:
    /// Once, after the scene's textures, materials and meshes are loaded.
    virtual void Initialize() {}
    /// Inside the device's scene.
    virtual void Render(SceneHierarchy* scene, Camera* camera) = 0;
    ~SceneRenderer() override = default;

  protected:
    Context* context = nullptr;
};

/// Base of the renderers that compose several pictures.
class SceneRendererMultirender : public SceneRenderer {
  public:
    /// Draws a rectangle with `material`, once per pass, or with the default material for null. Each
    /// rectangle is four floats x0, y0, x1, y1: `position` in clip space (y1 the upper edge, which takes the
    /// texture's y1), `uv0` to `uv2` in texture coordinates; the last two may be null.
    virtual void DrawScreenQuad(Material* material, const f32* position, const f32* uv0, const f32* uv1,
                                const f32* uv2);
};

}  // namespace osm3d
