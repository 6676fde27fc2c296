// Bends a shape with bones.
#pragma once

#include <string>
#include <vector>

#include "geometry/modifier.h"
#include "scene/value_operations.h"

namespace osm3d {

class HierarchyNode;

/// Deforms a GeometryWeighted, or a GeometryComposite of such, by the world matrices of scene nodes. Stored
/// as chunk MDSK.
///
/// To build one: give `bones`, as many `offsets`, and `meshMatrix`; then MeshSimple::AddModifier. A vertex p,
/// in the mesh's space, goes to
///
///     the sum over its four bones b of  weight * (p * offsets[b] * world(bones[b]) * inverse(meshMatrix))
///
/// and its normal follows its first bone alone. With `meshMatrix` the mesh's world matrix at bind time, and
/// each offset meshMatrix * inverse(world matrix of the bone at bind time), nothing moves at bind time.
class ModifierSkin : public Modifier {
  public:
    /// Bones that the weights of a vertex can name; later ones are kept and stored, and move nothing.
    static constexpr u32 kMaxPalette = 256;

    /// `deformHere` false leaves the vertices as they are and hands the matrices to the device before each
    /// draw instead. Skins out of files deform here.
    explicit ModifierSkin(bool deformHere = true) : software(deformHere) {}

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Does nothing: the bones are moved by the scene.
    void Update(f32 time) override;
    bool IsDeforming() const override { return software; }
    bool NeedsDrawSetup() const override { return !software; }

    /// Anything but a composite, which CreateResult and Apply take all the same.
    bool AcceptsGeometry(Geometry* geometry) const override;

    /// A GeometrySimple of dynamic vertices with the arrays of `input`, or a GeometryComposite of such, for
    /// the caller to own; without deforming here, `input` itself.
    Geometry* CreateResult(Geometry* input) override;

    /// Writes positions and normals and uploads them. Leaves `result` as it is where `input` is not weighted;
    /// vertices without weights stay where they are, and a bone that is null stands at the origin.
    void Apply(Geometry* result, Geometry* input) override;
    void SetupDraw() override;
    bool Validate(const Geometry* input, std::string& reason) const override;

    /// Not owned.
    std::vector<HierarchyNode*> bones;
    /// One per bone: from mesh space at bind time into the bone's local space.
    std::vector<matrix> offsets;
    /// The mesh's matrix at bind time.
    matrix meshMatrix = kMatrixIdentity;

  private:
    struct Palettes;

    matrix BoneMatrix(std::size_t bone) const;
    void MakePalettes(Palettes& palettes) const;
    static void ApplyParts(const Palettes& palettes, Geometry* result, Geometry* input);

    bool software;
};

}  // namespace osm3d
