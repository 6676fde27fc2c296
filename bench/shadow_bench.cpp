// Shadow volumes: finding edges as meshes grow, and silhouettes against reading the arrays that they come
// from.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "bench.h"
#include "geometry/geometry_simple.h"
#include "geometry/shadow_volume.h"
#include "support/allocations.h"

namespace bench {
namespace {

using namespace osm3d;

// Tubes without ends, `count` triangles in all. A geometry has 65,536 vertices at most, which a closed
// surface of 200,000 triangles does not get by with: from then on the tubes go over the same vertices again,
// so that edges have more than two triangles, of which the further ones are met and left out.
void MakeTubes(GeometrySimple& out, u32 count) {
    constexpr u32 kAround = 32;
    const u32 rings = std::min(count / (2 * kAround) + 2, 65536 / kAround);
    for (u32 ring = 0; ring < rings; ++ring)
        for (u32 i = 0; i < kAround; ++i) {
            const f32 angle = static_cast<f32>(i) * 6.2831853f / kAround;
            out.positions.push_back({std::cos(angle), std::sin(angle), static_cast<f32>(ring) * 0.1f});
        }
    const auto at = [](u32 ring, u32 i) { return static_cast<u16>(ring * kAround + i % kAround); };
    for (u32 ring = 0; out.triangles.size() < count; ring = (ring + 1) % (rings - 1))
        for (u32 i = 0; i < kAround && out.triangles.size() < count; ++i) {
            out.triangles.push_back({{at(ring, i), at(ring, i + 1), at(ring + 1, i)}});
            out.triangles.push_back({{at(ring + 1, i), at(ring, i + 1), at(ring + 1, i + 1)}});
        }
}

// What cannot be left out: every word of these is read and used.
u32 Sum(const void* data, std::size_t bytes) {
    const auto* words = static_cast<const u32*>(data);
    u32 sum = 0;
    for (std::size_t i = 0; i < bytes / sizeof(u32); ++i) sum += words[i];
    return sum;
}

}  // namespace

void Shadows() {
    GeometrySimple small;
    GeometrySimple large;
    MakeTubes(small, 10000);
    MakeTubes(large, 200000);
    ShadowVolume smallVolume(&small, true);
    ShadowVolume largeVolume(&large, true);
    // Build computes the normals too; both grow alike. The small mesh is built so often that both ways take
    // about as long, and what else the machine does meets them alike.
    constexpr int kSmallBuilds = 20;
    const Pair builds = Compare([&] { largeVolume.Build(); },
                                [&] {
                                    for (int i = 0; i < kSmallBuilds; ++i) smallVolume.Build();
                                },
                                25);
    const double few = builds.reference / kSmallBuilds;
    Report("edges and normals: 200,000 / 10,000 triangles", fmt::format("{:.2f} ms", builds.ours * 1e3),
           fmt::format("{:.2f} ms", few * 1e3), builds.ours / few, true, 25.0);

    for (GeometrySimple* geometry : {&small, &large}) {
        ShadowVolume volume(geometry, true);
        volume.Build();
        const std::size_t triangles = geometry->triangles.size();
        // As large as the arrays of normals, centres and edges that the volume keeps to itself.
        const std::vector<vect3> normals(triangles, {1, 2, 3});
        const std::vector<vect3> centres(triangles, {3, 2, 1});
        const std::vector<ShadowEdge> edges = volume.Edges();
        const int repeats = static_cast<int>(2000000 / triangles);
        u32 sum = 0;
        f32 x = 0;
        // The light goes to and fro, so that silhouettes of every length that it meets come in the first
        // rounds.
        const auto update = [&] {
            x = x < 4 ? x + 0.01f : 0;
            volume.Update({{5 + x, 5, 5}, {0, 0, 100}}, 0);
        };
        for (int i = 0; i < 500; ++i) update();
        const long long counted = support::Allocations();
        for (int i = 0; i < 500; ++i) update();
        ReportCount(fmt::format("silhouette of {} triangles: allocations", triangles),
                    support::Allocations() - counted, 0);
        const Pair times = Compare(
            [&] {
                for (int i = 0; i < repeats; ++i) update();
            },
            [&] {
                for (int i = 0; i < repeats; ++i)
                    sum += Sum(normals.data(), triangles * sizeof(vect3)) +
                           Sum(centres.data(), triangles * sizeof(vect3)) +
                           Sum(edges.data(), edges.size() * sizeof(ShadowEdge));
            },
            9);
        Report(fmt::format("silhouette of {} triangles / a sum", triangles),
               fmt::format("{:.3f} ms", times.ours / repeats * 1e3),
               fmt::format("{:.3f} ms", times.reference / repeats * 1e3), times.ours / times.reference, true,
               3.0);
        if (sum == 1) fmt::print("\n");  // the sums are looked at, so that none is left out
    }
}

}  // namespace bench
