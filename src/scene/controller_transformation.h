// Placements that move. They are not Transformations: a HierarchyNode makes one out of them.
#pragma once

#include <string>

#include "controller/controller.h"
#include "io/slot.h"
#include "scene/animatable.h"

namespace osm3d {

/// A placement by three controllers, all of which must be there before it is asked for anything. Stored as
/// chunk CPRS.
class ControllerTransformation : public Animatable, public osmio::Serializable {
  public:
    void Update(f32 time) override { UpdateControllers(time); }

    /// Scale, then rotation, then translation. The reference is good until the next call on any object.
    virtual const matrix& GetMatrix();
    virtual const vect3& GetPosition();
    virtual const vect3& GetScale();

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Whether Update, GetMatrix, GetPosition and GetScale may be called; otherwise `reason` says why not.
    virtual bool Validate(std::string& reason) const;

    /// Each takes ownership of `c`.
    void SetPosition(ControllerBase<vect3>* c) { ReplaceController(position, c); }
    void SetRotation(ControllerBase<quat>* c) { ReplaceController(rotation, c); }
    void SetScale(ControllerBase<vect3>* c) { ReplaceController(scale, c); }

    osmio::Slot<ControllerBase<vect3>> position;
    osmio::Slot<ControllerBase<quat>> rotation;
    osmio::Slot<ControllerBase<vect3>> scale;
};

/// A placement by one controller of the whole matrix, which must be there before it is asked for anything;
/// the three of the base stay empty. Stored as chunk CMTX.
class ControllerTransformationMatrix : public ControllerTransformation {
  public:
    const matrix& GetMatrix() override { return matrixController->value; }
    /// The matrix's translation. The reference is good until the next call on any object.
    const vect3& GetPosition() override;
    /// (1, 1, 1), whatever the matrix holds.
    const vect3& GetScale() override;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    bool Validate(std::string& reason) const override;

    /// Takes ownership of `c`.
    void SetMatrix(ControllerBase<matrix>* c) { ReplaceController(matrixController, c); }

    osmio::Slot<ControllerBase<matrix>> matrixController;
};

}  // namespace osm3d
