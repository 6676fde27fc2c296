#include "geometry/shadow_volume.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "fxutil/math.h"
#include "geometry/geometry_composite.h"
#include "render/context.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

struct VolumeVertex {
    vect3 position;
    u32 diffuse;
};
static_assert(sizeof(VolumeVertex) == 16);

vect3 Normalized(const vect3& v) {
    vect3 out;
    D3DXVec3Normalize(&out, &v);
    return out;
}

}  // namespace

ShadowVolume::ShadowVolume(Geometry* geometry, bool deformed)
    : lightOrigin{0.0f, 0.0f, 0.0f}, lightDirection{0.0f, 0.0f, 0.0f} {
    auto* composite = dynamic_cast<GeometryComposite*>(geometry);
    if (composite == nullptr) {
        source = dynamic_cast<GeometrySimple*>(geometry);
    } else if (deformed) {
        trace::Box("ShadowVolume Generation only operates on NON-multimaterial object skinned objects.");
    } else {
        merged.reset(composite->Flatten());
        source = merged.get();
    }
}

ShadowVolume::~ShadowVolume() = default;

void ShadowVolume::Build() {
    if (source == nullptr) return;
    BuildEdges();
    ComputeNormals();
}

void ShadowVolume::Refresh() {
    if (source != nullptr) ComputeNormals();
}

void ShadowVolume::BuildEdges() {
    edges.clear();
    std::unordered_map<u32, std::size_t> byVertices;
    byVertices.reserve(source->triangles.size() * 2);
    for (std::size_t t = 0; t < source->triangles.size(); ++t) {
        const u16* corner = source->triangles[t].index;
        for (u32 side = 0; side < 3; ++side) {
            const u16 a = corner[side];
            const u16 b = corner[(side + 1) % 3];
            const u32 key = u32{std::min(a, b)} << 16 | std::max(a, b);
            const auto [at, fresh] = byVertices.try_emplace(key, edges.size());
            if (fresh) edges.push_back({a, b, ShadowEdge::kNoFace, ShadowEdge::kNoFace});
            ShadowEdge& edge = edges[at->second];
            if (edge.face0 == ShadowEdge::kNoFace) {
                edge.face0 = static_cast<u16>(t);
            } else if (edge.face1 == ShadowEdge::kNoFace) {
                edge.face1 = static_cast<u16>(t);
            }
        }
    }
}

void ShadowVolume::ComputeNormals() {
    const std::size_t count = source->triangles.size();
    normals.resize(count);
    centres.resize(count);
    facing.resize(count);
    for (std::size_t t = 0; t < count; ++t) {
        const u16* corner = source->triangles[t].index;
        const vect3& p0 = source->positions[corner[0]];
        const vect3 e1 = source->positions[corner[1]] - p0;
        const vect3 e2 = source->positions[corner[2]] - p0;
        normals[t] = Normalized(Cross(e1, e2));
        centres[t] = p0 + e1 * 0.5f + e2 * 0.5f;
    }
    silhouette.clear();
    sides.clear();
}

void ShadowVolume::Update(const ShadowLight& light, u32 mode) {
    if (source == nullptr) return;
    lightOrigin = light.origin;
    lightDirection = light.direction;
    directional = mode != 0;
    for (std::size_t t = 0; t < facing.size(); ++t) {
        facing[t] = Dot(normals[t], directional ? lightDirection : centres[t] - lightOrigin) > 0.0f;
    }
    silhouette.clear();
    sides.clear();
    for (std::size_t e = 0; e < edges.size(); ++e) {
        const ShadowEdge& edge = edges[e];
        const bool away0 = facing[edge.face0];
        if (edge.face1 == ShadowEdge::kNoFace) {
            if (away0) continue;
            sides.push_back(1);
        } else {
            const bool away1 = facing[edge.face1];
            if (away0 == away1) continue;
            sides.push_back(away0 ? 2 : 1);
        }
        silhouette.push_back(static_cast<u32>(e));
    }
}

void ShadowVolume::Draw() {
    if (source == nullptr || silhouette.empty()) return;
    Context* context = GetContext();
    const f32 reach = D3DXVec3Length(&lightDirection);
    const auto count = static_cast<u32>(silhouette.size());
    auto* vertex = static_cast<VolumeVertex*>(
        context->LockScratchVertices(D3DFVF_XYZ | D3DFVF_DIFFUSE, sizeof(VolumeVertex), 4 * count));
    if (vertex == nullptr) return;
    for (const u32 e : silhouette) {
        const vect3 a = source->positions[edges[e].vertexA];
        const vect3 b = source->positions[edges[e].vertexB];
        *vertex++ = {a, 0xffffffff};
        *vertex++ = {b, 0xffffffff};
        *vertex++ = {a + Normalized(a - lightOrigin) * reach, 0xffffffff};
        *vertex++ = {b + Normalized(b - lightOrigin) * reach, 0xffffffff};
    }
    context->UnlockScratchVertices();
    u16* index = context->LockScratchIndices(6 * count);
    if (index == nullptr) return;
    static constexpr u16 kForward[6] = {0, 1, 2, 1, 3, 2};
    static constexpr u16 kBackward[6] = {1, 0, 3, 0, 2, 3};
    for (u32 k = 0; k < count; ++k) {
        const u16* corners = sides[k] == 2 ? kForward : kBackward;
        for (u32 i = 0; i < 6; ++i) *index++ = static_cast<u16>(4 * k + corners[i]);
    }
    context->UnlockScratchIndices();
    context->DrawScratchIndexed(D3DPT_TRIANGLELIST, 0, 2 * count);
}

}  // namespace osm3d
