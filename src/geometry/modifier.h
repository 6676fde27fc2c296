// What deforms a mesh, or sets up its draws.
#pragma once

#include <string>

#include "geometry/geometry.h"
#include "io/serializable.h"
#include "scene/animatable.h"

namespace osm3d {

/// One link of a mesh's ModifierStack.
class Modifier : public Animatable, public osmio::Serializable {
  public:
    ~Modifier() override = default;

    /// True: this modifier has a result geometry and wants Apply on each update.
    virtual bool IsDeforming() const = 0;

    /// True: SetupDraw runs before each draw.
    virtual bool NeedsDrawSetup() const = 0;

    /// Whether this modifier can work on `geometry`.
    virtual bool AcceptsGeometry(Geometry* geometry) const = 0;

    /// Makes the result geometry for `input`, for the caller to own, or gives `input` itself.
    virtual Geometry* CreateResult(Geometry* input) = 0;

    /// Writes the deformed shape of `input` into `result`, which CreateResult made.
    virtual void Apply(Geometry* result, Geometry* input) = 0;

    /// Sets device state for the draw to come.
    virtual void SetupDraw() = 0;

    /// Whether CreateResult and the rest can run with `input`, a valid geometry; otherwise `reason` says why
    /// not.
    virtual bool Validate(const Geometry* /*input*/, std::string& /*reason*/) const { return true; }
};

}  // namespace osm3d
