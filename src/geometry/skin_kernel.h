// The loop that bends vertices, on plain arrays.
#pragma once

#include "geometry/geometry_weighted.h"
#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d {

/// One mesh's vertices through one palette. Inputs and outputs must not overlap.
struct SkinJob {
    /// Entries of both palettes: each value that a bone index can have is one of them.
    static constexpr u32 kPaletteSize = 256;

    /// How to go about it. They differ by rounding; on one path equal vertices give equal results wherever
    /// they stand.
    enum class Path {
        kPlain,  // any processor
        kSse2,   // every x86-64, and any x86 since 2001
        kAvx2,   // with fused multiply-add
    };

    const VertexWeights* weights = nullptr;  // the greater of both counts
    const vect3* positions = nullptr;        // vertexCount
    const vect3* normals = nullptr;          // normalCount
    const matrix* palette = nullptr;         // kPaletteSize; best aligned to 64 bytes
    const matrix* normalPalette = nullptr;   // kPaletteSize; not looked at without normals
    u32 vertexCount = 0;
    u32 normalCount = 0;
    /// The last column of every palette entry that is used is (0, 0, 0, 1), so that points need no division.
    bool affine = false;

    vect3* outPositions = nullptr;  // vertexCount
    vect3* outNormals = nullptr;    // normalCount

    /// The best that this processor has; found out once.
    static Path BestPath();
    static bool IsAvailable(Path path);

    void Run() const { Run(BestPath()); }
    /// `path` must be available.
    void Run(Path path) const;
};

}  // namespace osm3d
