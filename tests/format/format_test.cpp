// Scene files written from the byte layout alone, played through the module: what they show is where and what
// the rules of the format say, and writing them again gives the same bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "format/format_fixture.h"

namespace {

using format_test::At;
using format_test::Covers;
using format_test::FormatTest;
using format_test::kPixelsPerUnit;
using format_test::Shows;
using om2::AddComposite;
using om2::Colored;
using om2::File;
using om2::Mat;
using om2::Rgb;
using om2::SceneFile;
using om2::TexturedQuad;
using om2::Tga;

TEST_F(FormatTest, AColouredQuadCoversItsPixelsExactly) {
    SceneFile s;
    s.Mesh(Colored(om2::Quad(-2, -2, 2, 2), {1, 0.5f, 0, 1}), s.Null(), s.Null());
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {255, 128, 0}, 320 - 96, 240 - 96, 320 + 96, 240 + 96));
    EXPECT_TRUE(Shows(p, 10, 10, {0, 0, 0}));
}

TEST_F(FormatTest, TheBackOfAQuadIsNotDrawnUnlessItsMaterialHasNoBack) {
    SceneFile s;
    File::Shape back = om2::Quad(-2, -2, 2, 2);
    for (auto& t : back.triangles) std::swap(t[0], t[1]);
    int one_sided = -1, two_sided = -1;
    s.Glowing(one_sided, {1, 0, 0, 1});
    s.materials.push_back([&] {
        File::MaterialColors colors;
        colors.diffuse = {0, 0, 0, 1};
        colors.emissive = {0, 1, 0, 1};
        two_sided = s.file.Material(
            colors, 1, [&] { s.file.RenderState(false, 2); }, [&] { s.file.I32(0); });
    });
    s.Mesh(back, s.Ref(one_sided), [&] { s.file.Placement({-3, 0, 0}); });
    s.Mesh(back, s.Ref(two_sided), [&] { s.file.Placement({3, 0, 0}); });
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Shows(p, 320 - 144, 240, {0, 0, 0}));
    EXPECT_TRUE(Shows(p, 320 + 144, 240, {0, 255, 0}));
}

TEST_F(FormatTest, LitQuadsHaveTheLightThatTheFormulaGives) {
    SceneFile s;
    int material = -1;
    s.materials.push_back([&] {
        File::MaterialColors colors;
        colors.diffuse = {0.5f, 1, 0.25f, 1};
        colors.ambient = {1, 0.5f, 0, 1};
        colors.emissive = {0, 0, 0.1f, 1};
        material = s.file.Material(colors);
    });
    s.Mesh(om2::Quad(-2, -2, 2, 2), s.Ref(material), s.Null());
    // Three above the middle: every corner is as far away.
    s.lights.push_back([&] {
        s.file.Light(
            [&] {
                s.file.Placement({0, 0, 3});
            },
            {0.1f, 0.1f, 0.1f, 0}, {1, 0.8f, 1, 1}, {0, 0, 0, 0}, 100, {0.5f, 0.1f, 0});
    });
    s.before.push_back([&] { s.file.Chunk("ATAM", 1, [&] { s.file.ConstColor({0.2f, 0.2f, 0.2f, 1}); }); });
    const host::Picture p = Show(s.Bytes());
    const double distance = std::sqrt(4.0 + 4.0 + 9.0);
    const double attenuation = 1 / (0.5 + 0.1 * distance);
    const double cosine = 3 / distance;
    auto channel = [&](double diffuse, double ambient, double emissive, double light) {
        const double sum =
            emissive + ambient * 0.2 + attenuation * (0.1 * ambient + cosine * diffuse * light);
        return static_cast<int>(std::lround(std::min(sum, 1.0) * 255));
    };
    const Rgb expected{channel(0.5, 1, 0, 1), channel(1, 0.5, 0, 0.8), channel(0.25, 0, 0.1, 1)};
    EXPECT_TRUE(Covers(p, expected, 224, 144, 416, 336));
}

TEST_F(FormatTest, ATextureLiesTheRightWayUpOnItsQuad) {
    for (unsigned version : {1u, 2u}) {
        SceneFile s;
        int texture = -1, material = -1;
        const std::vector<Rgb> texels = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
        s.textures.push_back([&] { texture = s.file.EmbeddedTexture(Tga(2, 2, texels)); });
        s.Textured(material, texture, version);
        s.Mesh(TexturedQuad(-2, -2, 2, 2), s.Ref(material), s.Null());
        const host::Picture p = Show(s.Bytes());
        EXPECT_TRUE(Shows(p, 250, 170, {255, 0, 0})) << version;
        EXPECT_TRUE(Shows(p, 390, 170, {0, 255, 0})) << version;
        EXPECT_TRUE(Shows(p, 250, 310, {0, 0, 255})) << version;
        EXPECT_TRUE(Shows(p, 390, 310, {255, 255, 255})) << version;
    }
}

TEST_F(FormatTest, AConstantOffsetMovesTheTexture) {
    SceneFile s;
    int texture = -1, material = -1;
    s.textures.push_back([&] {
        texture = s.file.EmbeddedTexture(Tga(4, 1, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}));
    });
    s.Textured(material, texture, 2, 0.25f);
    s.Mesh(TexturedQuad(-2, -2, 2, 2), s.Ref(material), s.Null());
    const host::Picture p = Show(s.Bytes());
    // u' = u - 0.25, wrapped: the image moves a quarter to the right.
    EXPECT_TRUE(Shows(p, 224 + 24, 240, {255, 255, 0}));
    EXPECT_TRUE(Shows(p, 224 + 72, 240, {255, 0, 0}));
    EXPECT_TRUE(Shows(p, 224 + 120, 240, {0, 255, 0}));
    EXPECT_TRUE(Shows(p, 224 + 168, 240, {0, 0, 255}));
}

TEST_F(FormatTest, BlendedMeshesComeAfterOpaqueOnesWhateverTheirOrder) {
    SceneFile s;
    int opaque = -1, blended = -1;
    s.materials.push_back([&] {
        File::MaterialColors colors;
        blended = s.file.Material(
            colors, 4, [&] { s.file.RenderState(true, 0, true, 1); }, [&] { s.file.I32(0); });
    });
    s.Glowing(opaque, {1, 0, 0, 1});
    File::Shape front = Colored(om2::Quad(-2, -2, 2, 2, 1), {0, 0, 1, 0.5f});
    s.Mesh(front, s.Ref(blended), s.Null());
    s.Mesh(om2::Quad(-4, -4, 4, 4), s.Ref(opaque), s.Null());
    const host::Picture p = Show(s.Bytes());
    // Alpha 128 of 255; the nearer quad is 4/5 as far away.
    EXPECT_TRUE(Covers(p, {127, 0, 128}, 320 - 120, 240 - 120, 320 + 120, 240 + 120));
    EXPECT_TRUE(Shows(p, 320 - 150, 240, {255, 0, 0}));
}

TEST_F(FormatTest, TheNearerOfTwoOpaqueQuadsIsSeen) {
    for (bool near_first : {false, true}) {
        SceneFile s;
        const File::Shape near_quad = Colored(om2::Quad(-1, -1, 1, 1, 1), {0, 1, 0, 1});
        const File::Shape far_quad = Colored(om2::Quad(-2, -2, 2, 2), {1, 0, 0, 1});
        s.Mesh(near_first ? near_quad : far_quad, s.Null(), s.Null());
        s.Mesh(near_first ? far_quad : near_quad, s.Null(), s.Null());
        const host::Picture p = Show(s.Bytes());
        EXPECT_TRUE(Covers(p, {0, 255, 0}, 260, 180, 380, 300)) << near_first;
        EXPECT_TRUE(Shows(p, 230, 240, {255, 0, 0})) << near_first;
    }
}

TEST_F(FormatTest, APartOfACompositeTakesTheMaterialOfItsAttribute) {
    SceneFile s;
    int red = -1, green = -1, composite = -1;
    AddComposite(s, red, green, composite, 2);
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {0, 255, 0}, 320 - 192, 240 - 48, 320 - 96, 240 + 48));
    EXPECT_TRUE(Covers(p, {255, 0, 0}, 320 + 96, 240 - 48, 320 + 192, 240 + 48));
}

TEST_F(FormatTest, ACompositeOfVersion1KnowsNoAttributesAndUsesItsFirstMaterial) {
    SceneFile s;
    int red = -1, green = -1, composite = -1;
    AddComposite(s, red, green, composite, 1);
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Shows(p, 320 - 144, 240, {255, 0, 0}));
    EXPECT_TRUE(Shows(p, 320 + 144, 240, {255, 0, 0}));
}

TEST_F(FormatTest, HiddenMeshesAreNotDrawn) {
    SceneFile s;
    s.Mesh(Colored(om2::Quad(-4, -1, -2, 1), {1, 1, 1, 1}), s.Null(), s.Null(), true);
    s.Mesh(Colored(om2::Quad(2, -1, 4, 1), {1, 1, 1, 1}), s.Null(), s.Null(), false);
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {255, 255, 255}, 320 + 96, 192, 320 + 192, 288));
}

// A quad on a child of a moving node: the parent goes from -4 to 4 in 100 units, the child stands 1 above it.
TEST_F(FormatTest, AMeshFollowsTheKeysOfItsNodesParent) {
    SceneFile s;
    int root = -1, child = -1;
    s.tree = [&] {
        root = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(0);
            s.file.Chunk("CPRS", 1, [&] {
                s.file.Linear<3>("CLV3", {{0, {-4, 0, 0}}, {100, {4, 0, 0}}});
                s.file.ConstQuat({0, 0, 0, 1});
                s.file.ConstVec3({1, 1, 1});
            });
        });
        s.file.I32(1);
        child = s.file.Node({0, 1, 0}, {0, 0, 0, 1}, {2, 1, 1});
        s.file.I32(0);
    };
    s.Mesh(Colored(om2::Quad(-0.5f, -0.5f, 0.5f, 0.5f), {1, 1, 0, 1}), s.Null(), s.Ref(child));
    const std::vector<std::uint8_t> bytes = s.Bytes();
    for (const auto& [time, x] : std::vector<std::pair<double, int>>{{-10, -4}, {0, -4}, {75, 2}, {250, 4}}) {
        const int middle = 320 + static_cast<int>(static_cast<float>(x) * kPixelsPerUnit);
        EXPECT_TRUE(Covers(Show(bytes, time), {255, 255, 0}, middle - 48, 240 - 72, middle + 48, 240 - 24))
            << time;
    }
}

TEST_F(FormatTest, AnimatedColoursAndMatrixKeysFollowTheirRules) {
    SceneFile s;
    int material = -1, node = -1;
    s.tree = [&] {
        Mat moved = om2::kIdentity;
        moved[12] = 3;
        node = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(0);
            s.file.Chunk("CMTX", 1, [&] { s.file.Linear<16>("CLMT", {{0, om2::kIdentity}, {10, moved}}); });
        });
        s.file.I32(0);
    };
    s.materials.push_back([&] {
        material = s.file.Chunk("MTSM", 1, [&] {
            s.file.ConstColor({0, 0, 0, 1});
            s.file.ConstColor({0, 0, 0, 1});
            s.file.ConstColor({0, 0, 0, 1});
            // Colour times a factor that goes from 0 to 1.
            s.file.Chunk("CoCF", 1, [&] {
                s.file.I32(5);
                s.file.ConstColor({1, 0.5f, 0, 1});
                s.file.LinearFloat({{0, 0}, {10, 1}});
            });
            s.file.ConstFloat(0);
            s.file.RenderState();
            s.file.U8(1);
            s.file.I32(0);
        });
    });
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Ref(material), s.Ref(node));
    const std::vector<std::uint8_t> bytes = s.Bytes();
    EXPECT_TRUE(Covers(Show(bytes, 5), {128, 64, 0}, 272, 192, 368, 288));
    EXPECT_TRUE(Covers(Show(bytes, 8), {204, 102, 0}, 272 + 144, 192, 368 + 144, 288));
}

TEST_F(FormatTest, OldVersionsOfSceneAndMeshShowTheSame) {
    std::vector<host::Picture> pictures;
    for (unsigned version : {1u, 2u}) {
        SceneFile s;
        s.version = version;
        int material = -1;
        s.Glowing(material, {0.2f, 0.4f, 0.6f, 1});
        s.Mesh(om2::Quad(-2, -1, 1, 2), s.Ref(material), s.Null(), false, version);
        pictures.push_back(Show(s.Bytes()));
        EXPECT_TRUE(Covers(pictures.back(), {51, 102, 153}, 320 - 96, 240 - 96, 320 + 48, 240 + 48))
            << version;
    }
    EXPECT_EQ(pictures[0].rgb, pictures[1].rgb);
}

TEST_F(FormatTest, UnknownChunksReadAsNothing) {
    SceneFile s;
    // A class from the future, with objects in it that nobody can refer to.
    s.background = [&] {
        s.file.Chunk("ZZZZ", 9, [&] {
            s.file.ConstFloat(1);
            s.file.U8(7);
        });
    };
    int unknown = -1;
    s.meshes.push_back([&] {
        s.file.Mesh(
            [&] {
                s.file.Geometry(Colored(om2::Quad(-1, -1, 1, 1), {1, 1, 1, 1}));
            },
            [&] { unknown = s.file.Chunk("QQQQ", 1, [&] { s.file.U32(3); }); }, [&] { s.file.Null(); });
    });
    s.Mesh(Colored(om2::Quad(2, -1, 4, 1), {1, 0, 0, 1}), s.Ref(unknown), s.Null());
    testing::internal::CaptureStderr();
    const host::Picture p = Show(s.Bytes());
    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("OSMIO : Unknown chunk read : QQQQ, version : 1, size : 4"), std::string::npos)
        << messages;
    EXPECT_NE(messages.find("OSMIO : Unknown chunk read : ZZZZ, version : 9, size : 17"), std::string::npos)
        << messages;
    EXPECT_TRUE(Covers(p, {255, 255, 255}, 272, 192, 368, 288));
    EXPECT_TRUE(Covers(p, {255, 0, 0}, 320 + 96, 192, 320 + 192, 288));
}

TEST_F(FormatTest, PackedScenesShowTheSameAsPlainOnes) {
    SceneFile s;
    int texture = -1, material = -1;
    s.textures.push_back([&] { texture = s.file.EmbeddedTexture(Tga(1, 1, {{10, 200, 30}})); });
    s.Textured(material, texture);
    s.Mesh(TexturedQuad(-2, -2, 2, 2), s.Ref(material), s.Null());
    const std::vector<std::uint8_t> plain = s.Bytes();
    const std::vector<std::uint8_t> packed =
        tools::MakeEnvelope(tools::Form::Packed, {plain.begin() + 4, plain.end()});
    ASSERT_NE(plain, packed);
    const host::Picture p = Show(packed);
    EXPECT_TRUE(Covers(p, {10, 200, 30}, 224, 144, 416, 336));
    EXPECT_EQ(Show(plain).rgb, p.rgb);
}

TEST_F(FormatTest, CamerasAreChosenByTheirIndex) {
    SceneFile s;
    s.cameras = [&] {
        s.file.I32(2);
        s.file.Camera([&] { s.file.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
        s.camera = s.file.Camera([&] { s.file.Placement({0, 0, 10}); }, om2::kHalfPi, 1, 100);
    };
    s.Mesh(Colored(om2::Quad(-2, -2, 2, 2), {1, 1, 1, 1}), s.Null(), s.Null());
    const std::vector<std::uint8_t> bytes = s.Bytes();
    EXPECT_TRUE(Covers(Show(bytes), {255, 255, 255}, 320 - 48, 240 - 48, 320 + 48, 240 + 48));
    EXPECT_TRUE(Covers(Show(bytes, 0, 0), {255, 255, 255}, 224, 144, 416, 336));
    EXPECT_TRUE(Covers(Show(bytes, 0, 1), {255, 255, 255}, 320 - 48, 240 - 48, 320 + 48, 240 + 48));
    EXPECT_TRUE(Covers(Show(bytes, 0, 9), {255, 255, 255}, 224, 144, 416, 336));
}

TEST_F(FormatTest, AnAimedCameraLooksAtItsTargetWithZUp) {
    SceneFile s;
    int target = -1, eye = -1;
    s.tree = [&] {
        s.file.PlainNode();
        s.file.I32(1);
        eye = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(1);
            target = s.file.Node({1, 0, 0});
            s.file.Null();
            s.file.Chunk("CPRS", 1, [&] {
                s.file.ConstVec3({-4, 0, 0});
                s.file.ConstQuat({0, 0, 0, 1});
                s.file.ConstVec3({1, 1, 1});
            });
        });
        s.file.I32(0);
    };
    s.cameras = [&] {
        s.file.I32(1);
        s.camera = s.file.Camera([&] { s.file.Ref(eye); }, om2::kHalfPi, 1, 100);
    };
    // In the plane x = 1, seen along +x: z goes up, y to the left. It stands in y from 0 to 2, z from 0 to 1.
    File::Shape shape;
    shape.positions = {{1, 2, 0}, {1, 0, 0}, {1, 0, 1}, {1, 2, 1}};
    shape.triangles = {{0, 1, 2}, {0, 2, 3}};
    s.Mesh(Colored(shape, {1, 1, 1, 1}), s.Null(), s.Null());
    EXPECT_TRUE(Covers(Show(s.Bytes()), {255, 255, 255}, 320 - 96, 240 - 48, 320, 240));
}

}  // namespace
