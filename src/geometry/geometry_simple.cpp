#include "geometry/geometry_simple.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "fxutil/math.h"
#include "geometry/geometry_composite.h"
#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

constexpr u32 kMaxTextureCoordinates = 8;

vect3 Normalized(const vect3& v) { return v * (1.0f / std::sqrt(Dot(v, v))); }

template <class T>
u8* Put(u8* at, const T& value) {
    std::memcpy(at, &value, sizeof value);
    return at + sizeof value;
}

}  // namespace

GeometrySimple::GeometrySimple(bool vertices, bool indices)
    : dynamicVertices(vertices), dynamicIndices(indices), bounds(kBoxEmpty) {}

GeometrySimple::~GeometrySimple() = default;

void GeometrySimple::GetVertexFormat(u32* format, u32* bytes) const {
    const auto sets = static_cast<u32>(uvSets.size());
    u32 f = D3DFVF_XYZ;
    if (!colors.empty()) {
        f |= D3DFVF_DIFFUSE;
    } else if (!normals.empty()) {
        f |= D3DFVF_NORMAL;
    }
    f |= (sets + (hasTangents ? 2u : 0u)) << D3DFVF_TEXCOUNT_SHIFT;
    u32 s = 12 + 8 * sets;
    if (f & D3DFVF_DIFFUSE) s += 4;
    if (f & D3DFVF_NORMAL) s += 12;
    if (hasTangents) {
        // The second bit marks the binormal as three-component only where there is no UV set. Files and
        // effects rely on the word as it is.
        f |= 1u << (2 * sets + 16);
        f |= 1u << (sets + 18);
        s += 24;
    }
    *format = f;
    *bytes = s;
}

void GeometrySimple::Initialize() {
    vertexBuffer.Reset();
    indexBuffer.Reset();
    GetVertexFormat(&fvf, &stride);
    if (hasTangents) ComputeTangents();
    Context* context = GetContext();
    bufferVertices = VertexCount();
    bufferTriangles = TriangleCount();
    if (bufferVertices != 0)
        vertexBuffer = context->CreateVertexBuffer(fvf, stride, bufferVertices, dynamicVertices);
    if (bufferTriangles != 0) indexBuffer = context->CreateIndexBuffer(3 * bufferTriangles, dynamicIndices);
    UploadVertices(0xffff, true);
    UploadIndices(0);
}

void GeometrySimple::ComputeTangents() {
    tangents.assign(positions.size(), vect3{0.0f, 0.0f, 0.0f});
    binormals.assign(positions.size(), vect3{0.0f, 0.0f, 0.0f});
    const std::vector<UV>& uv = uvSets[0];
    for (const Triangle& t : triangles) {
        const u16 i0 = t.index[0];
        const u16 i1 = t.index[1];
        const u16 i2 = t.index[2];
        const vect3 e1 = positions[i0] - positions[i1];
        const vect3 e2 = positions[i2] - positions[i1];
        const f32 du1 = uv[i0].u - uv[i1].u;
        const f32 dv1 = uv[i0].v - uv[i1].v;
        const f32 du2 = uv[i2].u - uv[i1].u;
        const f32 dv2 = uv[i2].v - uv[i1].v;
        const vect3 tangent = Normalized(e1 * dv2 - e2 * dv1);
        const vect3 binormal = Normalized(e1 * du2 - e2 * du1);
        for (const u16 i : t.index) {
            tangents[i] = tangents[i] + tangent;
            binormals[i] = binormals[i] + binormal;
        }
    }
    for (std::size_t v = 0; v < positions.size(); ++v) {
        vect3 tangent = Normalized(tangents[v]);
        vect3 binormal = Normalized(binormals[v]);
        if (!normals.empty() && Dot(Cross(tangent, binormal), normals[v]) < 0.0f) {
            const vect3 zero{0.0f, 0.0f, 0.0f};
            tangent = zero - tangent;
            binormal = zero - binormal;
        }
        tangents[v] = tangent;
        binormals[v] = binormal;
    }
}

void GeometrySimple::UploadVertices(u32 mask, bool all) {
    if (!vertexBuffer) return;
    const u32 count = VertexCount();
    void* data = nullptr;
    if (FAILED(vertexBuffer->Lock(0, stride * count, &data, 0)) || data == nullptr) return;
    auto* at = static_cast<u8*>(data);
    const bool colored = !colors.empty();
    const bool lit = !colored && !normals.empty();
    for (u32 v = 0; v < count; ++v) {
        if (mask & kUpdatePositions) Put(at, positions[v]);
        at += sizeof(vect3);
        if (colored) {
            if (mask & kUpdateColors) Put(at, ColorToARGB(colors[v]));
            at += sizeof(u32);
        } else if (lit) {
            if (mask & kUpdateNormals) Put(at, normals[v]);
            at += sizeof(vect3);
        }
        // The mask's upper bits go by the number of the vertex, not of the set.
        const bool writeUv = all || (mask & ((v + 1) * 0x100)) != 0;
        for (const std::vector<UV>& set : uvSets) {
            if (writeUv) Put(at, set[v]);
            at += sizeof(UV);
        }
        if (hasTangents) {
            at = Put(at, tangents[v]);
            at = Put(at, binormals[v]);
        }
    }
    vertexBuffer->Unlock();
}

void GeometrySimple::UploadIndices(u32 lockFlags) {
    if (!indexBuffer) return;
    const u32 bytes = TriangleCount() * static_cast<u32>(sizeof(Triangle));
    void* data = nullptr;
    if (FAILED(indexBuffer->Lock(0, bytes, &data, lockFlags)) || data == nullptr) return;
    std::memcpy(data, triangles.data(), bytes);
    indexBuffer->Unlock();
}

void GeometrySimple::UpdateBuffers(u32 mask) {
    if (mask & 0xffff) {
        u32 format = 0;
        u32 bytes = 0;
        GetVertexFormat(&format, &bytes);
        // Arrays of another shape than Initialize saw do not fit the buffer.
        if (format == fvf && bytes == stride && VertexCount() == bufferVertices) UploadVertices(mask, false);
        boundsValid = false;
    }
    if ((mask & kUpdateIndices) && TriangleCount() == bufferTriangles) UploadIndices(D3DLOCK_DISCARD);
}

void GeometrySimple::Draw() {
    if (!vertexBuffer || !indexBuffer) return;
    Context* context = GetContext();
    IDirect3DDevice9* device = context->device.Get();
    RenderStateBlock saved;
    if (!colors.empty()) {
        saved = context->renderState;
        saved.mask = RenderStateBlock::kLighting;
        RenderStateBlock unlit = saved;
        unlit.lighting = false;
        unlit.specularEnable = false;
        unlit.normalizeNormals = false;
        context->ApplyRenderState(unlit);
    }
    device->SetIndices(indexBuffer.Get());
    if (!context->effectActive) device->SetVertexShader(nullptr);
    device->SetFVF(fvf);
    device->SetStreamSource(0, vertexBuffer.Get(), 0, stride);
    DWORD passes = 0;
    device->ValidateDevice(&passes);
    device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, bufferVertices, 0, bufferTriangles);
    if (!colors.empty()) context->ApplyRenderState(saved);
}

sphere GeometrySimple::GetBoundingSphere() {
    sphere result{{0.0f, 0.0f, 0.0f}, 0.0f};
    if (positions.empty()) return result;
    vect3 sum{0.0f, 0.0f, 0.0f};
    for (const vect3& p : positions) sum = sum + p;
    const f64 share = 1.0 / static_cast<f64>(positions.size());
    result.center = {static_cast<f32>(sum.x * share), static_cast<f32>(sum.y * share),
                     static_cast<f32>(sum.z * share)};
    f32 farthest = 0.0f;
    for (const vect3& p : positions) {
        const vect3 d = p - result.center;
        farthest = std::max(farthest, Dot(d, d));
    }
    result.radius = static_cast<f32>(std::sqrt(static_cast<f64>(farthest)) + 0.0001);
    return result;
}

box GeometrySimple::GetBounds() {
    if (!boundsValid) {
        bounds = BoxFromPoints(positions.data(), static_cast<i32>(positions.size()));
        boundsValid = true;
    }
    return bounds;
}

plane GeometrySimple::GetPlane() {
    if (positions.empty() || normals.empty()) return plane{{0.0f, 0.0f, 0.0f}, 0.0f};
    return PlaneFromPointNormal(positions.front(), normals.front());
}

void GeometrySimple::Prepare() {}

u16 GeometrySimple::HighestIndex() const {
    // As one flat array the compiler takes many indices at a time.
    const auto* index = reinterpret_cast<const u16*>(triangles.data());
    const std::size_t count = 3 * triangles.size();
    u16 highest = 0;
    for (std::size_t i = 0; i < count; ++i) highest = std::max(highest, index[i]);
    return highest;
}

bool GeometrySimple::Validate(std::string& reason) const {
    const std::size_t count = positions.size();
    const u16 highest = HighestIndex();
    if (!triangles.empty() && highest >= count) {
        reason = "a triangle refers to vertex " + std::to_string(highest) + " of a geometry of " +
                 std::to_string(count) + " vertices";
        return false;
    }
    const auto fits = [count](std::size_t size) { return size == 0 || size >= count; };
    bool enough = fits(normals.size()) && fits(colors.size());
    for (const std::vector<UV>& set : uvSets) enough = enough && set.size() >= count;
    if (!enough) {
        reason = "a geometry has fewer normals, colours or texture coordinates than vertices";
        return false;
    }
    if (hasTangents && uvSets.empty()) {
        reason = "a geometry with tangents has no texture coordinates";
        return false;
    }
    if (uvSets.size() + (hasTangents ? 2 : 0) > kMaxTextureCoordinates) {
        reason =
            "a geometry has more than " + std::to_string(kMaxTextureCoordinates) + " texture coordinates";
        return false;
    }
    u32 format = 0;
    u32 bytes = 0;
    GetVertexFormat(&format, &bytes);
    if (count * u64{bytes} > 0x7fffffff || triangles.size() * u64{sizeof(Triangle)} > 0x7fffffff) {
        reason = "a geometry does not fit a device buffer";
        return false;
    }
    return true;
}

void GeometrySimple::Transform(const matrix& m) {
    D3DXVec3TransformCoordArray(positions.data(), sizeof(vect3), positions.data(), sizeof(vect3), &m,
                                static_cast<u32>(positions.size()));
    if (!normals.empty()) {
        matrix inverse = kMatrixIdentity;
        D3DXMatrixInverse(&inverse, nullptr, &m);
        inverse.m[3][0] = inverse.m[3][1] = inverse.m[3][2] = 0.0f;
        D3DXMatrixTranspose(&inverse, &inverse);
        for (vect3& n : normals) {
            D3DXVec3TransformCoord(&n, &n, &inverse);
            n = Normalized(n);
        }
    }
    boundsValid = false;
}

void GeometrySimple::FlipWinding() {
    for (Triangle& t : triangles) std::swap(t.index[0], t.index[1]);
}

std::vector<u32> GeometrySimple::ExtractPart(const std::vector<u32>& faceAttributes, u32 attribute,
                                             GeometrySimple& part) const {
    std::vector<i32> remap(positions.size(), -1);
    std::vector<u32> sources;
    const std::size_t faces = std::min(faceAttributes.size(), triangles.size());
    for (std::size_t f = 0; f < faces; ++f) {
        if (faceAttributes[f] != attribute) continue;
        Triangle face;
        for (u32 corner = 0; corner < 3; ++corner) {
            const u16 v = triangles[f].index[corner];
            if (remap[v] < 0) {
                remap[v] = static_cast<i32>(sources.size());
                sources.push_back(v);
            }
            face.index[corner] = static_cast<u16>(remap[v]);
        }
        part.triangles.push_back(face);
    }
    const auto pick = [&sources](const auto& from, auto& to) {
        to.reserve(sources.size());
        for (const u32 v : sources) to.push_back(from[v]);
    };
    if (!positions.empty()) pick(positions, part.positions);
    if (!normals.empty()) pick(normals, part.normals);
    if (!colors.empty()) pick(colors, part.colors);
    part.uvSets.resize(uvSets.size());
    for (std::size_t set = 0; set < uvSets.size(); ++set) pick(uvSets[set], part.uvSets[set]);
    return sources;
}

GeometryComposite* GeometrySimple::SplitByAttribute(const std::vector<u32>& faceAttributes, u32 partCount) {
    std::vector<Geometry*> parts;
    for (u32 attribute = 0; attribute < partCount; ++attribute) {
        auto* part = new GeometrySimple(dynamicVertices, dynamicIndices);
        ExtractPart(faceAttributes, attribute, *part);
        parts.push_back(part);
    }
    return new GeometryComposite(std::move(parts));
}

}  // namespace osm3d
