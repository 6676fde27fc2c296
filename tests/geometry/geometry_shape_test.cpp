// What geometries compute on their arrays.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "geometry/geometry_composite.h"
#include "geometry/geometry_simple.h"
#include "scene/value_operations.h"

using namespace osm3d;

namespace {

// Two triangles side by side, five vertices of which number 0 is used by none.
void MakeStrip(GeometrySimple& g) {
    g.positions = {{9, 9, 9}, {0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    g.triangles = {{{3, 1, 2}}, {{1, 3, 4}}};
}

}  // namespace

TEST(GeometryShape, VertexFormats) {
    const struct {
        u32 normals, colors, sets;
        bool tangents;
        u32 fvf, stride;
    } rows[] = {{0, 0, 0, false, 0x002, 12},
                {1, 0, 0, false, 0x012, 24},
                {1, 0, 2, false, 0x212, 40},
                {1, 1, 1, false, 0x142, 24},
                {1, 0, 1, true, 0xC0312, 56},  // three coordinates; the bits
                                               // for one set are 18 and 19
                {0, 0, 0, true, 0x50202, 36},
                {0, 0, 2, true, 0x100402, 52},
                {0, 0, 3, true, 0x600502, 60}};
    for (const auto& row : rows) {
        GeometrySimple g;
        g.positions.resize(1);
        g.normals.resize(row.normals);
        g.colors.resize(row.colors);
        g.uvSets.assign(row.sets, std::vector<UV>(1));
        g.hasTangents = row.tangents;
        u32 fvf = 0;
        u32 stride = 0;
        g.GetVertexFormat(&fvf, &stride);
        EXPECT_EQ(fvf, row.fvf) << std::hex << row.fvf;
        EXPECT_EQ(stride, row.stride) << std::hex << row.fvf;
    }
}

TEST(GeometryShape, SphereIsAboutTheMeanAndALittleLarger) {
    GeometrySimple g;
    g.positions = {{0, 0, 0}, {4, 0, 0}, {0, 0, 0}, {4, 0, 0}};
    const sphere s = g.GetBoundingSphere();
    EXPECT_EQ(s.center, (vect3{2, 0, 0}));
    EXPECT_EQ(s.radius, static_cast<f32>(2.0 + 0.0001));
}

TEST(GeometryShape, BoundsAreKeptUntilTheGeometryChangesThem) {
    GeometrySimple g;
    g.positions = {{1, 2, 3}, {-1, 5, 0}};
    EXPECT_EQ(g.GetBounds(), (box{{-1, 2, 0}, {1, 5, 3}}));
    g.positions[0].x = 10;
    EXPECT_EQ(g.GetBounds().max.x, 1.0f);
    g.UpdateBuffers(GeometrySimple::kUpdatePositions);
    EXPECT_EQ(g.GetBounds().max.x, 10.0f);
    g.Transform(MatrixTranslation({0, 0, 7}));
    EXPECT_EQ(g.GetBounds().max.z, 10.0f);
    EXPECT_EQ(GeometrySimple().GetBounds(), kBoxEmpty);
}

TEST(GeometryShape, TransformMovesPositionsAndKeepsNormalsUpright) {
    GeometrySimple g;
    g.positions = {{1, 1, 0}};
    g.normals = {{0, 1, 0}};
    matrix shear = kMatrixIdentity;
    shear.m[0][1] = 1;
    shear.m[3][1] = 5;
    g.Transform(shear);
    EXPECT_EQ(g.positions[0], (vect3{1, 7, 0}));
    // The slope (1, 0) became (1, 1): what stands upright on it is (-1, 1).
    EXPECT_NEAR(g.normals[0].x, -std::sqrt(0.5f), 1e-6f);
    EXPECT_NEAR(g.normals[0].y, std::sqrt(0.5f), 1e-6f);

    g.triangles = {{{1, 2, 3}}};
    g.FlipWinding();
    EXPECT_EQ(g.triangles[0], (Triangle{{2, 1, 3}}));
}

TEST(GeometryShape, SplitKeepsVerticesInTheOrderTheyAreMet) {
    GeometrySimple g(true, false);
    MakeStrip(g);
    g.uvSets = {{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}};
    g.groups.resize(1);
    const std::unique_ptr<GeometryComposite> split(g.SplitByAttribute({7, 1}, 8));
    ASSERT_EQ(split->PartCount(), 8u);
    auto* part = dynamic_cast<GeometrySimple*>(split->Part(7));
    EXPECT_EQ(part->triangles, (std::vector<Triangle>{{{0, 1, 2}}}));
    EXPECT_EQ(part->positions, (std::vector<vect3>{{1, 1, 0}, {0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(part->uvSets, (std::vector<std::vector<UV>>{{{3, 0}, {1, 0}, {2, 0}}}));
    EXPECT_TRUE(part->normals.empty() && part->colors.empty() && part->groups.empty());
    EXPECT_TRUE(part->dynamicVertices);
    EXPECT_EQ(dynamic_cast<GeometrySimple*>(split->Part(1))->positions[2], (vect3{0, 1, 0}));
    EXPECT_EQ(dynamic_cast<GeometrySimple*>(split->Part(0))->VertexCount(), 0u);
}

TEST(GeometryShape, ValidateFindsWhatWouldReadOutOfRange) {
    std::string reason;
    GeometrySimple g;
    MakeStrip(g);
    EXPECT_TRUE(g.Validate(reason)) << reason;
    g.triangles[1].index[2] = 5;
    EXPECT_FALSE(g.Validate(reason));
    g.triangles[1].index[2] = 4;
    g.hasTangents = true;
    EXPECT_FALSE(g.Validate(reason)) << "tangents need a set";
    g.uvSets.assign(1, std::vector<UV>(5));
    EXPECT_TRUE(g.Validate(reason)) << reason;
    g.uvSets.assign(7, std::vector<UV>(5));
    EXPECT_FALSE(g.Validate(reason)) << "nine coordinates";
    g.uvSets.assign(1, std::vector<UV>(4));
    EXPECT_FALSE(g.Validate(reason)) << "a set too short";
}

TEST(GeometryComposite, ExtentOfItsParts) {
    GeometryComposite empty;
    EXPECT_EQ(empty.GetBounds(), kBoxEmpty);
    EXPECT_EQ(empty.GetBoundingSphere(), (sphere{{0, 0, 0}, -FLT_MAX}));
    auto* a = new GeometrySimple;
    a->positions = {{0, 0, 0}, {2, 0, 0}};
    auto* b = new GeometrySimple;
    b->positions = {{0, -4, 1}};
    const sphere merged = SphereMerge(a->GetBoundingSphere(), b->GetBoundingSphere());
    GeometryComposite two(std::vector<Geometry*>{a, b});
    EXPECT_EQ(two.GetBounds(), (box{{0, -4, 0}, {2, 0, 1}}));
    EXPECT_EQ(two.GetBoundingSphere(), merged);
}

TEST(GeometryComposite, FlattenPutsAllPartsIntoOneIndexSpace) {
    auto* a = new GeometrySimple;
    MakeStrip(*a);
    a->normals.resize(5);
    auto* b = new GeometrySimple;
    MakeStrip(*b);
    GeometryComposite both(std::vector<Geometry*>{a, b});
    const std::unique_ptr<GeometrySimple> flat(both.Flatten());
    EXPECT_EQ(flat->VertexCount(), 10u);
    EXPECT_TRUE(flat->normals.empty());
    EXPECT_EQ(flat->triangles[0], (Triangle{{3, 1, 2}}));
    EXPECT_EQ(flat->triangles[3], (Triangle{{6, 8, 9}}));
}
