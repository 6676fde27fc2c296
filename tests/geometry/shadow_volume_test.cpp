// Silhouettes and the volumes drawn from them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "geometry/geometry_composite.h"
#include "geometry/shadow_volume.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "trace/test_messages.h"

using namespace osm3d;

namespace {

// A closed tetrahedron, outward faces counter-clockwise.
void MakeTetrahedron(GeometrySimple& g) {
    g.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    g.triangles = {{{0, 2, 1}}, {{0, 1, 3}}, {{0, 3, 2}}, {{1, 2, 3}}};
}

struct Vertex {
    f32 x, y, z;
    u32 diffuse;
};

// (a, b, first face, second face); -1 for none.
using Edge = std::array<int, 4>;

std::vector<Edge> EdgesOf(const ShadowVolume& volume) {
    std::vector<Edge> out;
    for (const ShadowEdge& e : volume.Edges())
        out.push_back({e.vertexA, e.vertexB, e.face0, e.face1 == ShadowEdge::kNoFace ? -1 : e.face1});
    return out;
}

// The rule as it reads: each side of each triangle is looked for among all edges so far.
std::vector<Edge> EdgesByRule(const Triangle* triangles, int count) {
    std::vector<Edge> out;
    for (int t = 0; t < count; ++t)
        for (int side = 0; side < 3; ++side) {
            const int a = triangles[t].index[side], b = triangles[t].index[(side + 1) % 3];
            auto at = std::find_if(out.begin(), out.end(), [=](const Edge& e) {
                return (e[0] == a && e[1] == b) || (e[0] == b && e[1] == a);
            });
            if (at == out.end()) at = out.insert(at, {a, b, -1, -1});
            if ((*at)[2] == -1)
                (*at)[2] = t;
            else if ((*at)[3] == -1)
                (*at)[3] = t;
        }
    return out;
}

// Two triangles per square of a grid of vertices.
void MakeGrid(GeometrySimple& g, u32 columns, u32 rows) {
    for (u32 y = 0; y <= rows; ++y)
        for (u32 x = 0; x <= columns; ++x)
            g.positions.push_back({static_cast<f32>(x), static_cast<f32>(y), 0});
    for (u32 y = 0; y < rows; ++y)
        for (u32 x = 0; x < columns; ++x) {
            const auto at = [=](u32 i, u32 j) { return static_cast<u16>((y + j) * (columns + 1) + x + i); };
            g.triangles.push_back({{at(0, 0), at(1, 0), at(0, 1)}});
            g.triangles.push_back({{at(0, 1), at(1, 0), at(1, 1)}});
        }
}

}  // namespace

TEST(ShadowVolume, EdgesAreThoseOfTheRuleInItsOrder) {
    GeometrySimple g;
    ShadowVolume volume(&g, false);
    volume.Build();
    EXPECT_TRUE(volume.Edges().empty());
    MakeTetrahedron(g);
    volume.Build();
    EXPECT_EQ(EdgesOf(volume),
              (std::vector<Edge>{
                  {0, 2, 0, 2}, {2, 1, 0, 3}, {1, 0, 0, 1}, {1, 3, 1, 3}, {3, 0, 1, 2}, {3, 2, 2, 3}}));

    // Rubbish of few vertices: many triangles on an edge, triangles with a corner twice or three times.
    std::mt19937 random(7);
    for (u32 vertices : {1u, 3u, 8u, 40u}) {
        g.positions.assign(vertices, {0, 0, 0});
        g.triangles.clear();
        for (int t = 0; t < 150; ++t) {
            const auto any = [&] { return static_cast<u16>(random() % vertices); };
            g.triangles.push_back({{any(), any(), any()}});
        }
        volume.Build();
        EXPECT_EQ(EdgesOf(volume), EdgesByRule(g.triangles.data(), 150)) << vertices << " vertices";
    }
}

// 100,000 triangles: more than face numbers reach.
TEST(ShadowVolume, AMeshBeyondFaceNumbersHasTheOutlineOfTheWhole) {
    GeometrySimple g;
    constexpr u32 kColumns = 250, kRows = 200;
    MakeGrid(g, kColumns, kRows);
    ShadowVolume volume(&g, false);
    volume.Build();
    volume.Update({{100, 100, 50}, {0, 0, -1}}, 0);
    // All lit. Each quad adds its direction to the count of its edge; what the runs share cancels out.
    std::map<std::pair<u32, u32>, int> counts;
    for (u32 k = 0; k < volume.Silhouette().size(); ++k) {
        const ShadowEdge& e = volume.Edges()[volume.Silhouette()[k]];
        const bool forward = (e.vertexA < e.vertexB) == (volume.Sides()[k] == 2);
        counts[std::minmax<u32>(e.vertexA, e.vertexB)] += forward ? 1 : -1;
    }
    u32 outline = 0;
    for (const auto& [edge, count] : counts) {
        if (count == 0) continue;
        EXPECT_EQ(std::abs(count), 1);
        ++outline;
    }
    EXPECT_EQ(outline, 2 * (kColumns + kRows));
    // From behind nothing is lit, and open edges do not count.
    volume.Update({{100, 100, -50}, {0, 0, 1}}, 0);
    EXPECT_TRUE(volume.Silhouette().empty());
}

// The plane of a triangle goes through the middle of the side opposite its first corner, and the light's
// place within that plane leaves the triangle lit.
TEST(ShadowVolume, AFaceIsLitUpToItsPlane) {
    GeometrySimple g;
    g.positions = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    g.triangles = {{{0, 1, 2}}};
    ShadowVolume volume(&g, false);
    volume.Build();
    const auto open = [&](const vect3& from, const vect3& along, u32 mode) {
        volume.Update({from, along}, mode);
        EXPECT_TRUE(std::all_of(volume.Sides().begin(), volume.Sides().end(), [](u32 s) { return s == 1; }));
        return volume.Silhouette().size();
    };
    EXPECT_EQ(open({9, 9, 0.01f}, {0, 0, 1}, 0), 3u) << "the direction of a point light does not count";
    EXPECT_EQ(open({9, 9, 0}, {0, 0, 1}, 0), 3u);
    EXPECT_EQ(open({9, 9, -0.01f}, {0, 0, -1}, 0), 0u);
    EXPECT_EQ(open({9, 9, -9}, {0, 0, -1}, 1), 3u) << "the place of a directional light does not count";
    EXPECT_EQ(open({9, 9, 9}, {0, 0, 0.01f}, 7), 0u);
    EXPECT_EQ(open({9, 9, -9}, {1, 1, 0}, 1), 3u);
    // A triangle without an area looks nowhere and counts as lit.
    g.positions[2] = {2, 0, 0};
    volume.Refresh();
    EXPECT_TRUE(volume.Silhouette().empty());
    EXPECT_EQ(open({9, 9, -9}, {0, 0, 1}, 0), 3u);
}

TEST(ShadowVolume, SilhouetteStandsBetweenFacesToAndFromTheLight) {
    support::EngineDevice engine;
    GeometrySimple g;
    MakeTetrahedron(g);
    ShadowVolume volume(&g, false);
    volume.Build();
    // From far out on (1, 1, 1) only the slanted face is lit: its three edges are the silhouette.
    volume.Update({{10, 10, 10}, {-1, -1, -1}}, 0);
    EXPECT_EQ(volume.Silhouette().size(), 3u);
    EXPECT_EQ(volume.Sides(), (std::vector<u32>{2, 2, 2}));
    volume.Update({{10, 10, 10}, {-1, -1, -1}}, 1);
    EXPECT_EQ(volume.Silhouette().size(), 3u) << "as a directional light";
    volume.Update({{-10, -10, -10}, {1, 1, 1}}, 0);
    EXPECT_EQ(volume.Sides(), (std::vector<u32>{1, 1, 1}));

    // Refresh after the vertices have moved empties the silhouette until the next Update.
    for (vect3& p : g.positions) p = p + vect3{-20, -20, -20};
    volume.Refresh();
    EXPECT_TRUE(volume.Silhouette().empty());
    volume.Update({{-10, -10, -10}, {1, 1, 1}}, 0);
    EXPECT_EQ(volume.Sides(), (std::vector<u32>{2, 2, 2})) << "the light now stands on the other side";
}

TEST(ShadowVolume, DrawsAQuadOutwardFromEachSilhouetteEdge) {
    support::EngineDevice engine;
    GeometrySimple g;
    g.positions = {{-1, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    g.triangles = {{{0, 1, 2}}};
    ShadowVolume volume(&g, false);
    volume.Build();
    engine.context().BeginScene();
    volume.Draw();
    EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 0u);
    // Lit from +z, which the face looks to: all three open edges count.
    volume.Update({{-1, 0, 4}, {0, 3, 4}}, 0);
    ASSERT_EQ(volume.Silhouette().size(), 3u);
    engine.recorded().Clear();
    volume.Draw();
    const auto draws = engine.recorded().Named("DrawIndexedPrimitive");
    ASSERT_EQ(draws.size(), 1u);
    EXPECT_EQ(draws[0].args.back(), 6);
    ASSERT_EQ(draws[0].vertices.size(), 12 * sizeof(Vertex));
    Vertex v[4];
    std::memcpy(v, draws[0].vertices.data(), sizeof v);
    EXPECT_EQ(v[0].x, -1.0f);
    EXPECT_EQ(v[1].x, 1.0f);
    EXPECT_FLOAT_EQ(v[2].z, -5.0f) << "as far as the light's direction is long";
    EXPECT_EQ(v[2].diffuse, 0xffffffffu);
    EXPECT_EQ((std::vector<u32>(draws[0].indices.begin(), draws[0].indices.begin() + 12)),
              (std::vector<u32>{1, 0, 3, 0, 2, 3, 5, 4, 7, 4, 6, 7}));
    engine.context().EndScene();
    EXPECT_TRUE(engine.recorded().faults.empty());
}

// The ring of vertices holds 16,384 quads; 20,000 loose triangles have 60,000.
TEST(ShadowVolume, ASilhouetteLargerThanTheRingIsDrawnInTurns) {
    support::EngineDevice engine;
    GeometrySimple g;
    for (u16 t = 0; t < 20000; ++t) {
        const auto v = static_cast<u16>(3 * t);
        const auto x = static_cast<f32>(t);
        g.positions.insert(g.positions.end(), {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}});
        g.triangles.push_back({{v, static_cast<u16>(v + 1), static_cast<u16>(v + 2)}});
    }
    ShadowVolume volume(&g, true);
    volume.Build();
    volume.Update({{0, 0, 5}, {0, 0, -10}}, 0);
    ASSERT_EQ(volume.Silhouette().size(), 60000u);
    engine.context().BeginScene();
    volume.Draw();
    engine.context().EndScene();
    const auto draws = engine.recorded().Named("DrawIndexedPrimitive");
    ASSERT_EQ(draws.size(), 4u);
    std::size_t indices = 0;
    for (const support::Call& draw : draws) indices += draw.indices.size();
    EXPECT_EQ(indices, 6 * 60000u);
    // The last quad of the last turn: the side from corner 2 to corner 0 of the last triangle.
    const auto& last = draws.back();
    Vertex v;
    std::memcpy(&v, last.vertices.data() + std::size_t{last.indices.back() - 3} * sizeof v, sizeof v);
    EXPECT_EQ(v.x, 19999.0f);
    EXPECT_EQ(v.y, 1.0f);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(ShadowVolume, MergesACompositeThatStaysAsItIs) {
    const testing_messages::Listener messages;
    auto* a = new GeometrySimple;
    MakeTetrahedron(*a);
    auto* b = new GeometrySimple;
    MakeTetrahedron(*b);
    GeometryComposite both(std::vector<Geometry*>{a, b});
    ShadowVolume volume(&both, false);
    volume.Build();
    EXPECT_EQ(volume.Edges().size(), 12u);
    EXPECT_TRUE(messages.boxes.empty());

    // One that deforms has no shadow, and says so.
    ShadowVolume none(&both, true);
    none.Build();
    none.Update({{10, 10, 10}, {-1, -1, -1}}, 0);
    none.Refresh();
    none.Draw();
    EXPECT_TRUE(none.Edges().empty() && none.Silhouette().empty());
    EXPECT_EQ(messages.boxes,
              (std::vector<std::string>{
                  "ShadowVolume Generation only operates on NON-multimaterial object skinned objects."}));
}
