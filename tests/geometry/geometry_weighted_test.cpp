// Geometries with bone weights: their record, their own vertices on the device, and their parts.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "geometry/geometry_composite.h"
#include "geometry/geometry_weighted.h"
#include "support/engine_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

void Weights(om2::File& f, const std::vector<VertexWeights>& weights) {
    f.I32(static_cast<i32>(weights.size()));
    for (const VertexWeights& w : weights) {
        for (unsigned bone : w.bones) f.U8(bone);
        for (float share : w.blend) f.F32(share);
    }
}

}  // namespace

TEST(GeometryWeighted, RecordIsThePlainBodyAndSixteenBytesAVertex) {
    // Fewer weights than vertices are stored like any others.
    for (const std::vector<VertexWeights>& weights :
         {std::vector<VertexWeights>{},
          {{{1, 2, 3, 255}, {0.5f, 0.25f, 0.125f}}, {{9, 8, 7, 6}, {1, 0, 0}}}}) {
        om2::File f;
        f.Chunk("GOWT", 1, [&] {
            f.ShapeBody(om2::Quad(0, 0, 1, 1));
            Weights(f, weights);
        });
        const auto loaded = Load(f.bytes);
        auto* g = loaded.As<GeometryWeighted>();
        ASSERT_NE(g, nullptr);
        EXPECT_FALSE(loaded.failed);
        EXPECT_EQ(g->VertexCount(), 4u);
        EXPECT_EQ(g->weights, weights);
        EXPECT_EQ(Save(g), f.bytes);
    }
    om2::File lying;
    lying.Chunk("GOWT", 1, [&] {
        lying.ShapeBody(om2::Quad(0, 0, 1, 1));
        lying.I32(0x7fffffff);
    });
    EXPECT_TRUE(Load(lying.bytes).failed);
}

TEST(GeometryWeighted, VerticesOnTheDeviceCarryTheWeights) {
    support::EngineDevice engine;
    GeometryWeighted g;
    g.positions = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    g.triangles = {{{0, 1, 2}}};
    g.uvSets = {{{10, 11}, {12, 13}, {14, 15}}, {{0, 0}, {0, 0}, {0, 0}}};
    g.colors.resize(3);
    g.dynamicVertices = true;
    g.weights = {{{1, 2, 3, 4}, {0.1f, 0.2f, 0.3f}}, {{5, 6, 7, 8}, {0.4f, 0.5f, 0.6f}}};
    std::string reason;
    EXPECT_TRUE(g.Validate(reason)) << "weights count where a skin uses them";
    g.Initialize();

    const auto bytes = engine.recorded().Contents(g.VertexBuffer());
    ASSERT_EQ(bytes.size(), 3u * 48);
    const auto floats = [&](std::size_t v) {
        std::array<f32, 12> row;
        std::memcpy(row.data(), &bytes[48 * v], 48);
        return row;
    };
    const auto second = floats(1);
    EXPECT_EQ((vect3{second[0], second[1], second[2]}), (vect3{4, 5, 6}));
    EXPECT_EQ((vect3{second[3], second[4], second[5]}), (vect3{0.4f, 0.5f, 0.6f}));
    EXPECT_EQ((std::vector<u8>(&bytes[48 + 24], &bytes[48 + 28])), (std::vector<u8>{5, 6, 7, 8}));
    EXPECT_EQ((vect3{second[7], second[8], second[9]}), (vect3{0, 0, 0})) << "it has no normals";
    EXPECT_EQ(second[10], 12.0f);
    EXPECT_EQ(second[11], 13.0f);
    EXPECT_EQ(floats(2)[3], 0.0f) << "a vertex without weights";

    // The index buffer has room for as many indices as there are triangles. All are asked for; the refusal is
    // the device's fault list, and nothing is drawn out of such a buffer.
    EXPECT_EQ(engine.recorded().Contents(g.IndexBuffer()).size(), 2u);
    EXPECT_EQ(engine.recorded().Named("IndexBuffer.Lock").at(0).args.at(2), 6);
    EXPECT_EQ(engine.recorded().faults.size(), 1u);
    engine.context().BeginScene();
    g.Draw();
    EXPECT_EQ(engine.recorded().totals.draws, 0u);
    g.UpdateBuffers(3);
    EXPECT_EQ(engine.recorded().Contents(g.VertexBuffer())[48], bytes[48]);
    engine.context().EndScene();
}

TEST(GeometryWeighted, PartsKeepTheWeightsOfTheirVertices) {
    GeometryWeighted g;
    g.positions = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    g.triangles = {{{0, 1, 2}}, {{3, 2, 1}}};
    for (u8 bone = 0; bone < 4; ++bone) g.weights.push_back({{bone, 0, 0, 0}, {1, 0, 0}});
    const std::unique_ptr<GeometryComposite> parts(g.SplitByAttribute({1, 0}, 3));
    ASSERT_EQ(parts->PartCount(), 3u);
    auto* first = dynamic_cast<GeometryWeighted*>(parts->Part(0));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->positions, (std::vector<vect3>{{3, 0, 0}, {2, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(first->weights, (std::vector<VertexWeights>{g.weights[3], g.weights[2], g.weights[1]}));
    EXPECT_TRUE(dynamic_cast<GeometryWeighted*>(parts->Part(2))->weights.empty());

    g.weights.resize(3);
    const std::unique_ptr<GeometryComposite> fewer(g.SplitByAttribute({0, 0}, 1));
    EXPECT_EQ(dynamic_cast<GeometryWeighted*>(fewer->Part(0))->weights[3], VertexWeights{});
}
