// Where things are.
#pragma once

#include "io/serializable.h"
#include "scene/value_types.h"

namespace osm3d {

/// A placement.
class Transformation : public osmio::Serializable {
  public:
    /// The local position, rotation and scale.
    virtual const vect3& GetPosition() = 0;
    virtual const quat& GetRotation() = 0;
    virtual const vect3& GetScale() = 0;

    /// The world matrix where a tree stands behind the placement, its own matrix otherwise.
    virtual const matrix& GetWorldMatrix() = 0;
};

/// A thing that stands somewhere.
class Transformable {
  public:
    /// Not owned; may be null.
    Transformation* transformation = nullptr;
};

}  // namespace osm3d
