// Silhouettes and the volumes drawn from them.
#include <gtest/gtest.h>

#include <cstring>

#include "geometry/geometry_composite.h"
#include "geometry/shadow_volume.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"

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

}  // namespace

TEST(ShadowVolume, ClosedMeshHasEveryEdgeOnceWithTwoFaces) {
    GeometrySimple g;
    MakeTetrahedron(g);
    ShadowVolume volume(&g, false);
    volume.Build();
    EXPECT_EQ(volume.Edges().size(), 6u);
    for (const ShadowEdge& e : volume.Edges()) EXPECT_NE(e.face1, ShadowEdge::kNoFace);

    // A third triangle on an edge is not recorded.
    g.triangles = {{{0, 1, 2}}, {{1, 0, 3}}, {{0, 1, 3}}};
    volume.Build();
    EXPECT_EQ(volume.Edges().size(), 5u);
    EXPECT_EQ(volume.Edges()[0].face0, 0);
    EXPECT_EQ(volume.Edges()[0].face1, 1);
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

TEST(ShadowVolume, MergesACompositeThatStaysAsItIs) {
    auto* a = new GeometrySimple;
    MakeTetrahedron(*a);
    auto* b = new GeometrySimple;
    MakeTetrahedron(*b);
    GeometryComposite both(std::vector<Geometry*>{a, b});
    ShadowVolume volume(&both, false);
    volume.Build();
    EXPECT_EQ(volume.Edges().size(), 12u);
}
