// The plain indexed triangle list.
#pragma once

#include <string>
#include <vector>

#include "geometry/geometry.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/d3d9.h"

namespace osm3d {

class GeometryComposite;

/// Three vertex indices.
struct Triangle {
    u16 index[3];

    friend constexpr bool operator==(const Triangle&, const Triangle&) = default;
};

/// One texture coordinate.
struct UV {
    f32 u, v;

    friend constexpr bool operator==(const UV&, const UV&) = default;
};

/// Four words that are kept and stored; nothing reads them.
struct GeometryGroup {
    u16 values[4];

    friend constexpr bool operator==(const GeometryGroup&, const GeometryGroup&) = default;
};

static_assert(sizeof(Triangle) == 6 && sizeof(UV) == 8 && sizeof(GeometryGroup) == 8);

/// An indexed triangle list, kept in system memory and mirrored into one interleaved vertex buffer and one
/// 16-bit index buffer. Stored as chunk GOSM.
///
/// To build one: fill `positions`, `triangles` and what else it has, then Initialize. To deform one: rewrite
/// arrays, then UpdateBuffers.
class GeometrySimple : public Geometry {
  public:
    /// Bits of UpdateBuffers.
    static constexpr u32 kUpdatePositions = 1;
    static constexpr u32 kUpdateNormals = 2;
    static constexpr u32 kUpdateColors = 4;
    static constexpr u32 kUpdateIndices = 0x10000;

    /// The flags ask for dynamic device buffers.
    explicit GeometrySimple(bool dynamicVertices = false, bool dynamicIndices = false);
    ~GeometrySimple() override;

    GeometrySimple(const GeometrySimple&) = delete;
    GeometrySimple& operator=(const GeometrySimple&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Draw() override;

    /// About the mean of the positions; not cached. Needs at least one position.
    sphere GetBoundingSphere() override;

    /// The smallest box around the positions, kept until they change through an operation of this class.
    /// After writing `positions` directly, call InvalidateBounds.
    box GetBounds() override;
    plane GetPlane() override;
    void Prepare() override;
    void Initialize() override;
    bool Validate(std::string& reason) const override;

    /// Transforms positions and normals. The device buffers are not touched.
    virtual void Transform(const matrix& m);

    /// Turns every triangle's front to its back. The device buffers are not touched.
    virtual void FlipWinding();

    /// The flexible vertex format and the bytes of a vertex that Initialize would use.
    virtual void GetVertexFormat(u32* fvf, u32* stride) const;

    /// One new geometry for each attribute from 0 to `partCount` - 1, out of the faces that have it; the
    /// caller owns the result, and it its parts. `faceAttributes` holds one entry per triangle, from the
    /// first on.
    virtual GeometryComposite* SplitByAttribute(const std::vector<u32>& faceAttributes, u32 partCount);

    /// Uploads what `mask` names: 1 positions, 2 normals, 4 colours, 0x10000 indices. Tangents and binormals
    /// go along whatever the vertex mask. Texture coordinates do not: of vertex number v all sets are written
    /// when `mask & ((v + 1) * 0x100)` is not 0. Does nothing for buffers that Initialize has not made.
    virtual void UpdateBuffers(u32 mask);

    /// Lets the next GetBounds measure the positions again.
    void InvalidateBounds() { boundsValid = false; }

    u32 VertexCount() const { return static_cast<u32>(positions.size()); }
    u32 TriangleCount() const { return static_cast<u32>(triangles.size()); }

    /// The device buffers; null before Initialize.
    IDirect3DVertexBuffer9* VertexBuffer() const { return vertexBuffer.Get(); }
    IDirect3DIndexBuffer9* IndexBuffer() const { return indexBuffer.Get(); }

    std::vector<Triangle> triangles;
    /// Its size is the vertex count.
    std::vector<vect3> positions;
    /// Empty or one per vertex.
    std::vector<vect3> normals;
    /// Each set has one entry per vertex.
    std::vector<std::vector<UV>> uvSets;
    /// Empty or one per vertex. A coloured geometry is drawn unlit and sends no normals.
    std::vector<color> colors;
    std::vector<GeometryGroup> groups;
    /// Computed by Initialize when `hasTangents` is set.
    std::vector<vect3> tangents;
    std::vector<vect3> binormals;
    /// Adds tangent and binormal to the vertex as two texture coordinates; needs a UV set.
    bool hasTangents = false;
    bool dynamicVertices;
    bool dynamicIndices;

  protected:
    /// The record without its chunk header.
    void WriteBody(osmio::OutStream* out) const;

    /// The part that both kinds of SplitByAttribute share: fills `part` with the faces of attribute
    /// `attribute`. Gives, for each of the part's vertices, the number of the vertex that it was made from.
    std::vector<u32> ExtractPart(const std::vector<u32>& faceAttributes, u32 attribute,
                                 GeometrySimple& part) const;

    ComPtr<IDirect3DVertexBuffer9> vertexBuffer;
    ComPtr<IDirect3DIndexBuffer9> indexBuffer;

  private:
    u16 HighestIndex() const;
    void ComputeTangents();
    void UploadVertices(u32 mask, bool all);
    void UploadIndices(u32 lockFlags);

    u32 fvf = 0;
    u32 stride = 0;
    /// What the device buffers were made for.
    u32 bufferVertices = 0;
    u32 bufferTriangles = 0;
    bool boundsValid = false;
    box bounds;
};

}  // namespace osm3d
