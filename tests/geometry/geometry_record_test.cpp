// The stored forms of geometries: bytes written by hand, read, and written again.
#include <gtest/gtest.h>

#include "geometry/geometry_composite.h"
#include "geometry/geometry_simple.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

constexpr u32 kGosmHeader = 4 + 12;

u32 ContentsOf(const std::vector<u8>& file) {
    u32 word = 0;
    std::memcpy(&word, file.data() + kGosmHeader, 4);
    return word;
}

// A geometry with everything that can be stored, the contents word and arrays in file order.
void FullBody(om2::File& f) {
    f.U32(0x70F17);
    f.I32(3);  // vertices
    f.I32(2);  // triangles
    for (int i = 0; i < 9; ++i) f.F32(static_cast<float>(i));
    for (int i = 0; i < 9; ++i) f.F32(static_cast<float>(i) * 0.5f);
    for (int i = 0; i < 12; ++i) f.F32(static_cast<float>(i) * 0.1f);
    f.I32(2);  // texture coordinate sets
    for (int i = 0; i < 12; ++i) f.F32(static_cast<float>(i) - 3.0f);
    for (unsigned i : {0u, 1u, 2u, 2u, 1u, 0u}) f.U16(i);
    f.I32(1);  // groups
    for (unsigned i : {7u, 8u, 9u, 65535u}) f.U16(i);
}

}  // namespace

TEST(GeometryRecord, EveryArrayComesBackInItsPlaceAndIsWrittenAlike) {
    om2::File f;
    f.Chunk("GOSM", 1, [&] { FullBody(f); });
    const auto loaded = Load(f.bytes);
    auto* g = loaded.As<GeometrySimple>();
    ASSERT_NE(g, nullptr);
    EXPECT_FALSE(loaded.failed);
    ASSERT_EQ(g->positions.size(), 3u);
    EXPECT_EQ(g->positions[2], (vect3{6, 7, 8}));
    EXPECT_EQ(g->normals[1], (vect3{1.5f, 2.0f, 2.5f}));
    EXPECT_EQ(g->colors[0], (color{0.0f, 0.1f, 0.2f, 0.1f * 3.0f}));
    ASSERT_EQ(g->uvSets.size(), 2u);
    EXPECT_EQ(g->uvSets[1][0], (UV{3, 4}));
    EXPECT_EQ(g->triangles[1], (Triangle{{2, 1, 0}}));
    EXPECT_EQ(g->groups[0], (GeometryGroup{{7, 8, 9, 65535}}));
    EXPECT_TRUE(g->dynamicVertices && g->dynamicIndices && g->hasTangents);
    EXPECT_EQ(Save(g), f.bytes);
}

TEST(GeometryRecord, ContentsWordFollowsTheArrays) {
    GeometrySimple g;
    g.positions.resize(3);
    g.triangles = {{{0, 1, 2}}};
    EXPECT_EQ(ContentsOf(Save(&g)), 0x113u);

    GeometrySimple colored;
    colored.colors.resize(5);
    const auto bytes = Save(&colored);
    EXPECT_EQ(ContentsOf(bytes), 0x800u);
    EXPECT_EQ(bytes.size(), kGosmHeader + 4u) << "colours without vertices are not stored";

    GeometrySimple nothing;
    EXPECT_EQ(ContentsOf(Save(&nothing)), 0u);
}

TEST(GeometryRecord, CountsThatTheFileCannotHoldFailTheRead) {
    struct Case {
        u32 contents;
        i32 vertices, triangles, sets;
    };
    for (const Case& c : {Case{0x101, 0x7fffffff, 0, 0}, Case{0x101, -1, 0, 0}, Case{0x12, 0, 0x40000000, 0},
                          Case{0x401, 0, 0, 0x7fffffff}, Case{0x401, 0x20000001, 0, 8}}) {
        om2::File f;
        f.Chunk("GOSM", 1, [&] {
            f.U32(c.contents);
            if (c.contents & 1) f.I32(c.vertices);
            if (c.contents & 2) f.I32(c.triangles);
            if (c.contents & 0x400) f.I32(c.sets);
            for (int i = 0; i < 16; ++i) f.F32(1.0f);
        });
        EXPECT_TRUE(Load(f.bytes).failed) << std::hex << c.contents;
    }
}

TEST(GeometryRecord, CompositesNestedTooDeepOrHoldingAPartTwiceAreRefused) {
    std::string reason;
    const auto nested = [&](u32 depth) {
        Geometry* inner = new GeometrySimple;
        for (u32 i = 0; i < depth; ++i) inner = new GeometryComposite(std::vector<Geometry*>{inner});
        const std::unique_ptr<Geometry> owner(inner);
        return owner->Validate(reason);
    };
    EXPECT_TRUE(nested(GeometryComposite::kMaxDepth)) << reason;
    EXPECT_FALSE(nested(GeometryComposite::kMaxDepth + 1));

    om2::File twice;
    twice.Chunk("GOCP", 1, [&] {
        twice.I32(2);
        const int part = twice.Geometry(om2::Quad(0, 0, 1, 1));
        twice.Ref(part);
    });
    EXPECT_FALSE(Load(twice.bytes).As<GeometryComposite>()->Validate(reason));
}
