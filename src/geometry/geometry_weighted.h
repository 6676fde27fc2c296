// A shape whose vertices follow bones.
#pragma once

#include <string>
#include <vector>

#include "geometry/geometry_simple.h"

namespace osm3d {

/// Which bones move a vertex, and how much.
struct VertexWeights {
    /// Positions in the list of bones of the ModifierSkin.
    u8 bones[4];
    /// Of the first three bones; the fourth takes 1 minus their sum. Nothing holds them within 0 and 1.
    f32 blend[3];

    friend constexpr bool operator==(const VertexWeights&, const VertexWeights&) = default;
};

static_assert(sizeof(VertexWeights) == 16);

/// The rest pose of a skin: the input of a ModifierSkin, which deforms it into a geometry of its own. Stored
/// as chunk GOWT.
///
/// To build one: fill the arrays of GeometrySimple, and `weights` with one entry per vertex. The first bone
/// of a vertex is the one that its normal follows, so the heaviest belongs there.
///
/// It can be drawn undeformed, and then sends its weights along: FVF 0x111c, that is position, three weights,
/// four bone indices, normal, and the first UV set, 48 bytes. Other sets, colours and tangents stay behind,
/// and `dynamicVertices` and `dynamicIndices` have no effect.
class GeometryWeighted : public GeometrySimple {
  public:
    GeometryWeighted() : GeometrySimple(false, false) {}

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Draw() override;

    /// Vertices without an entry in `weights` get zeros.
    void Initialize() override;
    bool Validate(std::string& reason) const override;

    /// The parts are GeometryWeighted too.
    GeometryComposite* SplitByAttribute(const std::vector<u32>& faceAttributes, u32 partCount) override;

    /// One per vertex where a skin is to deform it.
    std::vector<VertexWeights> weights;

  private:
    void UploadVertices();
    void UploadIndices();

    /// What the device buffers were made for.
    u32 drawnVertices = 0;
    u32 drawnTriangles = 0;
    bool indicesUploaded = false;
};

}  // namespace osm3d
