// What geometries put into device buffers and send to draw.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "geometry/geometry_simple.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"

using namespace osm3d;

namespace {

struct GeometryDevice : testing::Test {
    support::EngineDevice engine;

    // The floats and words of the vertex buffer, one row per vertex.
    std::vector<std::vector<f32>> Rows(const GeometrySimple& g) {
        u32 fvf = 0;
        u32 stride = 0;
        g.GetVertexFormat(&fvf, &stride);
        const auto bytes = engine.recorded().Contents(g.VertexBuffer());
        std::vector<std::vector<f32>> rows(bytes.size() / stride, std::vector<f32>(stride / 4));
        for (std::size_t v = 0; v < rows.size(); ++v) std::memcpy(rows[v].data(), &bytes[v * stride], stride);
        return rows;
    }

    std::vector<u16> Indices(const GeometrySimple& g) {
        const auto bytes = engine.recorded().Contents(g.IndexBuffer());
        std::vector<u16> words(bytes.size() / 2);
        std::memcpy(words.data(), bytes.data(), bytes.size());
        return words;
    }

    void TearDown() override {
        for (const std::string& fault : engine.recorded().faults) ADD_FAILURE() << fault;
    }
};

void MakeTriangle(GeometrySimple& g) {
    g.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    g.triangles = {{{2, 1, 0}}};
}

}  // namespace

TEST_F(GeometryDevice, VerticesAreInterleavedInOrder) {
    GeometrySimple g;
    MakeTriangle(g);
    g.normals = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    g.uvSets = {{{10, 11}, {12, 13}, {14, 15}}, {{20, 21}, {22, 23}, {24, 25}}};
    g.Initialize();
    const auto rows = Rows(g);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1], (std::vector<f32>{1, 0, 0, 4, 5, 6, 12, 13, 22, 23}));
    EXPECT_EQ(Indices(g), (std::vector<u16>{2, 1, 0}));

    // Once more with other arrays: everything anew.
    g.normals.clear();
    g.uvSets.clear();
    g.positions.push_back({5, 5, 5});
    g.Initialize();
    EXPECT_EQ(Rows(g).size(), 4u);
    EXPECT_EQ(Rows(g)[3], (std::vector<f32>{5, 5, 5}));
}

TEST_F(GeometryDevice, ColoursTakeTheNormalsPlaceAndSwitchLightingOffAroundTheDraw) {
    GeometrySimple g;
    MakeTriangle(g);
    g.normals.resize(3);
    g.colors = {{1, 0.5f, 0, 2}, {0, 0, 0, 0}, {0, 0, 0, 0}};
    g.Initialize();
    EXPECT_EQ(Rows(g)[0].size(), 4u);
    u32 word = 0;
    std::memcpy(&word, &Rows(g)[0][3], 4);
    EXPECT_EQ(word, 0xffff8000u);

    engine.context().BeginScene();
    engine.recorded().Clear();
    g.Draw();
    const auto lighting = engine.recorded().Named("SetRenderState");
    ASSERT_EQ(lighting.size(), 2u);
    EXPECT_EQ(lighting[0].args, (std::vector<i64>{D3DRS_LIGHTING, 0}));
    EXPECT_EQ(lighting[1].args, (std::vector<i64>{D3DRS_LIGHTING, 1}));
    EXPECT_EQ(engine.recorded().Calls().back().args, lighting[1].args);
    EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive", {D3DPT_TRIANGLELIST, 0, 0, 3, 0, 1}), 1u);
    EXPECT_EQ(engine.recorded().Count("SetFVF", {0x42}), 1u);
    engine.context().EndScene();
}

TEST_F(GeometryDevice, DrawSendsBuffersThenTheWholeList) {
    GeometrySimple g;
    MakeTriangle(g);
    g.normals.resize(3);
    g.Draw();  // nothing before Initialize
    EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 0u);
    g.Initialize();
    engine.context().BeginScene();
    engine.recorded().Clear();
    g.Draw();
    std::vector<std::string_view> names;
    for (const auto& call : engine.recorded().Calls()) names.push_back(call.name);
    EXPECT_EQ(names,
              (std::vector<std::string_view>{"SetIndices", "SetVertexShader", "SetFVF", "SetStreamSource",
                                             "ValidateDevice", "DrawIndexedPrimitive"}));
    engine.context().effectActive = true;
    engine.recorded().Clear();
    g.Draw();
    EXPECT_EQ(engine.recorded().Count("SetVertexShader"), 0u) << "an effect keeps its vertex shader";
    engine.context().effectActive = false;
    engine.context().EndScene();
}

TEST_F(GeometryDevice, UpdateWritesWhatTheMaskNames) {
    GeometrySimple g(true, false);
    MakeTriangle(g);
    g.normals.assign(3, {0, 0, 1});
    g.uvSets = {{{1, 1}, {2, 2}, {3, 3}}};
    g.Initialize();
    EXPECT_EQ(engine.recorded().Count("CreateVertexBuffer", {96, D3DUSAGE_WRITEONLY | D3DUSAGE_DYNAMIC}), 1u);
    EXPECT_EQ(engine.recorded().Count("CreateIndexBuffer", {6, D3DUSAGE_WRITEONLY}), 1u);
    g.positions.assign(3, {7, 7, 7});
    g.normals.assign(3, {8, 8, 8});
    g.uvSets[0].assign(3, {9, 9});
    g.triangles[0] = {{0, 1, 2}};

    g.UpdateBuffers(GeometrySimple::kUpdatePositions);
    EXPECT_EQ(Rows(g)[1], (std::vector<f32>{7, 7, 7, 0, 0, 1, 2, 2}));
    g.UpdateBuffers(GeometrySimple::kUpdateNormals);
    EXPECT_EQ(Rows(g)[1], (std::vector<f32>{7, 7, 7, 8, 8, 8, 2, 2}));
    EXPECT_EQ(Indices(g), (std::vector<u16>{2, 1, 0}));
    // 0x200 is vertex number 1 (and 0x200 & 0x300 number 2), whatever the set.
    g.UpdateBuffers(0x200);
    EXPECT_EQ(Rows(g)[0].back(), 1.0f);
    EXPECT_EQ(Rows(g)[1].back(), 9.0f);
    EXPECT_EQ(Rows(g)[2].back(), 9.0f);
    g.UpdateBuffers(GeometrySimple::kUpdateIndices);
    EXPECT_EQ(Indices(g), (std::vector<u16>{0, 1, 2}));

    // A shape that has grown since Initialize stays out of the old buffers.
    g.positions.resize(50);
    g.normals.resize(50);
    g.uvSets[0].resize(50);
    g.UpdateBuffers(0xffff);
    EXPECT_EQ(Rows(g).size(), 3u);
}

TEST_F(GeometryDevice, TangentFrameOfASkewedTriangle) {
    GeometrySimple g;
    g.positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    g.triangles = {{{0, 1, 2}}};
    g.normals.assign(3, {0, 0, 1});
    g.uvSets = {{{0, 0}, {1, 1}, {0, 2}}};
    g.hasTangents = true;
    g.Initialize();
    // At vertex 1: e1 = (-1, 0, 0), e2 = (-1, 1, 0), so T = e1 * 1 - e2 * -1 and B = e1 * -1 - e2 * -1, whose
    // cross product points down; both turn round.
    const f32 length = std::sqrt(5.0f);
    const f32 expected[] = {1, 0, 0, 0, 0, 1, 1, 1, 2 / length, -1 / length, 0, 0, -1, 0};
    const auto row = Rows(g)[1];
    ASSERT_EQ(row.size(), std::size(expected));
    for (std::size_t i = 0; i < row.size(); ++i) EXPECT_NEAR(row[i], expected[i], 1e-6f) << i;
}

TEST_F(GeometryDevice, WithoutShapeOrBuffersStaysQuiet) {
    engine.context().BeginScene();
    for (const bool refused : {false, true}) {
        engine.recorded().adapter.refuse_resources = refused;
        GeometrySimple g;
        if (refused) MakeTriangle(g);
        g.Initialize();
        g.UpdateBuffers(0x1ffff);
        g.Draw();
        EXPECT_EQ(g.VertexBuffer(), nullptr);
        EXPECT_EQ(engine.recorded().Count("DrawIndexedPrimitive"), 0u);
    }
    engine.context().EndScene();
}
