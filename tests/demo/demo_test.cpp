// The demo's own tools, and its input as a program makes it.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <filesystem>
#include <map>

#include "picture.h"
#include "png_file.h"
#include "scene/camera.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "shape.h"
#include "support/run_program.h"
#include "terrain.h"

namespace {

using namespace demo;
using test_support::TempFolder;

// How many triangles show their front to where their normals point, and how many their back.
void CountFaces(const Shape& shape, int& front, int& back) {
    front = back = 0;
    for (std::size_t i = 0; i < shape.indices.size(); i += 3) {
        const auto a = shape.indices[i], b = shape.indices[i + 1], c = shape.indices[i + 2];
        const vect3 face =
            osm3d::Cross(shape.positions[b] - shape.positions[a], shape.positions[c] - shape.positions[a]);
        if (Length(face) < 1e-7f) continue;  // at a pole
        const float along = osm3d::Dot(face, shape.normals[a] + shape.normals[b] + shape.normals[c]);
        ++(along > 0 ? front : back);
    }
}

TEST(DemoShapes, FaceWhereTheirNormalsPoint) {
    const std::map<std::string, Shape> shapes{{"sphere", Sphere(2, 16, 9)},
                                              {"torus", Torus(3, 0.5f, 16, 8)},
                                              {"box", Box({-1, -2, -3}, {1, 2, 3})},
                                              {"gear", Gear(12, 1, 2, 2.3f, 0.5f)},
                                              {"lathe", Lathe({{2, 0}, {1, 1}, {1, 3}, {0.1f, 4}}, 12)},
                                              {"ground", GroundShape(40)}};
    for (const auto& [name, shape] : shapes) {
        int front = 0, back = 0;
        CountFaces(shape, front, back);
        EXPECT_GT(front, 10) << name;
        EXPECT_EQ(back, 0) << name;
    }
    // Outwards, not inwards.
    const Shape sphere = Sphere(2, 16, 9);
    for (std::size_t i = 0; i < sphere.positions.size(); ++i)
        EXPECT_NEAR(osm3d::Dot(sphere.positions[i], sphere.normals[i]), 2, 0.03f);
    // The image in the water hangs upside down, is seen from its outside, and keeps the light.
    Shape below = sphere.Mirrored();
    EXPECT_EQ(below.normals, sphere.normals);
    for (vect3& n : below.normals) n.z = -n.z;
    int front = 0, back = 0;
    CountFaces(below, front, back);
    EXPECT_EQ(back, 0);
}

TEST(DemoShapes, MoveWithTheirNormals) {
    Shape moved;
    moved.Add(Box({0, 0, 0}, {1, 1, 1}));
    const std::size_t first = moved.positions.size();
    moved.Add(Box({0, 0, 0}, {1, 1, 1}), Placed({10, 0, 0}, osm3d::QuatFromAxisAngle({0, 0, 1}, kPi / 2), 2));
    ASSERT_EQ(moved.positions.size(), 2 * first);
    for (std::size_t i = 0; i < first; ++i) {
        const vect3 &p = moved.positions[i], &q = moved.positions[first + i];
        EXPECT_LT(Length(q - vect3{10 - 2 * p.y, 2 * p.x, 2 * p.z}), 1e-5f);
        const vect3 &n = moved.normals[i], &m = moved.normals[first + i];
        EXPECT_LT(Length(m - vect3{-n.y, n.x, n.z}), 1e-5f);
    }
    int front = 0, back = 0;
    CountFaces(moved, front, back);
    EXPECT_EQ(back, 0);
}

TEST(DemoPictures, NoiseRepeatsAtItsPeriodAndStaysInBounds) {
    float low = 0, high = 0;
    for (float x = -9; x < 9; x += 0.37f)
        for (float y = -9; y < 9; y += 0.41f) {
            const float n = Noise(x, y, 5);
            EXPECT_NEAR(n, Noise(x + 5, y, 5), 1e-4f);
            EXPECT_NEAR(n, Noise(x, y - 10, 5), 1e-4f);
            low = std::min(low, n);
            high = std::max(high, n);
        }
    EXPECT_GE(low, -1.5f);
    EXPECT_LE(high, 1.5f);
    EXPECT_GT(high - low, 1.0f);
}

TEST(DemoPictures, HasALetterForEveryoneItWrites) {
    const auto ink = [](const std::string& text) {
        const Picture32 picture =
            Lettering(text, 64, 64, 0.5f, 0.2f, 0.05f, {1, 1, 1, 1}, {1, 1, 1, 1}, {0, 0, 0, 0});
        int sum = 0;
        for (std::size_t i = 3; i < picture.rgba.size(); i += 4) sum += picture.rgba[i] > 127;
        return sum;
    };
    EXPECT_EQ(ink(" "), 0);
    for (const char c : std::string("LAMPLIGHTDRAWNLIVEBYOSMDRIVERKEEPALIGHTON"))
        EXPECT_GT(ink(std::string(1, c)), 40) << c;
}

host::Picture Flat(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    host::Picture out;
    out.width = 40;
    out.height = 30;
    for (int i = 0; i < 40 * 30; ++i) out.rgb.insert(out.rgb.end(), {r, g, b});
    return out;
}

TEST(ContactSheet, LaysPicturesOutRowByRow) {
    TempFolder folder;
    host::WritePng(folder.File("a.png"), Flat(200, 0, 0));
    host::WritePng(folder.File("b.png"), Flat(0, 200, 0));
    host::WritePng(folder.File("c.png"), Flat(0, 0, 200));
    const std::string program = OSM_BINARY_DIR "/bin/contact_sheet";
    const std::string abc = folder.File("a.png") + " " + folder.File("b.png") + " " + folder.File("c.png");
    ASSERT_EQ(test_support::Run(program, folder.File("sheet.png") + " 2 20 " + abc, folder.path).status, 0);
    // Two columns of 20 pixels, two rows of 15, gaps of 4.
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, folder.File("sheet.png").c_str()));
    image.format = PNG_FORMAT_RGB;
    ASSERT_EQ(image.width, 52u);
    ASSERT_EQ(image.height, 42u);
    std::vector<std::uint8_t> rgb(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr));
    const auto at = [&](std::size_t x, std::size_t y) {
        const std::uint8_t* p = &rgb[3 * (y * 52 + x)];
        return std::vector<int>{p[0], p[1], p[2]};
    };
    const std::vector<int> red{200, 0, 0}, green{0, 200, 0}, blue{0, 0, 200}, empty{16, 16, 16};
    EXPECT_EQ(at(4, 4), red);
    EXPECT_EQ(at(23, 18), red);
    EXPECT_EQ(at(24, 18), empty);
    EXPECT_EQ(at(28, 4), green);
    EXPECT_EQ(at(47, 18), green);
    EXPECT_EQ(at(4, 23), blue);
    EXPECT_EQ(at(28, 23), empty);
    EXPECT_EQ(test_support::Run(program, folder.File("none.png") + " 2 20 missing.png", folder.path).status,
              1);
    EXPECT_FALSE(std::filesystem::exists(folder.File("none.png")));
    EXPECT_EQ(test_support::Run(program, "", folder.path).status, 2);
}

TEST(MakeDemo, MakesScenesThatPlayAndFramesWithSomethingOnThem) {
    TempFolder folder;
    ASSERT_EQ(test_support::Run(OSM_BINARY_DIR "/bin/make_demo", folder.File("in"), folder.path).status, 0);
    const std::map<std::string, std::size_t> cameras{{"island", 3}, {"clockwork", 2}};
    for (const auto& [name, count] : cameras) {
        osmio::ObjectGraph graph;
        osm3d::SceneHierarchy* scene = nullptr;
        std::string reason;
        ASSERT_TRUE(osm3d::LoadSceneFile(folder.File("in/" + name + ".om2"), graph, scene, reason)) << reason;
        EXPECT_EQ(scene->cameras.size(), count);
        // At most as many lights as a device has, or the last ones would be dropped.
        EXPECT_LE(scene->lights.size(), 8u);
    }
    std::filesystem::copy(OSM_SOURCE_DIR "/host/demo/demo.xml", folder.File("in/demo.xml"));
    const auto frames = [&](const std::string& range, const std::string& to) {
        return test_support::Run(OSM_BINARY_DIR "/bin/osmplay",
                                 "render " + folder.File("in/demo.xml") + " --size 160x120 --frames " +
                                     range + " -o " + folder.File(to),
                                 folder.path)
            .status;
    };
    ASSERT_EQ(frames("90:92", "sea"), 0);
    ASSERT_EQ(frames("340:341", "clockwork"), 0);
    std::map<std::string, std::uintmax_t> sizes;
    for (const char* to : {"sea", "clockwork"})
        for (const auto& entry : std::filesystem::directory_iterator(folder.File(to)))
            sizes[entry.path().string()] = entry.file_size();
    EXPECT_EQ(sizes.size(), 3u);
    // A picture of one colour packs to a few hundred bytes.
    for (const auto& [path, size] : sizes) EXPECT_GT(size, 5000u) << path;
}

}  // namespace
