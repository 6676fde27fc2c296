// One drawable thing of a scene.
#pragma once

#include <string>

#include "geometry/shadow_light.h"
#include "io/serializable.h"
#include "platform/types.h"
#include "scene/animatable.h"
#include "scene/oriented_box.h"
#include "scene/transformation.h"

namespace osm3d {

class DrawQueue;
class Geometry;
class Material;

/// What scenes and renderers see of a mesh: a shape, an appearance and a place. Order of calls: Prepare,
/// Initialize, then per frame Update and one of Enqueue (drawn later, sorted) or Draw (drawn at once).
class Mesh : public Animatable, public osmio::Serializable, public Transformable {
  public:
    ~Mesh() override = default;

    virtual void SetGeometry(Geometry* geometry) = 0;
    virtual Geometry* GetGeometry() const = 0;

    /// The material is not owned; null draws with the default material.
    virtual void SetMaterial(Material* material) = 0;
    virtual Material* GetMaterial() const = 0;

    virtual void SetCastShadow(bool castShadow) = 0;
    virtual bool GetCastShadow() const = 0;

    /// Makes the silhouette towards `light`, in world space. `mode` 0 is a point light, any other
    /// directional.
    virtual void UpdateShadow(const ShadowLight& light, u32 mode) = 0;
    virtual void DrawShadow() = 0;

    virtual void Prepare() = 0;
    virtual void Initialize() = 0;

    /// Puts one record per drawable piece into `queue`.
    virtual void Enqueue(DrawQueue* queue) = 0;
    virtual void Draw() = 0;

    /// A hidden mesh is neither enqueued nor drawn. Stored.
    virtual void SetHidden(bool hidden) = 0;
    virtual bool IsHidden() const = 0;

    /// Like hidden, for the time of one renderer's pass. Not stored.
    virtual void SetExcluded(bool excluded) = 0;

    /// The box around the mesh as of the last Update; owned by the mesh.
    virtual const OrientedBox* GetBounds() const = 0;

    /// Whether Initialize, Update, Enqueue and Draw can run; otherwise `reason` says why not. Asks the
    /// geometry and the modifiers too, and the material only for how its parts and the geometry's fit.
    virtual bool Validate(std::string& reason) const = 0;
};

}  // namespace osm3d
