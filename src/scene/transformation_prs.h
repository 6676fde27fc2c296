// A placement that stays.
#pragma once

#include "scene/transformation.h"
#include "scene/value_operations.h"

namespace osm3d {

/// Position, rotation and scale, with the matrix made when it is first asked for. Stored as chunk TRPR.
class TransformationPRS : public Transformation {
  public:
    TransformationPRS() = default;
    TransformationPRS(const vect3& p, const quat& r, const vect3& s) : position(p), rotation(r), scale(s) {}

    /// Accepts version 1.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    const vect3& GetPosition() override { return position; }
    const quat& GetRotation() override { return rotation; }
    const vect3& GetScale() override { return scale; }
    const matrix& GetWorldMatrix() override;

  private:
    vect3 position{0, 0, 0};
    quat rotation = kQuatIdentity;
    vect3 scale{1, 1, 1};
    bool matrixValid = false;
    matrix cachedMatrix;
};

}  // namespace osm3d
