#include "geometry/shadow_volume.h"

#include <algorithm>
#include <cstddef>
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

void ShadowVolume::Components::Resize(std::size_t count) {
    x.resize(count);
    y.resize(count);
    z.resize(count);
}

void ShadowVolume::Components::Set(std::size_t index, const vect3& v) {
    x[index] = v.x;
    y[index] = v.y;
    z[index] = v.z;
}

void ShadowVolume::Build() {
    if (source == nullptr) return;
    BuildEdges();
    ComputeNormals();
}

void ShadowVolume::Refresh() {
    if (source != nullptr) ComputeNormals();
}

struct ShadowVolume::EdgeWork {
    /// Where the bucket of each vertex begins; while it is filled, where its next entry goes.
    std::vector<u32> begin;
    std::vector<u32> sorted;
    /// For each half-edge: it repeats an earlier one, or it is open, or the second triangle on it.
    std::vector<u32> mate;
    /// Per larger vertex one more than where it stood last among the sorted; 0 for never.
    std::vector<u32> seen;
};

void ShadowVolume::BuildEdges() {
    runs.clear();
    edges.clear();
    const auto count = static_cast<u32>(source->triangles.size());
    edges.reserve(std::size_t{count} * 3 / 2);  // what a closed mesh has
    EdgeWork work;
    for (u32 first = 0; first < count; first += kRunTriangles) {
        runs.push_back({first, static_cast<u32>(edges.size())});
        AppendEdges(first, std::min(count - first, kRunTriangles), work);
    }
}

// Finds equal vertex pairs without comparing each with each: the half-edges (three per triangle) are sorted
// by their smaller vertex, and within one of those buckets a table by the larger vertex tells repetitions.
void ShadowVolume::AppendEdges(u32 firstTriangle, u32 count, EdgeWork& work) {
    constexpr u32 kOpen = 0xffffffff;
    constexpr u32 kRepeated = 0xfffffffe;
    // One by one: clang before 16 does not let a lambda capture a structured binding.
    std::vector<u32>& begin = work.begin;
    std::vector<u32>& sorted = work.sorted;
    std::vector<u32>& mate = work.mate;
    std::vector<u32>& seen = work.seen;
    const Triangle* triangles = source->triangles.data() + firstTriangle;
    const auto each = [triangles, count](auto&& visit) {
        for (u32 t = 0; t < count; ++t) {
            const u16* v = triangles[t].index;
            visit(3 * t, v[0], v[1]);
            visit(3 * t + 1, v[1], v[2]);
            visit(3 * t + 2, v[2], v[0]);
        }
    };

    u32 vertices = 0;
    each([&](u32, u16 a, u16) { vertices = std::max(vertices, u32{a} + 1); });
    begin.assign(vertices, 0);
    each([&](u32, u16 a, u16 b) { ++begin[std::min(a, b)]; });
    u32 sum = 0;
    for (u32& at : begin) sum += std::exchange(at, sum);
    sorted.resize(std::size_t{3} * count);
    each([&](u32 h, u16 a, u16 b) { sorted[begin[std::min(a, b)]++] = h; });

    // Each bucket begins now where the one before it ends.
    mate.resize(sorted.size());
    seen.assign(vertices, 0);
    u32 bucket = 0;
    u32 bucketBegin = 0;
    for (u32 i = 0; i < sorted.size(); ++i) {
        while (i == begin[bucket]) bucketBegin = begin[bucket++];
        const u32 h = sorted[i];
        const u32 t = h / 3;
        const u16* v = triangles[t].index;
        const u32 side = h - 3 * t;
        u32& before = seen[std::max(v[side], v[side == 2 ? 0 : side + 1])];
        if (before > bucketBegin) {
            u32& first = mate[sorted[before - 1]];
            if (first == kOpen) first = t;
            mate[h] = kRepeated;
        } else {
            before = i + 1;
            mate[h] = kOpen;
        }
    }

    each([&](u32 h, u16 a, u16 b) {
        if (mate[h] == kRepeated) return;
        edges.push_back({a, b, static_cast<u16>(h / 3),
                         mate[h] == kOpen ? ShadowEdge::kNoFace : static_cast<u16>(mate[h])});
    });
}

void ShadowVolume::ComputeNormals() {
    const std::size_t count = source->triangles.size();
    normals.Resize(count);
    centres.Resize(count);
    facing.assign(count + 1, 1);
    for (std::size_t t = 0; t < count; ++t) {
        const u16* corner = source->triangles[t].index;
        const vect3& p0 = source->positions[corner[0]];
        const vect3 e1 = source->positions[corner[1]] - p0;
        const vect3 e2 = source->positions[corner[2]] - p0;
        normals.Set(t, Normalized(Cross(e1, e2)));
        centres.Set(t, p0 + e1 * 0.5f + e2 * 0.5f);
    }
    silhouette.clear();
    sides.clear();
}

void ShadowVolume::Update(const ShadowLight& light, u32 mode) {
    if (source == nullptr) return;
    lightOrigin = light.origin;
    lightDirection = light.direction;
    directional = mode != 0;
    silhouette.clear();
    sides.clear();
    FindFacing();
    FindSilhouette();
}

void ShadowVolume::FindFacing() {
    // Local names, so that the compiler knows that the writes below change none of them.
    const std::size_t count = normals.x.size();
    const f32* nx = normals.x.data();
    const f32* ny = normals.y.data();
    const f32* nz = normals.z.data();
    u8* away = facing.data();
    if (directional) {
        const vect3 d = lightDirection;
        for (std::size_t t = 0; t < count; ++t) {
            away[t] = nx[t] * d.x + ny[t] * d.y + nz[t] * d.z > 0.0f;
        }
    } else {
        const f32* cx = centres.x.data();
        const f32* cy = centres.y.data();
        const f32* cz = centres.z.data();
        const vect3 o = lightOrigin;
        for (std::size_t t = 0; t < count; ++t) {
            away[t] = nx[t] * (cx[t] - o.x) + ny[t] * (cy[t] - o.y) + nz[t] * (cz[t] - o.z) > 0.0f;
        }
    }
}

void ShadowVolume::FindSilhouette() {
    // Few edges are on the silhouette: most blocks of this many are passed by with one branch.
    constexpr u32 kBlock = 8;
    const auto triangles = static_cast<u32>(normals.x.size());
    for (std::size_t r = 0; r < runs.size(); ++r) {
        const u8* away = facing.data() + runs[r].firstTriangle;
        const u32 none = triangles - runs[r].firstTriangle;
        const ShadowEdge* all = edges.data();
        const auto away0 = [=](u32 e) -> u32 { return away[all[e].face0]; };
        const auto away1 = [=](u32 e) -> u32 {
            const u32 face = all[e].face1;
            return away[face == ShadowEdge::kNoFace ? none : face];
        };
        const auto take = [&](u32 e) {
            if (away0(e) == away1(e)) return;
            silhouette.push_back(e);
            sides.push_back(2 * away0(e) + away1(e));
        };
        const u32 end = r + 1 < runs.size() ? runs[r + 1].firstEdge : static_cast<u32>(edges.size());
        u32 e = runs[r].firstEdge;
        for (; e + kBlock <= end; e += kBlock) {
            u32 differ = 0;
            for (u32 i = e; i < e + kBlock; ++i) differ |= away0(i) ^ away1(i);
            if (differ == 0) continue;
            for (u32 i = e; i < e + kBlock; ++i) take(i);
        }
        for (; e < end; ++e) take(e);
    }
}

void ShadowVolume::Draw() {
    if (source == nullptr || silhouette.empty()) return;
    // What the ring of vertices holds, which 16-bit indices just reach.
    constexpr u32 kMaxQuads = Context::kScratchBytes / (4 * sizeof(VolumeVertex));
    static_assert(4 * kMaxQuads <= 0x10000);
    const auto count = static_cast<u32>(silhouette.size());
    for (u32 first = 0; first < count; first += kMaxQuads) {
        DrawQuads(first, std::min(count - first, kMaxQuads));
    }
}

void ShadowVolume::DrawQuads(u32 first, u32 count) {
    Context* context = GetContext();
    const f32 reach = D3DXVec3Length(&lightDirection);
    auto* vertex = static_cast<VolumeVertex*>(
        context->LockScratchVertices(D3DFVF_XYZ | D3DFVF_DIFFUSE, sizeof(VolumeVertex), 4 * count));
    if (vertex == nullptr) return;
    for (u32 k = first; k < first + count; ++k) {
        const ShadowEdge& edge = edges[silhouette[k]];
        const vect3 a = source->positions[edge.vertexA];
        const vect3 b = source->positions[edge.vertexB];
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
        const u16* corners = sides[first + k] == 2 ? kForward : kBackward;
        for (u32 i = 0; i < 6; ++i) *index++ = static_cast<u16>(4 * k + corners[i]);
    }
    context->UnlockScratchIndices();
    context->DrawScratchIndexed(D3DPT_TRIANGLELIST, 0, 2 * count);
}

}  // namespace osm3d
