// What brings the transforms of a draw to an effect.
#pragma once

#include "geometry/modifier.h"

namespace osm3d {

class MaterialFX;

/// Deforms nothing: before each draw it hands the Context's transforms to the effect of its material. Never
/// stored.
class MaterialFXModifier : public Modifier {
  public:
    /// `fx` is not owned, must not be null, and must stay as long as draws are made through this.
    explicit MaterialFXModifier(MaterialFX* fx) : material(fx) {}

    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}

    void Update(f32) override {}
    bool IsDeforming() const override { return false; }
    bool NeedsDrawSetup() const override { return true; }
    bool AcceptsGeometry(Geometry*) const override { return true; }
    /// Gives `input` itself.
    Geometry* CreateResult(Geometry* input) override { return input; }
    void Apply(Geometry*, Geometry*) override {}
    void SetupDraw() override;

  private:
    MaterialFX* material;
};

}  // namespace osm3d
