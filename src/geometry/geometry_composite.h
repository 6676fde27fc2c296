// A shape of several parts.
#pragma once

#include <string>
#include <vector>

#include "geometry/geometry.h"

namespace osm3d {

class GeometrySimple;

/// Several geometries, so that each can carry another material. Stored as chunk GOCP.
class GeometryComposite : public Geometry {
  public:
    /// Composites within composites go this deep at most.
    static constexpr u32 kMaxDepth = 16;

    GeometryComposite() = default;

    /// Takes ownership of `parts`.
    explicit GeometryComposite(std::vector<Geometry*> parts);
    ~GeometryComposite() override;

    GeometryComposite(const GeometryComposite&) = delete;
    GeometryComposite& operator=(const GeometryComposite&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    bool IsComposite() const override { return true; }
    void Draw() override;

    /// The merged spheres of the parts in order; radius -FLT_MAX without parts.
    sphere GetBoundingSphere() override;
    box GetBounds() override;

    /// All zero.
    plane GetPlane() override;
    void Prepare() override;
    void Initialize() override;

    /// Refuses a null part, a part that occurs twice, and nesting beyond kMaxDepth.
    bool Validate(std::string& reason) const override;

    /// Positions and triangles of all parts in one new geometry, which the caller owns. Every part must be a
    /// GeometrySimple; others are left out. Indices are 16-bit, and wrap past 65,536 vertices.
    GeometrySimple* Flatten() const;

    /// Part number `index`, which must be below PartCount().
    Geometry* Part(u32 index) const { return parts[index]; }
    u32 PartCount() const { return static_cast<u32>(parts.size()); }

  private:
    void DeleteOwned();

    std::vector<Geometry*> parts;
    /// False when the parts came out of a file, whose object graph owns them.
    bool ownsParts = false;
};

}  // namespace osm3d
