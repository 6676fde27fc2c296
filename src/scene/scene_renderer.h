// Strategies that wrap how a scene is drawn.
#pragma once

#include <string>

#include "io/serializable.h"
#include "scene/animatable.h"

namespace osm3d {

class Camera;
class Context;
class SceneHierarchy;

/// One link of a scene's chain of renderers. It applies the camera, and gets to the picture either by
/// SceneHierarchy::Render, which runs the next link, or by RenderContents, which ends the chain.
class SceneRenderer : public osmio::Serializable, public Animatable {
  public:
    /// Once, after the scene's textures, materials and meshes are loaded.
    virtual void Initialize() {}
    /// Inside the device's scene.
    virtual void Render(SceneHierarchy* scene, Camera* camera) = 0;
    /// Whether Render can run in `scene`; otherwise `reason` says why not.
    virtual bool Validate(const SceneHierarchy& /*scene*/, std::string& /*reason*/) const { return true; }
    ~SceneRenderer() override = default;

  protected:
    Context* context = nullptr;
};

}  // namespace osm3d
