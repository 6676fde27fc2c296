#include "geometry/geometry_weighted.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "geometry/geometry_composite.h"
#include "io/block.h"
#include "io/stream.h"
#include "render/context.h"

namespace osm3d {

namespace {

constexpr u32 kFvf = D3DFVF_XYZB4 | D3DFVF_LASTBETA_UBYTE4 | D3DFVF_NORMAL | D3DFVF_TEX1;

struct DeviceVertex {
    vect3 position;
    f32 blend[3];
    u8 bones[4];
    vect3 normal;
    UV uv;
};

static_assert(sizeof(DeviceVertex) == 48 && kFvf == 0x111c);

}  // namespace

bool GeometryWeighted::Read(osmio::InStream* in) {
    if (!GeometrySimple::Read(in)) return false;
    i32 count = 0;
    in->ReadI32(&count);
    return count == 0 || osmio::ReadBlock(in, weights, count, "vertex weights");
}

void GeometryWeighted::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("GOWT"), 1);
    WriteBody(out);
    out->WriteI32(static_cast<i32>(weights.size()));
    osmio::WriteBlock(out, weights);
}

void GeometryWeighted::Initialize() {
    vertexBuffer.Reset();
    indexBuffer.Reset();
    Context* context = GetContext();
    drawnVertices = VertexCount();
    drawnTriangles = TriangleCount();
    if (drawnVertices != 0) {
        vertexBuffer = context->CreateVertexBuffer(kFvf, sizeof(DeviceVertex), drawnVertices, false);
    }
    // Room for a third of the indices. What a device does about the lock of all of them is its own affair;
    // UploadIndices writes nothing past the end.
    if (drawnTriangles != 0) indexBuffer = context->CreateIndexBuffer(drawnTriangles, false);
    UploadVertices();
    UploadIndices();
}

void GeometryWeighted::UploadVertices() {
    void* data = nullptr;
    const u32 bytes = drawnVertices * u32{sizeof(DeviceVertex)};
    if (!vertexBuffer || FAILED(vertexBuffer->Lock(0, bytes, &data, 0)) || data == nullptr) return;
    auto* at = static_cast<u8*>(data);
    for (std::size_t v = 0; v < positions.size(); ++v, at += sizeof(DeviceVertex)) {
        DeviceVertex vertex{};
        vertex.position = positions[v];
        if (v < weights.size()) {
            std::copy_n(weights[v].blend, 3, vertex.blend);
            std::copy_n(weights[v].bones, 4, vertex.bones);
        }
        if (v < normals.size()) vertex.normal = normals[v];
        if (!uvSets.empty()) vertex.uv = uvSets[0][v];
        std::memcpy(at, &vertex, sizeof vertex);
    }
    vertexBuffer->Unlock();
}

void GeometryWeighted::UploadIndices() {
    void* data = nullptr;
    const u32 bytes = drawnTriangles * u32{sizeof(Triangle)};
    indicesUploaded = false;
    if (!indexBuffer || FAILED(indexBuffer->Lock(0, bytes, &data, 0)) || data == nullptr) return;
    D3DINDEXBUFFER_DESC desc{};
    const bool fits = SUCCEEDED(indexBuffer->GetDesc(&desc)) && desc.Size >= bytes;
    if (fits) std::memcpy(data, triangles.data(), bytes);
    indexBuffer->Unlock();
    indicesUploaded = fits;
}

void GeometryWeighted::Draw() {
    if (!vertexBuffer || !indicesUploaded) return;
    Context* context = GetContext();
    IDirect3DDevice9* device = context->device.Get();
    device->SetIndices(indexBuffer.Get());
    if (!context->effectActive) device->SetVertexShader(nullptr);
    device->SetFVF(kFvf);
    device->SetStreamSource(0, vertexBuffer.Get(), 0, sizeof(DeviceVertex));
    device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, drawnVertices, 0, drawnTriangles);
}

bool GeometryWeighted::Validate(std::string& reason) const {
    if (!GeometrySimple::Validate(reason)) return false;
    if (positions.size() * u64{sizeof(DeviceVertex)} > 0x7fffffff) {
        reason = "a weighted geometry does not fit a device buffer";
        return false;
    }
    return true;
}

GeometryComposite* GeometryWeighted::SplitByAttribute(const std::vector<u32>& faceAttributes, u32 partCount) {
    std::vector<Geometry*> parts;
    for (u32 attribute = 0; attribute < partCount; ++attribute) {
        auto* part = new GeometryWeighted;
        const std::vector<u32> sources = ExtractPart(faceAttributes, attribute, *part);
        if (!weights.empty()) {
            part->weights.reserve(sources.size());
            for (const u32 v : sources) {
                part->weights.push_back(v < weights.size() ? weights[v] : VertexWeights{});
            }
        }
        parts.push_back(part);
    }
    return new GeometryComposite(std::move(parts));
}

}  // namespace osm3d
