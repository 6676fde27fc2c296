// Skinning: the loop against the same formula written plainly, and what a whole skinned mesh costs per
// update.
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

#include "bench.h"
#include "fxutil/math.h"
#include "geometry/geometry_weighted.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier_skin.h"
#include "geometry/skin_kernel.h"
#include "scene/hierarchy_node.h"
#include "skin_reference.h"
#include "support/allocations.h"
#include "support/engine_device.h"

namespace bench {
namespace {

using namespace osm3d;

constexpr u32 kVertices = 100000, kBones = 64;

// A fixed sequence from 0 to 1.
class Numbers {
  public:
    f32 operator()() {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<f32>(state_ >> 8) / 16777216.0f;
    }
    f32 Around(f32 range) { return ((*this)() - 0.5f) * range; }

  private:
    u32 state_ = 1;
};

// A rotation and a place.
matrix Bone(Numbers& next) {
    return MatrixCompose({next.Around(4), next.Around(4), next.Around(4)},
                         QuatFromEuler(next.Around(6), next.Around(6), next.Around(6)), {1, 1, 1});
}

// Neighbours in the array share bones, as the vertices of models do.
void Fill(GeometryWeighted& out, u32 vertices, Numbers& next) {
    for (u32 v = 0; v < vertices; ++v) {
        out.positions.push_back({next.Around(4), next.Around(4), next.Around(4)});
        const vect3 n{next.Around(1), next.Around(1), next.Around(1) + 0.6f};
        out.normals.push_back(n * (1.0f / std::sqrt(Dot(n, n))));
        const u32 first = v * kBones / vertices;
        VertexWeights w{};
        for (u8& bone : w.bones) bone = static_cast<u8>((first + static_cast<u32>(next() * 4)) % kBones);
        f32 left = 1;
        for (f32& share : w.blend) {
            share = left * next();
            left -= share;
        }
        out.weights.push_back(w);
    }
}

std::string Speed(double seconds) { return fmt::format("{:.1f} Mvertices/s", kVertices / seconds / 1e6); }

// Both loops have done the same work.
void Expect(const std::vector<vect3>& a, const std::vector<vect3>& b, const char* what) {
    for (std::size_t v = 0; v < a.size(); ++v) {
        const vect3 d = a[v] - b[v];
        if (Dot(d, d) < 1e-9f) continue;
        fmt::print(stderr, "bench: the {} of vertex {} differ\n", what, v);
        std::exit(1);
    }
}

void Kernel() {
    Numbers next;
    GeometryWeighted shape;
    Fill(shape, kVertices, next);
    struct Palettes {
        alignas(64) std::array<matrix, SkinJob::kPaletteSize> points, normals;
    };
    const auto palettes = std::make_unique<Palettes>();
    for (u32 i = 0; i < SkinJob::kPaletteSize; ++i) {
        const matrix m = Bone(next);
        palettes->points[i] = palettes->normals[i] = m;
        for (u32 axis = 0; axis < 3; ++axis) palettes->normals[i].m[3][axis] = 0;
    }
    std::vector<vect3> positions(kVertices), normals(kVertices);
    SkinJob job;
    job.weights = shape.weights.data();
    job.positions = shape.positions.data();
    job.normals = shape.normals.data();
    job.palette = palettes->points.data();
    job.normalPalette = palettes->normals.data();
    job.vertexCount = job.normalCount = kVertices;
    job.affine = true;
    job.outPositions = positions.data();
    job.outNormals = normals.data();

    std::vector<vect3> plain_positions(kVertices), plain_normals(kVertices);
    SkinJob plain = job;
    plain.outPositions = plain_positions.data();
    plain.outNormals = plain_normals.data();

    const struct {
        SkinJob::Path path;
        const char* name;
        double bound;  // the best path of today's processors is held to it
    } kPaths[] = {{SkinJob::Path::kAvx2, "AVX2", 4},
                  {SkinJob::Path::kSse2, "SSE2", 1},
                  {SkinJob::Path::kPlain, "plain", 1}};
    for (const auto& way : kPaths) {
        if (!SkinJob::IsAvailable(way.path)) {
            fmt::print("skin 100,000 vertices, {}: this processor has none\n", way.name);
            continue;
        }
        const Pair times = Compare([&] { job.Run(way.path); }, [&] { SkinPlainly(plain); }, 25);
        Expect(positions, plain_positions, "positions");
        Expect(normals, plain_normals, "normals");
        Report(fmt::format("skin 100,000 vertices, {} / loop", way.name), Speed(times.ours),
               Speed(times.reference), times.reference / times.ours, false, way.bound);
    }
    const Pair times = Compare([&] { job.Run(); }, [&] { SkinPlainlyAffine(plain); }, 25);
    fmt::print("{:<44} ours {:<22} reference {:<22} ratio {:.2f}\n", "  the best, against the loop without w",
               Speed(times.ours), Speed(times.reference), times.reference / times.ours);
}

// Two meshes of 50,000 vertices on a device, as the 16-bit indices have it.
void Meshes() {
    support::DeviceOptions options;
    options.keep_calls = false;
    support::EngineDevice engine(options);
    Numbers next;
    std::array<HierarchyNode, kBones> nodes;
    std::array<MeshSimple, 2> meshes;
    for (MeshSimple& mesh : meshes) {
        auto* shape = new GeometryWeighted;
        Fill(*shape, kVertices / 2, next);
        shape->uvSets.emplace_back(kVertices / 2);
        shape->triangles.push_back({{0, 1, 2}});
        mesh.SetGeometry(shape);
        auto* skin = new ModifierSkin;
        for (HierarchyNode& node : nodes) {
            node.worldMatrix = Bone(next);
            skin->bones.push_back(&node);
            skin->offsets.push_back(Bone(next));
        }
        mesh.AddModifier(skin);
        mesh.Initialize();
    }
    const auto update = [&] {
        for (MeshSimple& mesh : meshes) mesh.Update(0);
    };
    update();
    const long long before = support::Allocations();
    double best = 1e9;
    for (int round = 0; round < 25; ++round) best = std::min(best, Seconds(update));
    const long long after = support::Allocations();
    fmt::print("{:<44} {:.2f} ms, with bounds and upload\n", "a frame's skinning of 100,000 vertices",
               best * 1e3);
    ReportCount("allocations in 25 frames of it", after - before, 0);
}

}  // namespace

void Skins() {
    Kernel();
    Meshes();
}

}  // namespace bench
