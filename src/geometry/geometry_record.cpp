// The stored form of GeometrySimple.
#include <algorithm>
#include <cstddef>
#include <limits>

#include "geometry/geometry_simple.h"
#include "io/block.h"
#include "io/stream.h"

namespace osm3d {

namespace {

enum Contents : u32 {
    kVertexBlock = 0x1,
    kTriangles = 0x2,
    kGroups = 0x4,
    kTrianglesAgain = 0x10,  // nothing reads it; files have it
    kPositions = 0x100,
    kNormals = 0x200,
    kUvSets = 0x400,
    kColors = 0x800,
    kDynamicVertices = 0x10000,
    kDynamicIndices = 0x20000,
    kTangents = 0x40000,
};

// Writes exactly `count` entries; an array that is too short is filled up with zeros.
template <class T>
void WriteArray(osmio::OutStream* out, const std::vector<T>& array, std::size_t count) {
    const std::size_t there = std::min(count, array.size());
    if (there != 0) out->WriteBytes(array.data(), static_cast<u32>(there * sizeof(T)));
    for (std::size_t i = there; i < count; ++i) {
        const T zero{};
        out->WriteBytes(&zero, sizeof zero);
    }
}

}  // namespace

bool GeometrySimple::Read(osmio::InStream* in) {
    i32 word = 0;
    in->ReadI32(&word);
    const auto contents = static_cast<u32>(word);
    i32 vertexCount = 0;
    i32 triangleCount = 0;
    if (contents & kVertexBlock) in->ReadI32(&vertexCount);
    if (contents & kTriangles) in->ReadI32(&triangleCount);
    if (contents & kVertexBlock) {
        if ((contents & kPositions) && !osmio::ReadBlock(in, positions, vertexCount, "vertices"))
            return false;
        if ((contents & kNormals) && !osmio::ReadBlock(in, normals, vertexCount, "normals")) return false;
        if ((contents & kColors) && !osmio::ReadBlock(in, colors, vertexCount, "colours")) return false;
        if (contents & kUvSets) {
            i32 setCount = 0;
            in->ReadI32(&setCount);
            // A set without vertices takes no bytes; such sets are bounded as if each took one.
            constexpr i32 kMostVertices = std::numeric_limits<i32>::max() / i32{sizeof(UV)};
            const u32 setBytes =
                static_cast<u32>(std::clamp(vertexCount, 0, kMostVertices)) * u32{sizeof(UV)};
            if (!in->CanHold(setCount, std::max(setBytes, 1u), "texture coordinate sets")) return false;
            uvSets.clear();
            uvSets.resize(static_cast<std::size_t>(setCount));
            for (std::vector<UV>& set : uvSets) {
                if (!osmio::ReadBlock(in, set, vertexCount, "texture coordinates")) return false;
            }
        }
    }
    if ((contents & kTriangles) && !osmio::ReadBlock(in, triangles, triangleCount, "triangles")) return false;
    if (contents & kGroups) {
        i32 groupCount = 0;
        in->ReadI32(&groupCount);
        if (!osmio::ReadBlock(in, groups, groupCount, "groups")) return false;
    }
    dynamicVertices = (contents & kDynamicVertices) != 0;
    dynamicIndices = (contents & kDynamicIndices) != 0;
    hasTangents = (contents & kTangents) != 0;
    boundsValid = false;
    return true;
}

void GeometrySimple::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("GOSM"), 1);
    WriteBody(out);
}

void GeometrySimple::WriteBody(osmio::OutStream* out) const {
    u32 contents = 0;
    if (!positions.empty()) contents |= kPositions;
    if (!normals.empty()) contents |= kNormals;
    if (!uvSets.empty()) contents |= kUvSets;
    if (contents != 0) contents |= kVertexBlock;
    // Colours alone make no vertex block: then their bit is set and nothing of them stored.
    if (!colors.empty()) contents |= kColors;
    if (!triangles.empty()) contents |= kTriangles | kTrianglesAgain;
    if (!groups.empty()) contents |= kGroups;
    if (dynamicVertices) contents |= kDynamicVertices;
    if (dynamicIndices) contents |= kDynamicIndices;
    if (hasTangents) contents |= kTangents;

    const std::size_t vertexCount = positions.size();
    out->WriteI32(static_cast<i32>(contents));
    if (contents & kVertexBlock) out->WriteI32(static_cast<i32>(vertexCount));
    if (contents & kTriangles) out->WriteI32(static_cast<i32>(triangles.size()));
    if (contents & kVertexBlock) {
        if (contents & kPositions) WriteArray(out, positions, vertexCount);
        if (contents & kNormals) WriteArray(out, normals, vertexCount);
        if (contents & kColors) WriteArray(out, colors, vertexCount);
        if (contents & kUvSets) {
            out->WriteI32(static_cast<i32>(uvSets.size()));
            for (const std::vector<UV>& set : uvSets) WriteArray(out, set, vertexCount);
        }
    }
    osmio::WriteBlock(out, triangles);
    if (contents & kGroups) {
        out->WriteI32(static_cast<i32>(groups.size()));
        osmio::WriteBlock(out, groups);
    }
}

}  // namespace osm3d
