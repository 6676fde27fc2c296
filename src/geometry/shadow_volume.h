// The silhouette of a mesh towards a light, drawn out away from it.
#pragma once

#include <memory>
#include <vector>

#include "geometry/geometry.h"
#include "geometry/geometry_simple.h"
#include "geometry/shadow_light.h"

namespace osm3d {

/// One edge of a mesh and the one or two triangles on it; kNoFace where there is none.
struct ShadowEdge {
    static constexpr u16 kNoFace = 0xffff;

    u16 vertexA;
    u16 vertexB;
    u16 face0;
    u16 face1;
};

/// The open-ended shadow volume of one mesh: Build once, Refresh when vertices have moved, Update per light
/// and frame, Draw into stencil. All in the mesh's local space. Does nothing for a composite that deforms.
class ShadowVolume {
  public:
    /// `geometry` is not owned and must outlive this object; an undeformed composite is merged into a copy.
    /// `deformed`: the vertices move. A null geometry makes a volume without edges.
    ShadowVolume(Geometry* geometry, bool deformed);
    ~ShadowVolume();

    ShadowVolume(const ShadowVolume&) = delete;
    ShadowVolume& operator=(const ShadowVolume&) = delete;

    /// Finds edges and face normals.
    void Build();

    /// Computes the face normals again.
    void Refresh();

    /// Finds the silhouette. `mode` 0 is a point light, any other directional.
    void Update(const ShadowLight& light, u32 mode);

    /// Draws two triangles per silhouette edge with the device state as it stands.
    void Draw();

    const std::vector<ShadowEdge>& Edges() const { return edges; }
    const std::vector<u32>& Silhouette() const { return silhouette; }
    const std::vector<u32>& Sides() const { return sides; }

  private:
    void BuildEdges();
    void ComputeNormals();

    /// Null for a composite: every operation then stops.
    GeometrySimple* source = nullptr;
    std::unique_ptr<GeometrySimple> merged;
    bool directional = false;
    vect3 lightOrigin;
    vect3 lightDirection;
    std::vector<ShadowEdge> edges;
    std::vector<vect3> normals;
    std::vector<vect3> centres;
    std::vector<bool> facing;
    std::vector<u32> silhouette;
    std::vector<u32> sides;
};

}  // namespace osm3d
