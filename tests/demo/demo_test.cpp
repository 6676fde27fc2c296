// The demo's own tools, and its input as a program makes it.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "geometry/mesh_simple.h"
#include "music.h"
#include "night_sky.h"
#include "picture.h"
#include "png_file.h"
#include "render/material_fx.h"
#include "render/scene_renderer_dof.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "shape.h"
#include "support/picture_device.h"
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
    const std::map<std::string, Shape> shapes{
        {"sphere", Sphere(2, 16, 9)},
        {"torus", Torus(3, 0.5f, 16, 8)},
        {"box", Box({-1, -2, -3}, {1, 2, 3})},
        {"gear", Gear(12, 1, 2, 2.3f, 0.5f)},
        {"lathe", Lathe({{2, 0}, {1, 1}, {1, 3}, {0.1f, 4}}, 12)},
        {"cutout", Cutout({{0, 0}, {2, 0}, {2, 2}, {1, 0.5f}, {0, 2}}, 0.2f)},
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

TEST(DemoShapes, CutoutsCoverTheirOutlineOnce) {
    // A square with a notch: 4 less a triangle of 2 by 1.5, halved; either way round.
    std::vector<UV> outline{{0, 0}, {2, 0}, {2, 2}, {1, 0.5f}, {0, 2}};
    for (int turn = 0; turn < 2; ++turn) {
        const Shape shape = Cutout(outline, 0.5f);
        float front = 0, all = 0;
        for (std::size_t i = 0; i < shape.indices.size(); i += 3) {
            const vect3 &a = shape.positions[shape.indices[i]], &b = shape.positions[shape.indices[i + 1]],
                        &c = shape.positions[shape.indices[i + 2]];
            const float area = Length(osm3d::Cross(b - a, c - a)) / 2;
            if (shape.normals[shape.indices[i]].z > 0.5f) front += area;
            all += osm3d::Dot(a, osm3d::Cross(b, c)) / 6;
        }
        EXPECT_NEAR(front, 2.5f, 1e-5f);
        EXPECT_NEAR(all, 2.5f * 0.5f, 1e-5f);  // the volume, so it is closed and looks outwards
        std::reverse(outline.begin(), outline.end());
    }
}

TEST(DemoShapes, OneRotationThenAnother) {
    const vect3 x{1, 0, 0};
    Shape point;
    point.Vertex(x, x, {0, 0});
    Shape moved;
    // About z to +y, then about x to +z.
    moved.Add(point, Placed({0, 0, 0},
                            Then(osm3d::QuatFromAxisAngle({0, 0, 1}, kPi / 2),
                                 osm3d::QuatFromAxisAngle({1, 0, 0}, kPi / 2)),
                            1));
    EXPECT_LT(Length(moved.positions[0] - vect3{0, 0, 1}), 1e-5f);
}

TEST(DemoPictures, TheFacesOfTheSkyMeet) {
    constexpr std::size_t kSize = 256, kLast = kSize - 2;  // a face's outermost texels are beyond its border
    const auto sky = NightSky(kSize, {0.2f, 0.2f, 0.3f, 1}, false);
    // Half of the steps from face to face are no larger; the others may have a star in them.
    const auto middle = [](std::vector<int> steps) {
        std::nth_element(steps.begin(), steps.begin() + steps.size() / 2, steps.end());
        return steps[steps.size() / 2];
    };
    std::vector<int> down, over, astray;
    const auto at = [&](std::size_t face, std::size_t x, std::size_t y, std::size_t c) {
        return int{sky[face].rgba[4 * (y * kSize + x) + c]};
    };
    for (std::size_t i = 1; i <= kLast; ++i)
        for (std::size_t c = 0; c < 3; ++c) {
            // +y ends to the right where +x begins to the left: z goes down in both.
            over.push_back(std::abs(at(5, kLast, i, c) - at(3, 1, i, c)));
            astray.push_back(std::abs(at(5, kLast, i, c) - at(3, 1, kSize - 1 - i, c)));
            // +z ends to the right where +x begins at the top: y goes down there and to the left here.
            down.push_back(std::abs(at(0, kLast, i, c) - at(3, kSize - 1 - i, 1, c)));
        }
    EXPECT_LE(middle(over), 2);
    EXPECT_LE(middle(down), 2);
    EXPECT_GE(middle(astray), 4);
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

TEST(DemoMusic, VoicesHaveTheirPitchAndBeginAndEndAtRest) {
    const Samples struck = Struck(441, {{1, 1, 0.5f}}, 0.002f);
    const Track bowed = Bowed(441, {1, 0.1f, 0.1f, 300, 900, 0, 0}, 1);
    const Samples sung = Sung({69, 69}, 1);
    for (const Samples& voice : {struck, bowed.left, bowed.right, sung}) {
        int rises = 0;
        for (std::size_t i = 20000; i < 24410; ++i) rises += voice[i - 1] < 0 && voice[i] >= 0;
        EXPECT_NEAR(rises, 44, 1);  // of a tenth of a second
        EXPECT_NEAR(voice.front(), 0, 1e-3f);
        EXPECT_NEAR(voice.back(), 0, 1e-3f);
        for (std::size_t i = 1; i < voice.size(); ++i)
            ASSERT_LT(std::abs(voice[i] - voice[i - 1]), 0.2f) << i;
    }
}

TEST(DemoMusic, IsLoudWhereThePictureFlashesAndDiesAway) {
    const Track music = Music();
    ASSERT_EQ(music.left.size(), 1975680u);  // 44.8 s
    double sum = 0;
    float peak = 0;
    for (const float x : music.left) {
        sum += double{x};
        peak = std::max(peak, std::abs(x));
    }
    EXPECT_LE(peak, 0.95f);
    EXPECT_GT(peak, 0.5f);
    EXPECT_NEAR(sum / static_cast<double>(music.left.size()), 0, 1e-4);
    const auto power = [&](double from, double to) {
        double all = 0;
        for (auto i = static_cast<std::size_t>(from * 44100); i < static_cast<std::size_t>(to * 44100); ++i)
            all += double{music.left[i]} * double{music.left[i]} +
                   double{music.right[i]} * double{music.right[i]};
        return all / (to - from);
    };
    // The lanterns' flash, the lamp's, the bell of the title: the beat has more than what is just before it.
    for (const double cut : {38.4, 9.6, 1.6})
        EXPECT_GT(power(cut, cut + 0.2), 1.5 * power(cut - 0.2, cut)) << cut;
    EXPECT_GT(power(38.4, 41.6), 4 * power(0, 3.2));
    EXPECT_LT(power(44.7, 44.8), 1e-2 * power(41.6, 44.8));
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

// The demo's input as make_demo and demo.sh lay it out, made once.
class MakeDemo : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<TempFolder>();
        ASSERT_EQ(test_support::Run(OSM_BINARY_DIR "/bin/make_demo", folder->File("in"), folder->path).status,
                  0);
        for (const char* file : {"demo.xml", "glass.fx"})
            std::filesystem::copy(std::string(OSM_SOURCE_DIR "/host/demo/") + file,
                                  folder->File(std::string("in/") + file));
    }
    static void TearDownTestSuite() { folder.reset(); }

    static inline std::unique_ptr<TempFolder> folder;
};

// Takes out of a scene what its shot is there to show.
void TakeOut(osm3d::SceneHierarchy& scene, const std::string& name) {
    if (name == "meadow") scene.atmosphericsAfter.clear();
    if (name == "shadow_hall" || name == "mirror_hall" || name == "jetty") scene.renderers.clear();
    for (osm3d::Mesh* mesh : scene.meshes) {
        auto* simple = dynamic_cast<osm3d::MeshSimple*>(mesh);
        const bool effect = dynamic_cast<osm3d::MaterialFX*>(mesh->GetMaterial()) != nullptr;
        if ((name == "floats" && effect) || (name == "whale" && simple && simple->GetStack()))
            mesh->SetHidden(true);
    }
}

TEST_F(MakeDemo, EachShotShowsWhatItIsThereToShow) {
    struct Shot {
        const char* name;
        std::size_t cameras;
        float time;        // key units
        double different;  // share of the picture, at least, that is another without the shot's subject
    };
    for (const Shot& shot :
         {Shot{"island", 3, 300, 0}, Shot{"clockwork", 2, 1100, 0}, Shot{"shadow_hall", 1, 250, 0.15},
          Shot{"mirror_hall", 1, 150, 0.25}, Shot{"floats", 1, 150, 0.10}, Shot{"whale", 1, 320, 0.05},
          Shot{"meadow", 1, 150, 0.01}, Shot{"jetty", 1, 40, 0.08}}) {
        SCOPED_TRACE(shot.name);
        support::PictureDevice device(160, 120);
        osmio::ObjectGraph graph;
        osm3d::SceneHierarchy* scene = nullptr;
        std::string reason;
        ASSERT_TRUE(
            osm3d::LoadSceneFile(folder->File("in/" + std::string(shot.name) + ".om2"), graph, scene, reason))
            << reason;
        EXPECT_EQ(scene->cameras.size(), shot.cameras);
        // At most as many lights as a device has, or the last ones would be dropped.
        EXPECT_LE(scene->lights.size(), 8u);
        scene->LoadResources();
        for (osm3d::Material* material : scene->materials) {
            const auto* effect = dynamic_cast<osm3d::MaterialFX*>(material);
            EXPECT_TRUE(!effect || effect->IsReady()) << effect->GetLoadError();
        }
        for (osm3d::SceneRenderer* renderer : scene->renderers) {
            const auto* focus = dynamic_cast<osm3d::SceneRendererDOF*>(renderer);
            EXPECT_TRUE(!focus || focus->IsReady());
        }
        const auto picture = [&] {
            // Twice, as some layers follow the view of the picture before.
            for (int i = 0; i < 2; ++i)
                device.Frame([&] {
                    scene->Update(shot.time);
                    scene->ClearBackground(shot.time);
                    scene->Render();
                });
            std::vector<u32> pixels;
            for (u32 y = 0; y < device.Height(); ++y)
                for (u32 x = 0; x < device.Width(); ++x) pixels.push_back(device.At(x, y));
            return pixels;
        };
        const std::vector<u32> whole = picture();
        EXPECT_GT(std::set<u32>(whole.begin(), whole.end()).size(), 500u);
        TakeOut(*scene, shot.name);
        const std::vector<u32> without = picture();
        std::size_t different = 0;
        for (std::size_t i = 0; i < whole.size(); ++i)
            different += support::Alike(whole[i], without[i], 16) ? 0 : 1;
        EXPECT_GE(static_cast<double>(different), shot.different * static_cast<double>(whole.size()));
    }
}

TEST_F(MakeDemo, FramesOfTheProjectHaveSomethingOnThem) {
    std::map<std::string, std::uintmax_t> sizes;
    for (const int frame : {90, 755, 1110}) {
        const std::string to = folder->File("f" + std::to_string(frame));
        ASSERT_EQ(test_support::Run(OSM_BINARY_DIR "/bin/osmplay",
                                    "render " + folder->File("in/demo.xml") + " --size 160x120 --frames " +
                                        std::to_string(frame) + ":" + std::to_string(frame + 1) + " -o " + to,
                                    folder->path)
                      .status,
                  0);
        for (const auto& entry : std::filesystem::directory_iterator(to))
            sizes[entry.path().string()] = entry.file_size();
    }
    EXPECT_EQ(sizes.size(), 3u);
    // A picture of one colour packs to a few hundred bytes.
    for (const auto& [path, size] : sizes) EXPECT_GT(size, 5000u) << path;
}

}  // namespace
