// osmplay as a person runs it, and the project model under it.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <map>
#include <set>

#include "cli/error.h"
#include "commands.h"
#include "project.h"
#include "support/om2_scene.h"
#include "support/run_program.h"

namespace {

using test_support::Outcome;
using test_support::TempFolder;

struct Pixels {
    unsigned width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    std::vector<int> At(unsigned x, unsigned y) const {
        const std::size_t at = 3 * (static_cast<std::size_t>(y) * width + x);
        return {rgb[at], rgb[at + 1], rgb[at + 2]};
    }
};

Pixels ReadPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    Pixels pixels;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return pixels;
    image.format = PNG_FORMAT_RGB;
    pixels.rgb.resize(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, pixels.rgb.data(), 0, nullptr);
    pixels.width = image.width;
    pixels.height = image.height;
    return pixels;
}

class Osmplay : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) {
        return test_support::Run(OSM_BINARY_DIR "/bin/osmplay", arguments, folder.path);
    }
    void ExpectRefusal(const std::string& arguments, const std::string& says) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments << "\n" << outcome.error;
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        EXPECT_EQ(outcome.error.rfind("osmplay: ", 0), 0u) << outcome.error;
        EXPECT_NE(outcome.error.find(says), std::string::npos) << outcome.error;
    }
    std::string RedScene() {
        om2::SceneFile s;
        s.Mesh(om2::Colored(om2::Quad(-2, -2, 2, 2), {1, 0, 0, 1}), s.Null(), s.Null());
        return folder.Write("red.om2", s.Bytes());
    }

    TempFolder folder;
};

TEST_F(Osmplay, RefusesWhatItCannotPlayWithOneLineAndLeavesNothingBehind) {
    folder.Write("empty.om2", "");
    folder.Write("foreign.om2", "not a scene at all");
    std::vector<std::uint8_t> cut = om2::RichScene();
    cut.resize(cut.size() / 2);
    folder.Write("cut.om2", cut);
    folder.Write("page.txt", "hello");
    folder.Write("notxml.xml", "<project><layer></project>");
    folder.Write("other.xml", "<html/>");
    folder.Write("nothing.xml", "<project/>");
    const std::string out = folder.File("x.png");
    const std::map<std::string, std::string> reasons = {{"missing.om2", "no such file"},
                                                        {"empty.om2", "is empty"},
                                                        {"foreign.om2", "om2 check"},
                                                        {"cut.om2", "om2 check"},
                                                        {"page.txt", "neither a project"},
                                                        {"notxml.xml", "notxml.xml:1: not well-formed"},
                                                        {"other.xml", "expected <project>"},
                                                        {"nothing.xml", "nothing to show"},
                                                        {".", "is not a file"}};
    for (const auto& [name, reason] : reasons)
        ExpectRefusal("still " + folder.File(name) + " -o " + out, reason);
    EXPECT_FALSE(std::filesystem::exists(out));
    ExpectRefusal("still " + RedScene() + " -o " + folder.File("no/folder/x.png"), "cannot be written");
    ExpectRefusal("still " + RedScene() + " -o " + out + " --size 640", "WIDTHxHEIGHT");
    ExpectRefusal("still " + RedScene() + " -o " + out + " --size 0x10", "WIDTHxHEIGHT");
    EXPECT_EQ(Run("still " + RedScene()).status, 2);
    EXPECT_EQ(Run("-h").status, 0);
    for (const std::string& name : folder.Names()) EXPECT_EQ(name.find(".part"), std::string::npos) << name;
}

TEST_F(Osmplay, StillShowsASceneAtTheAskedSize) {
    const std::string out = folder.File("x.png");
    const Outcome outcome = Run("still " + RedScene() + " -o " + out + " --size 320x200");
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
    const Pixels p = ReadPng(out);
    ASSERT_EQ(p.width, 320u);
    ASSERT_EQ(p.height, 200u);
    // 100 pixels are 5 units high.
    EXPECT_EQ(p.At(160, 100), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(p.At(160 - 40, 100), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(p.At(160 - 41, 100), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(p.At(160, 100 - 41), (std::vector<int>{0, 0, 0}));
}

TEST_F(Osmplay, BenchDrawsTheChosenFramesAndSaysWhereTheirTimeWent) {
    const Outcome outcome =
        Run("bench " + RedScene() + " --frames 0:6,8:11 --every 2 --rounds 2 --size 64x48 --profile");
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_NE(outcome.out.find("red.om2: 5 frames of 64x48, 2 rounds: "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("Scene update"), std::string::npos) << outcome.out;
    ExpectRefusal("bench " + RedScene() + " --frames 50:70", "50:70");
}

TEST_F(Osmplay, SamplesSmoothTheEdgesOfAScene) {
    om2::SceneFile s;
    om2::File::Shape slanted = om2::Colored(om2::Quad(-2, -2, 2, 2), {1, 0, 0, 1});
    slanted.positions[0][0] = -1;
    s.Mesh(slanted, s.Null(), s.Null());
    const std::string scene = folder.Write("s.om2", s.Bytes());
    const auto reds = [&](const std::string& arguments) {
        const Outcome outcome = Run(arguments + " -o " + folder.File("x.png") + " --size 80x60");
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_EQ(outcome.error, "");
        const Pixels p = ReadPng(folder.File("x.png"));
        std::set<int> shades;
        for (std::size_t i = 0; i < p.rgb.size(); i += 3) shades.insert(p.rgb[i]);
        return shades.size();
    };
    EXPECT_EQ(reds("still " + scene), 2u);
    // Shades of red: so many and none. Some drivers take four samples where two are asked for.
    const std::set<std::size_t> two = {3, 5};
    EXPECT_EQ(two.count(reds("still " + scene + " --samples 2")), 1u);
    EXPECT_EQ(reds("still " + scene + " --samples 4"), 5u);
    const std::string project = folder.Write(
        "p.xml",
        R"(<project samples="2"><data><scene name="s" file="s.om2"/></data><layer><clip effect="fx_simple_scene"
        length="1"><controler name="scene" value="s"/></clip></layer></project>)");
    EXPECT_EQ(two.count(reds("still " + project)), 1u);
    EXPECT_EQ(reds("still " + project + " --samples 0"), 2u);
    ExpectRefusal("still " + folder.Write("3.xml", R"(<project samples="3" length="1"/>)") + " -o x.png",
                  "samples must be 2 or 4");
}

TEST_F(Osmplay, RenderLaysClipsOverEachOtherInTheOrderOfTheirLayers) {
    RedScene();
    folder.Write("blue.tga", om2::Tga(1, 1, {{0, 0, 255}}));
    const std::string project = folder.Write("show.xml", R"(<project fps="10" length="1" background="#204060">
  <data><scene name="red" file="red.om2"/><bitmap name="blue" file="blue.tga"/></data>
  <layer>
    <clip effect="fx_simple_scene" start="0" length="0.5"><controler name="scene" value="red"/></clip>
    <clip effect="fx_simple_color" start="0.5" length="0.5">
      <controler name="green"><key time="0" value="0"/><key time="0.4" value="1"/></controler>
    </clip>
  </layer>
  <layer>
    <clip effect="fx_simple_bmp" start="0.2" length="0.6">
      <controler name="bitmap" value="blue"/>
      <controler name="left" value="0.3"/><controler name="right" value="0.34"/>
      <controler name="top" value="0.2"/><controler name="bottom" value="0.28"/>
      <controler name="alpha" value="0.5"/>
    </clip>
  </layer>
</project>)");
    const std::string out = folder.File("frames");
    const Outcome outcome = Run("render " + project + " -o " + out);
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    auto frame = [&](int i) {
        std::string name = std::to_string(i);
        return ReadPng(out + "/frame_" + std::string(6 - name.size(), '0') + name + ".png");
    };
    EXPECT_EQ(frame(0).At(320, 240), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(frame(0).At(10, 10), (std::vector<int>{0, 0, 0}));
    // Half blue over red: 128 of 255.
    EXPECT_EQ(frame(2).At(320, 240), (std::vector<int>{127, 0, 128}));
    EXPECT_EQ(frame(2).At(299, 240), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(frame(2).At(301, 240), (std::vector<int>{127, 0, 128}));
    // A tenth of a second into a rise of 0.4: a quarter of green.
    EXPECT_EQ(frame(6).At(10, 10), (std::vector<int>{0, 64, 0}));
    EXPECT_EQ(frame(9).At(320, 240), (std::vector<int>{0, 255, 0}));
    EXPECT_EQ(frame(10).width, 0u);

    // Any frame alone, and a second run, are the same pictures.
    const std::string again = folder.File("again");
    ASSERT_EQ(Run("render " + project + " -o " + again + " --frames 6:7").status, 0);
    EXPECT_EQ(ReadPng(again + "/frame_000006.png").rgb, frame(6).rgb);
    EXPECT_FALSE(std::filesystem::exists(again + "/frame_000005.png"));
    ExpectRefusal("render " + project + " -o " + again + " --frames 6:11", "frames 0 to 9");
    ASSERT_EQ(Run("still " + project + " -o " + folder.File("s.png") + " --time 0.2").status, 0);
    EXPECT_EQ(ReadPng(folder.File("s.png")).rgb, frame(2).rgb);
}

// A stage that follows the camera takes the view of the picture before; osmplay's frames depend on their time
// alone.
TEST_F(Osmplay, AFrameIsTheSameAloneAndInARunWhereAReflectionFollowsTheCamera) {
    om2::SceneFile s;
    om2::File& f = s.file;
    int node = -1, texture = -1, material = -1;
    s.textures.push_back([&] {
        texture = f.EmbeddedTexture(om2::Tga(2, 2, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}));
    });
    s.materials.push_back([&] {
        om2::File::MaterialColors colors;
        colors.diffuse = {0, 0, 0, 1};
        colors.emissive = {1, 1, 1, 1};
        om2::File::StageState state;
        state.coord_index = 19;
        state.transform_count = 2;
        state.mag = state.min = 2;
        material = f.Material(
            colors, 1, [&] { f.RenderState(); },
            [&] {
                f.I32(1);
                f.TextureStage(s.Ref(texture), state, 2, 0, 1);
            });
    });
    s.tree = [&] {  // a quarter turn about the view axis in 100 units
        node = f.Chunk("HINO", 1, [&] {
            f.I32(0);
            f.Chunk("CPRS", 1, [&] {
                f.ConstVec3({0, 0, 5});
                f.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {100, {0, 0, 0.70710678f, 0.70710678f}}});
                f.ConstVec3({1, 1, 1});
            });
        });
        f.I32(0);
    };
    s.cameras = [&] {
        f.I32(1);
        s.camera = f.Camera([&] { f.Ref(node); }, om2::kHalfPi, 1, 100);
    };
    s.Mesh(om2::Quad(-4, -4, 4, 4), s.Ref(material), s.Null());
    folder.Write("mirror.om2", s.Bytes());
    const std::string project = folder.Write("mirror.xml", R"(<project fps="4" length="1">
  <data><scene name="mirror" file="mirror.om2"/></data>
  <layer><clip effect="fx_simple_scene" length="1">
    <controler name="scene" value="mirror"/>
    <controler name="time"><key time="0" value="0"/><key time="1" value="1"/></controler>
  </clip></layer>
</project>)");
    ASSERT_EQ(Run("render " + project + " -o " + folder.File("run")).status, 0);
    ASSERT_EQ(Run("render " + project + " -o " + folder.File("alone") + " --frames 3:4").status, 0);
    const Pixels run = ReadPng(folder.File("run/frame_000003.png"));
    EXPECT_EQ(run.rgb, ReadPng(folder.File("alone/frame_000003.png")).rgb);
    EXPECT_NE(run.rgb, ReadPng(folder.File("run/frame_000002.png")).rgb);
}

TEST_F(Osmplay, TellsMistakesOfAProjectWithTheirPlace) {
    const std::string head = "<project>\n<data><bitmap name=\"b\" file=\"b.png\"/></data>\n<layer>\n";
    const std::string tail = "</layer></project>";
    const std::map<std::string, std::string> mistakes = {
        {"<clip effect=\"fx_simple_colour\" length=\"1\"/>", ":4: there is no effect \"fx_simple_colour\""},
        {"<clip effect=\"fx_simple_color\"/>", ":4: <clip> needs the attribute \"length\""},
        {"<clip effect=\"fx_simple_color\" length=\"-1\"/>", ":4: length must be above 0"},
        {"<clip effect=\"fx_simple_color\" length=\"one\"/>", ":4: length=\"one\" is not a number"},
        {"<clip effect=\"fx_simple_color\" length=\"1\">\n<controler name=\"hue\" value=\"1\"/></clip>",
         ":5: fx_simple_color has no parameter \"hue\""},
        {"<clip effect=\"fx_simple_color\" length=\"1\">\n\n<controler name=\"red\"/></clip>",
         ":6: a <controler> takes"},
        {"<clip effect=\"fx_simple_color\" length=\"1\"><controler name=\"red\">\n<key time=\"1\" "
         "value=\"0\"/>\n"
         "<key time=\"0\" value=\"0\"/></controler></clip>",
         ":6: keys must stand in ascending order"},
        {"<clip effect=\"fx_simple_bmp\" length=\"1\"><controler name=\"bitmap\" value=\"c\"/></clip>",
         ":4: there is no data named \"c\""},
        {"<clip effect=\"fx_simple_scene\" length=\"1\"><controler name=\"scene\" value=\"b\"/></clip>",
         ":4: \"b\" is a bitmap, but \"scene\" takes a scene"},
        {"<clip effect=\"fx_simple_color\" length=\"1\"/>", ":2: "},  // the image is not there
        {"<clip effect=\"fx_simple_color\" length=\"1\"/><clap/>", ":4: <clap> cannot stand in <layer>"}};
    for (const auto& [line, says] : mistakes) {
        const std::string project = folder.Write("p.xml", head + line + "\n" + tail);
        ExpectRefusal("render " + project + " -o " + folder.File("frames"), "p.xml" + says);
    }
}

TEST_F(Osmplay, ListsTheParametersByPosition) {
    const Outcome outcome = Run("effects");
    ASSERT_EQ(outcome.status, 0) << outcome.error;
    for (const char* expected :
         {"fx_simple_bmp: Bitmap", "  0  bitmap       object", "  1  top          float",
          "  2  left         float", "  5  alpha        float", "fx_simple_scene: Scene",
          "  2  time         float", "  3  alpha        float"})
        EXPECT_NE(outcome.out.find(expected), std::string::npos) << expected << "\n" << outcome.out;
}

TEST(Project, KeysHoldAtTheirEndsAndGoTheirCurves) {
    using host::Curve;
    const std::vector<host::Key> keys = {
        {1, 10, Curve::Linear}, {2, 20, Curve::Step}, {3, 40, Curve::Smooth}, {5, 0, Curve::Linear}};
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 0), 10);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 1.25), 12.5);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 2), 20);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 2.999), 20);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 3), 40);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 3.5), 40 - 40 * (0.0625 * 2.5));  // u = 1/4: u u (3 - 2 u)
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 4), 20);
    EXPECT_DOUBLE_EQ(host::Evaluate(keys, 9), 0);
}

}  // namespace
