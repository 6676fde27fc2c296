// The silhouette of a mesh towards a light, drawn out away from it.
#pragma once

#include <memory>
#include <vector>

#include "geometry/geometry.h"
#include "geometry/geometry_simple.h"
#include "geometry/shadow_light.h"

namespace osm3d {

/// One edge of a mesh, in the direction in which its first triangle goes along it, and the one or two
/// triangles on it; kNoFace where there is none. A third triangle on an edge is not known.
struct ShadowEdge {
    static constexpr u16 kNoFace = 0xffff;

    u16 vertexA;
    u16 vertexB;
    u16 face0;
    u16 face1;
};

/// The open-ended shadow volume of one mesh: Build once, Refresh when vertices have moved, Update per light
/// and frame, Draw into stencil. All in the mesh's local space. Does nothing for a composite that deforms.
///
/// Triangle numbers are 16-bit. A mesh of more triangles than that is taken in runs of kRunTriangles, each as
/// if it were a mesh of its own: where two lit runs meet, each draws the edge between them, in opposite
/// directions, so that the counts in stencil come out as for the whole.
class ShadowVolume {
  public:
    static constexpr u32 kRunTriangles = ShadowEdge::kNoFace;

    /// `geometry` is not owned and must outlive this object; an undeformed composite is merged into a copy.
    /// `deformed`: the vertices move. A null geometry makes a volume without edges.
    ShadowVolume(Geometry* geometry, bool deformed);
    ~ShadowVolume();

    ShadowVolume(const ShadowVolume&) = delete;
    ShadowVolume& operator=(const ShadowVolume&) = delete;

    /// Finds edges and face normals, in time proportional to triangles and vertices.
    void Build();

    /// Computes the face normals again and empties the silhouette. The triangles must be those of Build.
    void Refresh();

    /// Finds the silhouette. `mode` 0 is a point light, any other directional.
    void Update(const ShadowLight& light, u32 mode);

    /// Draws two triangles per silhouette edge with the device state as it stands: from the edge away from
    /// the light's origin, as far as the light's direction is long.
    void Draw();

    /// In the order in which the triangles name them. Faces count from the first triangle of the run.
    const std::vector<ShadowEdge>& Edges() const { return edges; }
    /// Numbers of edges.
    const std::vector<u32>& Silhouette() const { return silhouette; }
    /// One per silhouette entry: 2 where the edge's first face looks away from the light, else 1.
    const std::vector<u32>& Sides() const { return sides; }

  private:
    struct Run {
        u32 firstTriangle;
        u32 firstEdge;
    };
    struct EdgeWork;
    /// Vectors by component, which the face test takes several at a time.
    struct Components {
        std::vector<f32> x, y, z;

        void Resize(std::size_t count);
        void Set(std::size_t index, const vect3& v);
    };

    void BuildEdges();
    void AppendEdges(u32 firstTriangle, u32 count, EdgeWork& work);
    void ComputeNormals();
    void FindFacing();
    void FindSilhouette();
    void DrawQuads(u32 first, u32 count);

    /// Null for a composite: every operation then stops.
    GeometrySimple* source = nullptr;
    std::unique_ptr<GeometrySimple> merged;
    bool directional = false;
    vect3 lightOrigin;
    vect3 lightDirection;
    std::vector<Run> runs;
    std::vector<ShadowEdge> edges;
    Components normals;
    Components centres;
    /// 1 for a face that looks away from the light. Behind the last one stands a 1 for faces that are none.
    std::vector<u8> facing;
    std::vector<u32> silhouette;
    std::vector<u32> sides;
};

}  // namespace osm3d
