// A shape.
#pragma once

#include <string>

#include "io/serializable.h"
#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d {

/// A shape that draws itself with indexed triangles and reports its extent.
class Geometry : public osmio::Serializable {
  public:
    /// True only for GeometryComposite.
    virtual bool IsComposite() const { return false; }

    /// Draws with the device state as it stands; the material has been applied already. Needs Initialize.
    virtual void Draw() = 0;
    virtual sphere GetBoundingSphere() = 0;
    virtual box GetBounds() = 0;

    /// The plane of the first vertex and its normal; all zero when there is none.
    virtual plane GetPlane() = 0;
    virtual void Prepare() = 0;

    /// Makes the device buffers out of the arrays, in place of earlier ones. Needs a Context.
    virtual void Initialize() = 0;
    ~Geometry() override = default;

    /// Whether Initialize, Draw and the rest stay within the arrays; otherwise `reason` says why not. Ends
    /// for composites that refer to each other in a circle.
    virtual bool Validate(std::string& reason) const = 0;
};

}  // namespace osm3d
