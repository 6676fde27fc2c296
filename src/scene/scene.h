// What the effects and renderers see of a scene.
#pragma once

#include "io/serializable.h"
#include "platform/types.h"
#include "scene/animatable.h"
#include "scene/value_types.h"

namespace osm3d {

class Mesh;

/// A half line in the world.
struct Ray {
    vect3 origin;
    /// Its length plays no part.
    vect3 direction;
};

/// A scene: loaded once with LoadResources, then per frame Update and Render.
class Scene : public Animatable, public osmio::Serializable {
  public:
    /// Runs in Update, when the tree's world matrices are there and nothing else is up to date yet.
    virtual void OnHierarchyUpdated() = 0;
    /// The last step of LoadResources.
    virtual void PrepareResources() = 0;
    /// Makes the device's resources. Once, after reading; needs a Context.
    virtual void LoadResources() = 0;
    ~Scene() override = default;
    /// Draws with the current camera, inside the device's scene.
    virtual void Render() = 0;
    /// Draws the box of each mesh.
    virtual void DrawBounds() = 0;
    /// The mesh whose box `ray` hits first, or null.
    virtual Mesh* Pick(const Ray& ray) = 0;
};

}  // namespace osm3d
