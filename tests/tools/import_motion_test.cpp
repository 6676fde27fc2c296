// What om2 import makes of models with bones: played, and compared with what was worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "gltf_text.h"
#include "model.h"
#include "played_motion.h"
#include "scene/camera.h"
#include "support/run_program.h"

namespace {

using independent::PlayedScene;
using independent::Point;
using test_support::Outcome;

constexpr float kTurn = 0.70710678f;  // sine and cosine of 45 degrees

class Om2ImportMotion : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) {
        return test_support::Run(OSM_BINARY_DIR "/bin/om2", arguments, folder.path);
    }
    // Imports a file's text and opens the scene.
    PlayedScene Import(const gltf::File& file, const std::string& options = "") {
        const std::string model = folder.Write("model.gltf", file.Document());
        const Outcome outcome = Run("import " + model + " -o " + folder.File("model.om2") + " " + options);
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        summary = outcome.out;
        EXPECT_EQ(Run("check " + folder.File("model.om2")).status, 0);
        return PlayedScene(folder.File("model.om2"));
    }
    // Where the vertex is that lies at `rest` in the file, of mesh `mesh`.
    static Point Posed(PlayedScene& scene, float time, const Point& rest, std::size_t mesh = 0) {
        const auto meshes = scene.At(time);
        for (const independent::Vertex& vertex : meshes.at(mesh))
            if (vertex.rest == rest) return vertex.posed;
        ADD_FAILURE() << "no such vertex";
        return {};
    }
    static void ExpectNear(const Point& is, const Point& expected, double error = 2e-6) {
        for (unsigned k = 0; k < 3; ++k) EXPECT_NEAR(is[k], expected[k], error) << "component " << k;
    }

    test_support::TempFolder folder;
    std::string summary;
};

// A quarter turn of "high" about z in two seconds. In the scene z is up: (x, y, z) of the file is (x, -z, y).
gltf::File::Channel Bend(const std::string& interpolation = "LINEAR") {
    return {3, "rotation", {0, 2}, {0, 0, 0, 1, 0, 0, kTurn, kTurn}, interpolation};
}

// The mesh's node stands 5 along x and moves on; a skin is where its bones are all the same.
TEST_F(Om2ImportMotion, SkinsFollowTheirBonesWhereverTheMeshsOwnNodeIs) {
    gltf::Strip strip;
    strip.Weighted(1.0f);
    strip.Animation("bend", {Bend(), {1, "translation", {0, 2}, {5, 0, 0, 50, 0, 0}}});
    PlayedScene scene = Import(strip);
    EXPECT_NE(summary.find("1 skinned, 2.00 s of motion: \"bend\""), std::string::npos) << summary;
    ExpectNear(Posed(scene, 0, {1, 2, 0}), {1, 0, 2});
    // Half way, 45 degrees: (1, 1) above the joint turns to (1 - 1, 1 + 1) / sqrt 2.
    const double c = std::sqrt(0.5);
    ExpectNear(Posed(scene, 100, {1, 0, 0}), {1, 0, 0});
    ExpectNear(Posed(scene, 100, {1, 2, 0}), {0, 0, 1 + 2 * c});
    ExpectNear(Posed(scene, 100, {1, 1, 0}), {(1 + c) / 2, 0, (1 + 1 + c) / 2});
    ExpectNear(Posed(scene, 500, {1, 2, 0}), {-1, 0, 2});
    const independent::Comparison compared =
        independent::Compare(folder.File("model.gltf"), folder.File("model.om2"), 0, 9);
    EXPECT_LT(compared.worst, 2e-6);
    EXPECT_GT(compared.moved, 1.9);
    EXPECT_EQ(compared.vertices, 6u);
}

TEST_F(Om2ImportMotion, MeshesWithoutBonesMoveWithTheNodeTheyHangOn) {
    gltf::Strip strip;
    strip.Weighted(1.0f);
    strip.Mesh({{"POSITION", strip.positions}}, strip.indices);
    strip.nodes[3] = R"({"name":"high","translation":[0,1,0],"children":[4]})";
    strip.nodes.push_back(R"({"name":"flag","mesh":1,"translation":[1,0,0]})");
    strip.Animation("bend", {Bend()});
    PlayedScene scene = Import(strip);
    const auto rigid = scene.At(0).size() == 2 ? 1u : 0u;
    ASSERT_EQ(rigid, 1u);
    ExpectNear(Posed(scene, 0, {1, 1, 0}, rigid), {2, 0, 2});
    ExpectNear(Posed(scene, 200, {1, 1, 0}, rigid), {-1, 0, 1 + 2});
}

TEST_F(Om2ImportMotion, WeightsOfAllKindsComeToOne) {
    for (const int kind : {0, 1, 2, 3}) {
        gltf::Strip strip;
        if (kind == 0) strip.Weighted(2.0f);  // sums of 2
        if (kind == 1) strip.Weighted(0.25f);
        if (kind == 2) strip.Weighted<std::uint8_t>(255);
        if (kind == 3) strip.Weighted<std::uint16_t>(65535);
        strip.Animation("bend", {Bend()});
        PlayedScene scene = Import(strip);
        const double c = std::sqrt(0.5);
        ExpectNear(Posed(scene, 100, {1, 1, 0}), {(1 + c) / 2, 0, (2 + c) / 2});
        ExpectNear(Posed(scene, 100, {0, 2, 0}), {-c, 0, 1 + c});
    }
}

TEST_F(Om2ImportMotion, TheFourHeaviestBonesOfAVertexStay) {
    gltf::Strip strip;
    std::vector<std::uint8_t> more;
    std::vector<float> first, second;
    for (int v = 0; v < 6; ++v) {
        first.insert(first.end(), {0.05f, 0.4f, 0.2f, 0.1f});
        second.insert(second.end(), {0.3f, 0, 0, 0});
        more.insert(more.end(), {4, 0, 0, 0});
    }
    std::vector<std::uint8_t> joints;
    for (int v = 0; v < 6; ++v) joints.insert(joints.end(), {0, 1, 2, 3});
    strip.skins.clear();
    strip.nodes[3] = R"({"name":"high","translation":[0,1,0],"children":[4,5,6]})";
    for (const char* name : {"a", "b", "c"})
        strip.nodes.push_back("{\"name\":\"" + std::string(name) + "\"}");
    strip.Skin({2, 3, 4, 5, 6}, {{0, 0, 0}, {0, 1, 0}, {0, 1, 0}, {0, 1, 0}, {0, 1, 0}});
    strip.Mesh({{"POSITION", strip.positions},
                {"JOINTS_0", strip.Numbers(joints, 4)},
                {"WEIGHTS_0", strip.Numbers(first, 4)},
                {"JOINTS_1", strip.Numbers(more, 4)},
                {"WEIGHTS_1", strip.Numbers(second, 4)}},
               strip.indices);
    const tools::Model model = tools::ReadModel(folder.Write("five.gltf", strip.Document()), {});
    ASSERT_EQ(model.meshes.size(), 1u);
    const tools::ModelSkin& skin = *model.meshes[0].skin;
    ASSERT_EQ(skin.weights.size(), 6u);
    // 0.4, 0.3, 0.2 and what is left, 0.1.
    const char* names[4] = {"high", "c", "a", "b"};
    for (unsigned k = 0; k < 4; ++k) {
        const auto node = static_cast<std::size_t>(skin.bones[skin.weights[0].bones[k]]);
        EXPECT_EQ(model.nodes[node].name, names[k]);
        if (k < 3) {
            EXPECT_NEAR(skin.weights[0].blend[k], 0.4 - 0.1 * k, 1e-6);
        }
    }
    EXPECT_NE(model.notes.at(0).find("6 vertices follow more than four bones"), std::string::npos);
}

// Two triangles that touch at rest and part in motion: their vertices must not be taken for the same.
TEST_F(Om2ImportMotion, VerticesAtOnePlaceStayApartWhenTheirBonesDo) {
    gltf::Strip strip;
    const std::size_t positions =
                          strip.Numbers<float>({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0}, 3),
                      indices = strip.Numbers<std::uint16_t>({0, 1, 2, 3, 4, 5}, 1);
    std::vector<std::uint8_t> joints;
    std::vector<float> weights;
    for (const std::uint8_t joint : std::array<std::uint8_t, 6>{0, 0, 0, 1, 1, 1}) {
        joints.insert(joints.end(), {joint, 0, 0, 0});
        weights.insert(weights.end(), {1, 0, 0, 0});
    }
    strip.Mesh({{"POSITION", positions},
                {"JOINTS_0", strip.Numbers(joints, 4)},
                {"WEIGHTS_0", strip.Numbers(weights, 4)}},
               indices);
    strip.Animation("bend", {Bend()});
    PlayedScene scene = Import(strip);
    EXPECT_EQ(scene.At(0).at(0).size(), 6u);
    const auto compared = independent::Compare(folder.File("model.gltf"), folder.File("model.om2"), 0, 5);
    EXPECT_LT(compared.worst, 2e-6);
}

TEST_F(Om2ImportMotion, SteppedAndCubicMotionIsPlayedAsItIs) {
    gltf::Strip stepped;
    stepped.Weighted(1.0f);
    stepped.Animation("jump", {{3, "translation", {0, 1, 2}, {0, 1, 0, 4, 1, 0, 0, 3, 0}, "STEP"}});
    PlayedScene scene = Import(stepped);
    ExpectNear(Posed(scene, 99.99f, {0, 2, 0}), {0, 0, 2});
    ExpectNear(Posed(scene, 100, {0, 2, 0}), {4, 0, 2});
    ExpectNear(Posed(scene, 199.99f, {0, 2, 0}), {4, 0, 2});
    ExpectNear(Posed(scene, 200, {0, 2, 0}), {0, 0, 4});

    // From 0 to 1 along x in two seconds, leaving at 3 a second, arriving at rest. At a quarter (a sample's
    // time) the curve is 2 * (1/64 - 2/16 + 1/4) * 3 + (3/16 - 2/64) = 0.84375 + 0.15625 = 1.
    gltf::Strip cubic;
    cubic.Weighted(1.0f);
    cubic.Animation(
        "curve",
        {{3, "translation", {0, 2}, {9, 9, 9, 0, 1, 0, 3, 0, 0, 0, 0, 0, 1, 1, 0, 9, 9, 9}, "CUBICSPLINE"}});
    PlayedScene curve = Import(cubic);
    ExpectNear(Posed(curve, 50, {0, 2, 0}), {1, 0, 2});
    ExpectNear(Posed(curve, 200, {0, 2, 0}), {1, 0, 2});
    PlayedScene coarse = Import(cubic, "--fps 2");
    ExpectNear(Posed(coarse, 50, {0, 2, 0}), {1, 0, 2});
    // Between samples at 0 and half a second the coarse one goes straight.
    ExpectNear(Posed(coarse, 25, {0, 2, 0}), {0.5, 0, 2});
}

TEST_F(Om2ImportMotion, AnimationsAreListedAndPickedByNameOrNumber) {
    gltf::Strip strip;
    strip.Weighted(1.0f);
    for (int i = 1; i <= 3; ++i) {
        const char* names[] = {"Rig_Walk", "Rig_Jump", "Rig|Walk|jump"};
        strip.Animation(
            names[i - 1],
            {{3, "translation", {0, 1.0f * static_cast<float>(i)}, {0, 1, 0, static_cast<float>(i), 1, 0}}});
    }
    const std::string model = folder.Write("model.gltf", strip.Document());
    const Outcome list = Run("import --list " + model);
    EXPECT_EQ(list.status, 0) << list.error;
    EXPECT_NE(list.out.find("1 meshes, 6 vertices, 4 triangles"), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("  2 \"Rig_Jump\" 2.000 s, 2000 ticks, 1000 a second\n"), std::string::npos)
        << list.out;
    EXPECT_EQ(folder.Names().size(), 1u);

    const std::vector<std::pair<std::string, double>> picks = {{"", 1},
                                                               {"--animation Rig_Jump", 2},
                                                               {"--animation 3", 3},
                                                               {"--animation walk", 1},
                                                               {"--animation RIG_JUMP", 2},
                                                               {"--animation none", 0}};
    for (const auto& [option, moved] : picks) {
        PlayedScene scene = Import(strip, option);
        ExpectNear(Posed(scene, 1000, {0, 2, 0}), {moved, 0, 2});
        EXPECT_EQ(summary.find("3 animations; took the first") != std::string::npos, option.empty())
            << summary;
    }
    // "jump" is the last part of two names.
    const std::string into = " -o " + folder.File("x.om2") + " --animation ";
    for (const std::string wrong : {"jump", "4", "0", "fly"}) {
        const Outcome refused = Run("import " + model + into + wrong);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(std::count(refused.error.begin(), refused.error.end(), '\n'), 1) << refused.error;
        EXPECT_NE(refused.error.find("it has 1 \"Rig_Walk\", 2 \"Rig_Jump\", 3 \"Rig|Walk|jump\""),
                  std::string::npos)
            << refused.error;
    }
    EXPECT_EQ(Run("import " + model).status, 2);
}

// 300 triangles, each on a bone of its own: more than one list of bones can name.
TEST_F(Om2ImportMotion, SkinsOfMoreBonesThanOnePaletteHoldsAreSplit) {
    constexpr std::size_t kBones = 300;
    gltf::File file;
    file.nodes = {"", R"({"name":"mesh","mesh":0,"skin":0})"};
    std::vector<float> positions, weights;
    std::vector<std::uint16_t> joints, indices;
    std::vector<std::size_t> list;
    std::string children = "1";
    for (std::size_t b = 0; b < kBones; ++b) {
        const auto x = static_cast<float>(b);
        positions.insert(positions.end(), {x, 0, 0, x + 1, 0, 0, x, 1, 0});
        for (int v = 0; v < 3; ++v) {
            indices.push_back(static_cast<std::uint16_t>(indices.size()));
            joints.insert(joints.end(), {static_cast<std::uint16_t>(b), 0, 0, 0});
            weights.insert(weights.end(), {1, 0, 0, 0});
        }
        list.push_back(b + 2);
        children += "," + std::to_string(b + 2);
        file.nodes.push_back("{\"name\":\"b" + std::to_string(b) + "\"}");
    }
    file.nodes[0] = "{\"name\":\"root\",\"children\":[" + children + "]}";
    file.Skin(list, std::vector<std::array<float, 3>>(kBones));
    const std::size_t place = file.Numbers(positions, 3), index = file.Numbers(indices, 1);
    file.Mesh(
        {{"POSITION", place}, {"JOINTS_0", file.Numbers(joints, 4)}, {"WEIGHTS_0", file.Numbers(weights, 4)}},
        index);
    file.Animation("lift", {{2 + 299, "translation", {0, 1}, {0, 0, 0, 0, 7, 0}}});
    PlayedScene scene = Import(file);
    EXPECT_NE(summary.find("2 meshes, 900 vertices, 300 triangles"), std::string::npos) << summary;
    ExpectNear(Posed(scene, 100, {0, 1, 0}, 0), {0, 0, 1});
    ExpectNear(Posed(scene, 100, {299, 1, 0}, 1), {299, 0, 8});
    ExpectNear(Posed(scene, 100, {298, 1, 0}, 1), {298, 0, 1});
}

// The strip bends, and goes ten to the side: at all times the picture shows all of it.
TEST_F(Om2ImportMotion, TheCameraTakesInAllThatTheMotionReaches) {
    gltf::Strip strip;
    strip.Weighted(1.0f);
    strip.Animation("away", {Bend(), {2, "translation", {0, 1, 2}, {0, 0, 0, 10, 0, 0, 0, 0, 5}}});
    PlayedScene scene = Import(strip);
    scene.At(0);
    const osm3d::Camera& camera = *scene.Scene().currentCamera;
    const osm3d::matrix m = camera.transformation->GetWorldMatrix();
    double widest = 0;
    for (const float time : {0.0f, 30.0f, 100.0f, 150.0f, 200.0f}) {
        const auto meshes = scene.At(time);
        for (const independent::Vertex& vertex : meshes.at(0)) {
            double seen[3] = {};  // in the camera's axes
            for (unsigned axis = 0; axis < 3; ++axis)
                for (unsigned k = 0; k < 3; ++k)
                    seen[axis] += (vertex.posed[k] - double{m.m[3][k]}) * double{m.m[axis][k]};
            const double half = std::tan(0.35) * -seen[2];
            EXPECT_LT(std::abs(seen[0]), half * 4 / 3);
            EXPECT_LT(std::abs(seen[1]), half);
            widest = std::max({widest, std::abs(seen[0]) / (half * 4 / 3), std::abs(seen[1]) / half});
        }
    }
    EXPECT_GT(widest, 0.6);  // and not from afar
}

TEST_F(Om2ImportMotion, WhatIsLeftOutOfAModelIsSaid) {
    gltf::Strip strip;
    const std::size_t weights = strip.Numbers(std::vector<float>(24, 0.25f), 4),
                      target = strip.Numbers(std::vector<float>(18, 0.5f), 3);
    strip.Mesh({{"POSITION", strip.positions}, {"JOINTS_0", strip.joints}, {"WEIGHTS_0", weights}},
               strip.indices, ",\"targets\":[{\"POSITION\":" + std::to_string(target) + "}]");
    Import(strip);
    EXPECT_NE(summary.find("1 meshes have morph targets, which are left out"), std::string::npos) << summary;
    strip.skins = {"{\"joints\":[2,3]}"};
    const Outcome refused =
        Run("import " + folder.Write("bare.gltf", strip.Document()) + " -o " + folder.File("x.om2"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.error.find("skin 0 has no inverse bind matrices"), std::string::npos) << refused.error;
}

// An .iqm file of one triangle on two bones, put together word by word.
class IqmFile {
  public:
    std::string bytes = std::string("INTERQUAKEMODEL\0", 16);

    IqmFile() {
        const std::string text("\0mesh\0paint\0low\0high\0lift\0", 26);  // 1, 6, 12, 16, 21
        bytes.resize(16 + 108);
        At(0) = 2;
        At(3) = static_cast<std::uint32_t>(text.size());
        At(4) = Here();
        bytes += text;
        At(5) = 1, At(6) = Here();
        Words({1, 6, 0, 3, 0, 1});
        At(8) = 3;
        const std::uint32_t positions = Here();
        Floats({0, 0, 0, 1, 0, 0, 0, 0, 2});
        const std::uint32_t indices = Here();
        bytes += std::string("\0\1\0\0\0\1\0\0\1\0\0\0", 12);
        const std::uint32_t weights = Here();
        bytes += std::string("\xff\0\0\0\x80\x7f\0\0\xff\0\0\0", 12);
        At(7) = 3, At(9) = Here();
        Words({0, 0, 7, 3, positions, 4, 0, 1, 4, indices, 5, 0, 1, 4, weights});
        At(10) = 1, At(11) = Here();
        Words({0, 1, 2});
        // "high" stands 1 above "low".
        At(13) = 2, At(14) = Here();
        Words({12, 0xffffffff});
        Floats({0, 0, 0, 0, 0, 0, 1, 1, 1, 1});
        Words({16, 0});
        Floats({0, 0, 1, 0, 0, 0, 1, 1, 1, 1});
        // The third channel, z of "high", is 1 plus a hundredth of the frame's word.
        At(15) = 2, At(16) = Here();
        for (const std::uint32_t pose : {0u, 1u}) {
            Words({pose - 1, pose == 0 ? 0u : 4u});
            Floats({0, 0, pose == 0 ? 0.0f : 1.0f, 0, 0, 0, 1, 1, 1, 1});
            Floats({0, 0, 0.01f, 0, 0, 0, 0, 0, 0, 0});
        }
        At(17) = 1, At(18) = Here();
        Words({21, 0, 3});
        Floats({10});
        Words({0});
        At(19) = 3, At(20) = 1, At(21) = Here();
        bytes += std::string("\0\0\x64\0\xc8\0", 6);  // 0, 100, 200
        At(1) = Here();
    }

  private:
    std::uint32_t Here() const { return static_cast<std::uint32_t>(bytes.size()); }
    std::uint32_t& At(std::size_t word) {
        return *reinterpret_cast<std::uint32_t*>(bytes.data() + 16 + 4 * word);
    }
    void Words(const std::vector<std::uint32_t>& words) {
        bytes.append(reinterpret_cast<const char*>(words.data()), 4 * words.size());
    }
    void Floats(const std::vector<float>& floats) {
        bytes.append(reinterpret_cast<const char*>(floats.data()), 4 * floats.size());
    }
};

TEST_F(Om2ImportMotion, IqmFilesComeWithBonesAndMotion) {
    const IqmFile file;
    const std::string model = folder.Write("small.iqm", file.bytes), out = folder.File("small.om2");
    const Outcome imported = Run("import " + model + " -o " + out);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_NE(imported.out.find("0.20 s of motion: \"lift\""), std::string::npos) << imported.out;
    PlayedScene scene(out);
    ExpectNear(Posed(scene, 0, {0, 0, 2}), {0, 0, 2});
    // At 10 frames a second a fifth of a second is frame 2: "high" is 2 further up.
    ExpectNear(Posed(scene, 15, {0, 0, 2}), {0, 0, 3.5});
    ExpectNear(Posed(scene, 20, {0, 0, 2}), {0, 0, 4});
    ExpectNear(Posed(scene, 20, {0, 0, 0}), {0, 0, 0});
    ExpectNear(Posed(scene, 20, {1, 0, 0}), {1, 0, 2 * 127.0 / 255});  // 128 and 127 parts
}

TEST_F(Om2ImportMotion, BrokenModelsAreRefusedAtWhateverByteTheyEnd) {
    gltf::Strip strip;
    strip.Weighted<std::uint8_t>(255);
    strip.Animation("bend", {Bend("STEP")});
    const std::string text = strip.Document();
    const std::string iqm = IqmFile().bytes;
    for (const auto& [name, bytes] : {std::pair{"cut.iqm", iqm}, {"cut.gltf", text}})
        for (std::size_t size = 0; size + 1 < bytes.size(); size += 7)
            EXPECT_THROW(tools::ReadModel(folder.Write(name, bytes.substr(0, size)), {}), std::exception)
                << name << " of " << size;
    // Every word of the header and of the records in turn says too much.
    for (std::size_t at = 16; at + 4 <= iqm.size(); at += 4) {
        std::string wrong = iqm;
        wrong.replace(at, 4, "\xf0\xff\xff\x7f");
        try {
            tools::ReadModel(folder.Write("wrong.iqm", wrong), {});
        } catch (const std::exception&) {
        }
    }
}

}  // namespace
