// Animated quantities.
#pragma once

#include <string>

#include "io/serializable.h"
#include "scene/value_types.h"

namespace osm3d {

/// One quantity that may change over time.
class Controller {
  public:
    Controller() = default;
    Controller(const Controller&) = default;
    Controller& operator=(const Controller&) = default;

    /// Whether the value cannot change with time.
    virtual bool IsConstant() = 0;

    /// Recomputes the value for `time`, which is in the unit of the keys. Allocates nothing.
    virtual void Update(f32 time) = 0;

    virtual ~Controller() = default;
};

namespace controller {

/// A quantity of type `T`: f32, vect3, quat, color or matrix.
template <class T>
class ControllerBase : public Controller, public osmio::Serializable {
  public:
    /// Read directly by every user. Zero until Read, for a constant, or the first Update.
    T value{};

    /// Multiplies the stored animation by `factor`, once and for good; `value` of an animated controller
    /// follows with the next Update.
    virtual void Scale(f32 factor) = 0;
};

}  // namespace controller

using controller::ControllerBase;

}  // namespace osm3d
