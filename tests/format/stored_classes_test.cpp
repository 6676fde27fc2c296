// Files from the format alone of what bends, reflects, shades and blurs: their pictures, that they leave
// nothing behind for the next one, and that they are written as they were read.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "format/format_fixture.h"
#include "fuzz/seeds.h"
#include "io/open.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "support/cube_images.h"

namespace {

using format_test::At;
using format_test::Covers;
using format_test::FormatTest;
using format_test::kPixelsPerUnit;
using format_test::Shows;
using om2::Colored;
using om2::File;
using om2::Mat;
using om2::Rgb;
using om2::SceneFile;
using om2::Tga;

// Two arms of one bent quad, bound in a mesh that stands at x = 1: the joint at the origin follows both bones
// by halves, the forearm's end follows the second one, which turns by a quarter about z until time 10.
TEST_F(FormatTest, TwoBonesBendAQuad) {
    SceneFile s;
    int arm = -1, hand = -1;
    s.tree = [&] {
        arm = s.file.Node({-2, 0, 0});
        s.file.I32(1);
        hand = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(0);
            s.file.Chunk("CPRS", 1, [&] {
                s.file.ConstVec3({2, 0, 0});
                const float half = std::sqrt(0.5f);
                s.file.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {10, {0, 0, half, half}}});
                s.file.ConstVec3({1, 1, 1});
            });
        });
        s.file.I32(0);
    };
    File::Shape shape;  // in the space of the mesh
    shape.positions = {{-3, -0.5f, 0}, {-3, 0.5f, 0}, {-1, -0.5f, 0},
                       {-1, 0.5f, 0},  {1, -0.5f, 0}, {1, 0.5f, 0}};
    shape.triangles = {{0, 2, 3}, {0, 3, 1}, {2, 4, 5}, {2, 5, 3}};
    const File::Weight first{{0, 1, 1, 1}, {1, 0, 0}}, both{{1, 0, 0, 0}, {0.5f, 0, 0}},
        second{{0, 0, 0, 1}, {0, 0, 0}};
    const auto moved = [](float x) {
        Mat m = om2::kIdentity;
        m[12] = x;
        return m;
    };
    const om2::Body bones = [&] {
        s.file.Ref(arm);
        s.file.Ref(hand);
    };
    s.meshes.push_back([&] {
        s.file.DeformedMesh(
            [&] {
                s.file.WeightedGeometry(Colored(shape, {1, 0.5f, 0, 1}),
                                        {first, first, both, both, second, second});
            },
            [&] { s.file.Stack(1, [&] {
                      s.file.Skin(bones, {moved(3), moved(1)}, moved(1));
                  }); }, s.Null(),
            [&] {
                s.file.Placement({1, 0, 0});
            });
    });
    const std::vector<std::uint8_t> bytes = s.Bytes();
    EXPECT_TRUE(Covers(ShowBoth(bytes, 0), {255, 128, 0}, 320 - 96, 240 - 24, 320 + 96, 240 + 24));
    const host::Picture p = ShowBoth(bytes, 10);
    using Polygon = std::vector<std::array<double, 2>>;
    const std::vector<Polygon> arms = {{{-2, -0.5}, {0.25, -0.25}, {-0.25, 0.25}, {-2, 0.5}},
                                       {{0.25, -0.25}, {0.5, 2}, {-0.5, 2}, {-0.25, 0.25}}};
    // How far inside of the anticlockwise outline the point lies, in units; below 0 outside.
    const auto depth = [](const Polygon& outline, double x, double y) {
        double least = 1e9;
        for (std::size_t i = 0; i < outline.size(); ++i) {
            const auto &a = outline[i], &b = outline[(i + 1) % outline.size()];
            const double dx = b[0] - a[0], dy = b[1] - a[1];
            least = std::min(least, (dx * (y - a[1]) - dy * (x - a[0])) / std::hypot(dx, dy));
        }
        return least;
    };
    int inside = 0;
    for (int y = 0; y < 480; ++y)
        for (int x = 0; x < 640; ++x) {
            const double wx = (x - 319.5) / kPixelsPerUnit, wy = (239.5 - y) / kPixelsPerUnit;
            const double in = std::max(depth(arms[0], wx, wy), depth(arms[1], wx, wy));
            if (std::abs(in) * kPixelsPerUnit < 1) continue;
            inside += in > 0;
            ASSERT_TRUE(Shows(p, x, y, in > 0 ? Rgb{255, 128, 0} : Rgb{0, 0, 0}));
        }
    EXPECT_GT(inside, 6000);  // of the 6912 that three square units have
}

// Corners are at (1, 0) and (3, 2). v grows from -1 at the bottom to 0 at the top: the upper half shows the
// lower half of the repeated image. The yellow point of the centre is drawn first, and the sprite goes over
// it.
TEST_F(FormatTest, ASpriteShowsItsMaterialAfterTheMeshes) {
    SceneFile s;
    int texture = -1, material = -1;
    s.textures.push_back([&] {
        texture = s.file.EmbeddedTexture(Tga(2, 2, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}}));
    });
    s.Textured(material, texture);
    s.Mesh(Colored(om2::Quad(-9, -9, 9, 9, -4), {0.2f, 0.2f, 0.2f, 1}), s.Null(), s.Null());
    s.after.push_back([&] { s.file.Billboards(s.Ref(material), {s.file.Sprite({2, 1, 0}, 2)}); });
    const host::Picture p = ShowBoth(s.Bytes());
    EXPECT_TRUE(Shows(p, 416 - 24, 192 - 24, {0, 0, 255}));
    EXPECT_TRUE(Shows(p, 416 + 24, 192 - 24, {255, 255, 255}));
    EXPECT_TRUE(Shows(p, 416 - 24, 192 + 24, {255, 0, 0}));
    EXPECT_TRUE(Shows(p, 416 + 24, 192 + 24, {0, 255, 0}));
    for (const int x : {320 + 47, 320 + 145}) EXPECT_TRUE(Shows(p, x, 192, {51, 51, 51})) << x;
    for (const int y : {240 - 97, 241}) EXPECT_TRUE(Shows(p, 416, y, {51, 51, 51})) << y;
}

// Six embedded images, seen by six cameras: at 90 degrees each sees one image, upright, and at the same size
// wherever it stands.
TEST_F(FormatTest, SixImagesStandAboutEveryCamera) {
    SceneFile s;
    int sky = -1;
    s.textures.push_back([&] {
        std::array<std::vector<std::uint8_t>, 6> images;
        for (std::size_t i = 0; i < 6; ++i) images[i] = support::QuarteredImage(support::kCubeSides[i], 16);
        sky = s.file.EmbeddedCube(images);
    });
    s.background = [&] { s.file.TextureBackground(3, s.Ref(sky)); };
    // What turns -z into the side's direction and y into its upward one.
    const float h = std::sqrt(0.5f);
    const std::array<om2::Vec4, 6> turns = {{{1, 0, 0, 0},
                                             {0, 0, 0, 1},
                                             {0.5f, 0.5f, 0.5f, 0.5f},
                                             {-0.5f, 0.5f, 0.5f, -0.5f},
                                             {0, h, h, 0},
                                             {h, 0, 0, h}}};
    s.cameras = [&] {
        s.file.I32(6);
        for (std::size_t i = 0; i < 6; ++i) {
            const auto x = static_cast<float>(i);
            const int id = s.file.Camera(
                [&] {
                    s.file.Placement({x, 2 * x, -x}, turns[i]);
                },
                om2::kHalfPi, 1, 100);
            if (i == 0) s.camera = id;
        }
    };
    const std::vector<std::uint8_t> bytes = s.Bytes();
    for (int i = 0; i < 6; ++i) {
        const host::Picture p = ShowBoth(bytes, 0, i);
        for (const bool right : {false, true})
            for (const bool low : {false, true}) {
                const auto color = static_cast<int>(
                    support::QuarterColor(support::kCubeSides[static_cast<std::size_t>(i)], right, low));
                EXPECT_TRUE(Shows(p, right ? 440 : 200, low ? 360 : 120,
                                  {color >> 16, color >> 8 & 255, color & 255}))
                    << i;
            }
    }
}

// The mirror and its reflection of AMirrorShowsWhatStandsBeforeIt, further to the left, and the quad far away
// of OutOfFocusEdgesAreSoft. The last renderer runs first: depth of field goes on to the mirror, which ends
// the chain.
TEST_F(FormatTest, TheLastRendererOfTheListRunsFirst) {
    std::vector<host::Picture> pictures;
    for (const std::string order : {"m", "mf", "fm", "f"}) {
        SceneFile s;
        int clear = -1, mirror = -1;
        s.materials.push_back([&] {
            File::MaterialColors colors;
            colors.diffuse = {0, 0, 0, 0};
            clear = s.file.Material(colors);
        });
        s.meshes.push_back([&] {
            mirror = s.file.Mesh([&] { s.file.Geometry(om2::Quad(-4, -4, 1, 4)); }, s.Ref(clear), s.Null());
        });
        File::Shape shape = Colored(om2::Quad(-4, 1, -2, 3, 15), {1, 0, 0, 1});
        for (auto& t : shape.triangles) std::swap(t[0], t[1]);
        s.Mesh(shape, s.Null(), s.Null());
        s.Mesh(Colored(om2::Quad(20, -10, 40, 10, -45), {1, 1, 1, 1}), s.Null(), s.Null());
        for (const char kind : order)
            s.renderers.push_back([&, kind] {
                if (kind == 'm') {
                    s.file.Chunk("SRMR", 1, [&] { s.file.List(1, s.Ref(mirror)); });
                } else {
                    s.file.Chunk("SRDF", 1, [&] {
                        s.file.I32(1);
                        s.file.Ref(s.camera);
                        s.file.Null();
                        s.file.ConstFloat(400.0f / 99);
                    });
                }
            });
        // The second camera is in no renderer's list.
        s.cameras = [&] {
            s.file.I32(2);
            s.camera = s.file.Camera([&] { s.file.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
            s.file.Camera([&] { s.file.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
        };
        const std::vector<std::uint8_t> bytes = s.Bytes();
        pictures.push_back(ShowBoth(bytes));
        if (order != "f") {
            EXPECT_TRUE(Covers(pictures.back(), {255, 0, 0}, 320 - 48, 240 - 36, 320 - 24, 240 - 12))
                << order;
            EXPECT_TRUE(pictures[0].rgb == Show(bytes, 0, 1).rgb) << order << ", the camera without a focus";
        }
    }
    EXPECT_TRUE(Covers(pictures[0], {255, 255, 255}, 416, 192, 512, 288));
    EXPECT_TRUE(pictures[0].rgb == pictures[2].rgb) << "nothing runs behind a mirror";
    for (const int x : {415, 512}) {
        EXPECT_GT(At(pictures[1], x, 240).g, 20) << x;
        EXPECT_LT(At(pictures[1], x, 240).g, 235) << x;
    }
    EXPECT_TRUE(Shows(pictures[3], 320 - 36, 240 - 24, {0, 0, 0})) << "without a mirror nothing is reflected";
}

// The red quad stands behind the camera and looks at the mirror in z = 0: it shows at z = -15, 20 from the
// camera, where a unit is 12 pixels. The mirror's own surface lets all of it through.
TEST_F(FormatTest, AMirrorShowsWhatStandsBeforeIt) {
    SceneFile s;
    int clear = -1, mirror = -1;
    s.materials.push_back([&] {
        File::MaterialColors colors;
        colors.diffuse = {0, 0, 0, 0};
        colors.emissive = {0, 1, 0, 0};
        clear = s.file.Material(colors);
    });
    s.meshes.push_back([&] {
        mirror = s.file.Mesh([&] { s.file.Geometry(om2::Quad(-4, -4, 4, 4)); }, s.Ref(clear), s.Null());
    });
    File::Shape shape = Colored(om2::Quad(2, 1, 4, 3, 15), {1, 0, 0, 1});
    for (auto& t : shape.triangles) std::swap(t[0], t[1]);
    s.Mesh(shape, s.Null(), s.Null());
    s.Mesh(Colored(om2::Quad(-2, -2, 2, 2, -3), {1, 1, 1, 1}), s.Null(), s.Null());  // behind the mirror
    s.renderers.push_back([&] {
        s.file.Chunk("SRMR", 1, [&] {
            s.file.I32(1);
            s.file.Ref(mirror);
        });
    });
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {255, 0, 0}, 320 + 24, 240 - 36, 320 + 48, 240 - 12));
    EXPECT_TRUE(Covers(p, {255, 255, 255}, 0, 0, 0, 0));
}

// The light at (-5, 0, 5) throws the quad in z = 2.5 twice as far: onto x -2 to -1, y -1 to 1 of the floor.
TEST_F(FormatTest, AShadowFallsOnWhatTheLightDoesNotReach) {
    SceneFile s;
    int caster = -1, light = -1;
    s.Mesh(Colored(om2::Quad(-9, -9, 9, 9), {1, 1, 1, 1}), s.Null(), s.Null());
    s.meshes.push_back([&] {
        caster = s.file.Mesh(
            [&] {
                s.file.Geometry(Colored(om2::Quad(-3.5f, -0.5f, -3, 0.5f, 2.5f), {1, 0, 0, 1}));
            },
            s.Null(),
            [&] {
                s.file.Placement({0, 0, 0});
            },
            false, {}, 2, true);
    });
    s.lights.push_back([&] {
        light = s.file.Light(
            [&] {
                s.file.Placement({-5, 0, 5});
            },
            {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, 100, {1, 0, 0},
            [&] {
                s.file.I32(1);
                s.file.Ref(caster);
            });
    });
    s.shadow_light = s.Ref(light);
    s.renderers.push_back([&] { s.file.Chunk("SRSW", 1, [] {}); });
    const host::Picture p = Show(s.Bytes());
    for (const int x : {320 - 95, 320 - 72, 320 - 50})
        for (const int y : {240 - 46, 240, 240 + 46}) EXPECT_TRUE(Shows(p, x, y, {77, 77, 77}));
    for (const int x : {320 - 98, 320 - 46}) EXPECT_TRUE(Shows(p, x, 240, {255, 255, 255}));
    for (const int y : {240 - 50, 240 + 50}) EXPECT_TRUE(Shows(p, 320 - 72, y, {255, 255, 255}));
}

// At a focus of 400 / 99, the depth of what stands 5 before the camera, the red quad is sharp: around it is
// nothing but the halo of what lies behind. The white one, 50 before the camera, has no sharp edge: a unit
// is 4.8 pixels there, so that it would reach from 416 to 512.
TEST_F(FormatTest, OutOfFocusEdgesAreSoft) {
    SceneFile s;
    s.Mesh(Colored(om2::Quad(-2, -1, 0, 1), {1, 0, 0, 1}), s.Null(), s.Null());
    s.Mesh(Colored(om2::Quad(20, -10, 40, 10, -45), {1, 1, 1, 1}), s.Null(), s.Null());
    s.renderers.push_back([&] {
        s.file.Chunk("SRDF", 1, [&] {
            s.file.I32(1);
            s.file.Ref(s.camera);
            s.file.Null();
            s.file.ConstFloat(400.0f / 99);
        });
    });
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {255, 0, 0}, 320 - 96, 240 - 48, 320, 240 + 48));
    EXPECT_TRUE(Shows(p, 464, 240, {255, 255, 255}, 2));
    for (const int x : {415, 512}) {
        EXPECT_GT(At(p, x, 240).g, 20) << x;
        EXPECT_LT(At(p, x, 240).g, 235) << x;
    }
    for (const int x : {404, 524}) EXPECT_TRUE(Shows(p, x, 240, {0, 0, 0})) << x;
}

TEST_F(FormatTest, AnEffectTextBesideTheSceneDrawsAMaterial) {
    const std::string text =
        "float4x4 All : WORLDVIEWPROJECTION;\n"
        "float4 Tint = { 0.0f, 1.0f, 1.0f, 1.0f };\n"
        "float4 Place(float4 at : POSITION) : POSITION { return mul(at, All); }\n"
        "float4 Shade() : COLOR { return Tint; }\n"
        "technique flat { pass p { VertexShader = compile vs_1_1 Place(); PixelShader = compile ps_1_1 "
        "Shade(); "
        "} }\n";
    const std::string file = Save({text.begin(), text.end()}, "flat.fx");
    SceneFile s;
    int material = -1;
    s.materials.push_back([&] {
        material = s.file.Chunk("MTFX", 1, [&] {
            s.file.String(file);
            s.file.Null();
        });
    });
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Ref(material), [&] { s.file.Placement({2, 1, 0}); });
    const host::Picture p = Show(s.Bytes());
    EXPECT_TRUE(Covers(p, {0, 255, 255}, 320 + 48, 240 - 96, 320 + 144, 240));
}

// A scene that is drawn over another one in the same frame, or in the next, is the picture that it is alone,
// whatever the other one holds.
TEST_F(FormatTest, NoSceneChangesWhatIsDrawnAfterIt) {
    SceneFile s;
    int texture = -1, textured = -1, blended = -1;
    s.textures.push_back([&] {
        texture = s.file.EmbeddedTexture(Tga(2, 1, {{250, 200, 30}, {10, 20, 90}}));
    });
    s.Textured(textured, texture);
    s.materials.push_back([&] {
        blended = s.file.Material(
            {}, 4, [&] { s.file.RenderState(true, 0, true, 1); }, [&] { s.file.I32(0); });
    });
    // It covers the whole picture, nearer than anything in the others.
    s.Mesh(om2::Quad(-3, -3, 3, 3, 3), s.Null(), s.Null());
    s.meshes.push_back([&] {
        File::Shape shape = om2::Quad(-1, -1, 0.5f, 1, 3.2f);
        shape.uvs = {{{0, 1}, {1, 1}, {1, 0}, {0, 0}}};
        s.file.Mesh([&] { s.file.Geometry(shape); }, s.Ref(textured), s.Null());
    });
    s.Mesh(Colored(om2::Quad(0, -0.5f, 1, 0.5f, 3.4f), {0, 1, 1, 0.5f}), s.Ref(blended), s.Null());
    s.lights.push_back([&] {
        s.file.Light(
            [&] {
                s.file.Placement({1, 0, 4.5f});
            },
            {0.1f, 0, 0, 0}, {1, 0.8f, 0.6f, 1}, {0, 0, 0, 0}, 100, {0.5f, 0.1f, 0});
    });
    s.before.push_back([&] { s.file.Chunk("ATAM", 1, [&] { s.file.ConstColor({0.2f, 0.1f, 0.2f, 1}); }); });
    Save(s.Bytes(), "after.om2");
    const auto play = [this](const std::string& first, double start, const std::vector<double>& times) {
        std::string text = "<project>\n<data><scene name=\"after\" file=\"after.om2\"/>\n";
        if (!first.empty()) text += "<scene name=\"first\" file=\"" + first + "\"/>\n";
        text += "</data>\n<layer>\n";
        if (!first.empty())
            text += "<clip effect=\"fx_simple_scene\" length=\"" + std::string(start > 0 ? "1" : "9") +
                    "\"><controler name=\"scene\" value=\"first\"/></clip>\n";
        text += "<clip effect=\"fx_simple_scene\" start=\"" + std::to_string(start) +
                "\" length=\"9\"><controler name=\"scene\" value=\"after\"/></clip>\n</layer>\n</project>\n";
        return Play(text, times);
    };
    const host::Picture alone = play("", 0, {2});
    for (const int x : {90, 250, 340, 550}) {
        const Rgb is = At(alone, x, 240);
        EXPECT_GT(is.r + is.g + is.b, 80) << x;
    }
    for (const fuzz::Seed& seed : fuzz::SceneSeeds()) {
        Save(seed.bytes, "first.om2");
        EXPECT_TRUE(play("first.om2", 0, {0.5}).rgb == alone.rgb) << seed.name << " in the same frame";
        EXPECT_TRUE(play("first.om2", 1, {0.5, 1.5}).rgb == alone.rgb) << seed.name << " in the frame before";
    }
}

// What stands in a record comes out of it again, byte for byte.
TEST_F(FormatTest, WritingAReadSceneGivesTheSameBytes) {
    for (const fuzz::Seed& seed : fuzz::SceneSeeds()) {
        const std::vector<std::uint8_t>& bytes = seed.bytes;
        osmio::ObjectGraph graph;
        osm3d::SceneHierarchy* scene = nullptr;
        std::string reason;
        ASSERT_TRUE(osm3d::LoadSceneFile(Save(bytes), graph, scene, reason)) << seed.name << reason;
        const std::string again = (folder / "again.om2").string();
        std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(again, osmio::kCompressionNone));
        ASSERT_TRUE(out);
        out->WriteObject(scene);
        out.reset();
        std::ifstream in(again, std::ios::binary);
        const std::vector<std::uint8_t> written{std::istreambuf_iterator<char>(in), {}};
        ASSERT_EQ(bytes.size(), written.size()) << seed.name;
        const auto differs = std::mismatch(bytes.begin(), bytes.end(), written.begin());
        EXPECT_TRUE(differs.first == bytes.end())
            << seed.name << " at byte " << differs.first - bytes.begin();
    }
}

}  // namespace
