// om2 as a person runs it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "envelope.h"
#include "support/om2_scene.h"
#include "support/run_program.h"

namespace {

using test_support::Outcome;
using test_support::TempFolder;

class Om2 : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) {
        return test_support::Run(OSM_BINARY_DIR "/bin/om2", arguments, folder.path);
    }
    // The answer to what cannot be done: status 1 and one line that names the file and says what is wrong.
    void ExpectRefusal(const std::string& arguments, const std::string& says) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        EXPECT_EQ(outcome.error.rfind("om2: ", 0), 0u) << outcome.error;
        EXPECT_NE(outcome.error.find(says), std::string::npos) << outcome.error;
    }

    TempFolder folder;
};

TEST_F(Om2, RefusesWhatItCannotReadWithOneLineAndLeavesNothingBehind) {
    const std::vector<std::uint8_t> scene = om2::RichScene();
    folder.Write("empty.om2", "");
    folder.Write("foreign.om2", "PK\x03\x04 this is something else");
    folder.Write("short.om2", "NO");
    folder.Write("header.om2", "IOBZ\1\0\0");
    std::vector<std::uint8_t> packed =
        tools::MakeEnvelope(tools::Form::Packed, {scene.begin() + 4, scene.end()});
    packed.resize(packed.size() - 20);
    folder.Write("cut.om2", packed);
    const std::map<std::string, std::string> reasons = {{"missing.om2", "No such file"},
                                                        {"empty.om2", "is empty"},
                                                        {"foreign.om2", "not an .om2 file"},
                                                        {"short.om2", "not an .om2"},
                                                        {"header.om2", "inside its header"},
                                                        {"cut.om2", "cut short"},
                                                        {".", "is not a file"}};
    const std::size_t files = folder.Names().size();
    for (const auto& [name, reason] : reasons) {
        const std::string path = folder.File(name);
        for (const std::string command : {"info ", "info --json ", "check "})
            ExpectRefusal(command + path, reason);
        for (const std::string command : {"pack ", "unpack "})
            ExpectRefusal(command + path + " -o " + folder.File("out.om2"), reason);
    }
    ExpectRefusal("import " + folder.File("missing.obj") + " -o " + folder.File("out.om2"), "no such file");
    folder.Write("broken.glb", "glTF but not really");
    ExpectRefusal("import " + folder.File("broken.glb") + " -o " + folder.File("out.om2"),
                  "cannot be read as a model");
    EXPECT_EQ(folder.Names().size(), files + 1);
}

TEST_F(Om2, RefusesToWriteWhereItCannot) {
    const std::string scene = folder.Write("scene.om2", om2::RichScene());
    folder.Write("m.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    ExpectRefusal("unpack " + scene + " -o " + folder.File("no/such/folder.om2"), "cannot be written");
    ExpectRefusal("import " + folder.File("m.obj") + " -o " + folder.File("no/such/folder.om2"),
                  "cannot be written");
    EXPECT_EQ(Run("import").status, 2);
    EXPECT_EQ(Run("sell " + scene).status, 2);
    EXPECT_EQ(Run("-h").status, 0);
}

TEST_F(Om2, InfoTellsEveryRecordAndItsJsonTheSameTree) {
    const std::string scene = folder.Write("scene.om2", om2::RichScene());
    const Outcome text = Run("info " + scene);
    EXPECT_EQ(text.status, 0);
    for (const char* expected : {"root: SCHE SceneHierarchy version 2, object 0", "materials[2]: MTCP",
                                 "attribute 7 1", "TS__ TextureStage", "file C:\\pictures\\wall.png",
                                 "LTOM LightOmni", "CLMT Linear<matrix>", "target: HINO", "contents 0x40713"})
        EXPECT_NE(text.out.find(expected), std::string::npos) << expected << "\n" << text.out;
    EXPECT_EQ(text.out.find("fault"), std::string::npos) << text.out;
    const Outcome json = Run("info --json " + scene);
    EXPECT_EQ(json.status, 0);
    const auto chunks = std::count(text.out.begin(), text.out.end(), '\n');
    EXPECT_GT(chunks, 100);
    std::size_t tags = 0;
    for (std::size_t at = json.out.find("\"tag\""); at != std::string::npos;
         at = json.out.find("\"tag\"", at + 1))
        ++tags;
    EXPECT_NE(text.out.find(std::to_string(tags) + " chunks"), std::string::npos) << tags;
}

TEST_F(Om2, CheckTellsWhatKeepsAFileFromLoading) {
    om2::SceneFile sound;
    sound.Mesh(om2::Quad(-1, -1, 1, 1), sound.Null(), sound.Null());
    const Outcome good = Run("check " + folder.Write("good.om2", sound.Bytes()));
    EXPECT_EQ(good.status, 0) << good.out << good.error;
    EXPECT_NE(good.out.find("sound"), std::string::npos);

    om2::SceneFile wrong;
    om2::File::Shape shape = om2::Quad(-1, -1, 1, 1);
    shape.triangles[1][2] = 99;
    wrong.Mesh(shape, wrong.Null(), wrong.Null());
    const Outcome bad = Run("check " + folder.Write("bad.om2", wrong.Bytes()));
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("99"), std::string::npos) << bad.out;

    std::vector<std::uint8_t> cut = om2::RichScene();
    cut.resize(cut.size() / 2);
    const Outcome half = Run("check " + folder.Write("half.om2", cut));
    EXPECT_EQ(half.status, 1);
    EXPECT_NE(half.out.find("at byte "), std::string::npos) << half.out;
}

// As deep as the engine takes a tree, and one level deeper: info and check say what the engine says.
TEST_F(Om2, CheckFollowsATreeAsDeepAsTheEngineDoes) {
    for (const int below : {512, 513}) {
        om2::SceneFile s;
        s.tree = [&] {
            for (int level = 0; level <= below; ++level) {
                s.file.PlainNode();
                s.file.I32(level < below ? 1 : 0);
            }
        };
        const Outcome outcome = Run("check " + folder.Write("deep.om2", s.Bytes()));
        EXPECT_EQ(outcome.status, below == 512 ? 0 : 1) << outcome.out;
        EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), below == 512 ? 1 : 2)
            << outcome.out;
    }
}

TEST_F(Om2, PackAndUnpackComeBackToTheSameBytes) {
    om2::SceneFile s;
    s.textures.push_back([&] { s.file.EmbeddedTexture(om2::Tga(1, 1, {{1, 2, 3}})); });
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Null(), s.Null());
    const std::string plain = folder.Write("plain.om2", s.Bytes());
    const std::string packed = folder.File("packed.om2"), again = folder.File("again.om2");
    ASSERT_EQ(Run("pack " + plain + " -o " + packed).status, 0);
    ASSERT_EQ(Run("check " + packed).status, 0);
    ASSERT_EQ(Run("unpack " + packed + " -o " + again).status, 0);
    EXPECT_EQ(tools::ReadEnvelope(packed).form, tools::Form::Packed);
    EXPECT_EQ(tools::ReadEnvelope(again).objects, tools::ReadEnvelope(plain).objects);
}

TEST_F(Om2, NamedImagesArePackedOnlyWhenEmbedded) {
    const std::string image = folder.Write("wall.tga", om2::Tga(1, 1, {{9, 8, 7}}));
    om2::SceneFile s;
    s.textures.push_back([&] { s.file.NamedTexture(image); });
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Null(), s.Null());
    const std::string plain = folder.Write("plain.om2", s.Bytes());
    const std::string packed = folder.File("packed.om2");
    ExpectRefusal("pack " + plain + " -o " + packed, "--embed");
    ASSERT_EQ(Run("pack --embed " + plain + " -o " + packed).status, 0);
    EXPECT_EQ(folder.Names().size(), 3u);  // the image, the scene, the packed scene
    const Outcome info = Run("info " + packed);
    EXPECT_NE(info.out.find("embedded bytes 22"), std::string::npos) << info.out;
    std::filesystem::remove(image);
    ExpectRefusal("pack --embed " + plain + " -o " + folder.File("other.om2"),
                  "cannot be read to be embedded");
    EXPECT_FALSE(std::filesystem::exists(folder.File("other.om2")));
    EXPECT_EQ(Run("check " + packed).status, 0);
}

// A model that says all that we bring over: two materials, one of them with an image, on one object.
TEST_F(Om2, ImportBringsMeshesMaterialsAndImages) {
    folder.Write("skin.tga", om2::Tga(2, 2, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}));
    folder.Write("m.mtl", "newmtl skin\nKd 1 1 1\nmap_Kd skin.tga\nnewmtl glass\nKd 0.2 0.4 0.6\nd 0.5\n");
    folder.Write(
        "m.obj",
        "mtllib m.mtl\nv 0 0 0\nv 2 0 0\nv 2 2 0\nv 0 2 0\nv 0 0 1\nv 2 0 1\nv 2 2 1\n"
        "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nusemtl skin\nf 1/1 2/2 3/3 4/4\nusemtl glass\nf 5/1 6/2 7/3\n");
    const std::string out = folder.File("m.om2");
    const Outcome imported = Run("import " + folder.File("m.obj") + " -o " + out);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_NE(imported.out.find("2 meshes, 7 vertices, 3 triangles"), std::string::npos) << imported.out;
    const Outcome info = Run("info " + out);
    EXPECT_NE(info.out.find("file " + folder.File("skin.tga")), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("value [0.2, 0.4, 0.6, 0.5]"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("blend class 4"), std::string::npos);
    // The image's first row is its top: the corner with (0, 0) in the file takes the bottom.
    EXPECT_NE(info.out.find("coordinates 4 values: [0, 1], [1, 1], [1, 0], [0, 0]"), std::string::npos)
        << info.out;
    EXPECT_EQ(Run("check " + out).status, 0);
    ASSERT_EQ(Run("import --embed " + folder.File("m.obj") + " -o " + out).status, 0);
    EXPECT_EQ(Run("info " + out).out.find("skin.tga"), std::string::npos);
}

TEST_F(Om2, ImportSplitsMeshesThatIndicesCannotReach) {
    std::string obj;
    constexpr int kSide = 300;  // 90,000 vertices
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) obj += "v " + std::to_string(x) + " " + std::to_string(y) + " 0\n";
    for (int y = 0; y + 1 < kSide; ++y)
        for (int x = 0; x + 1 < kSide; ++x) {
            const int a = y * kSide + x + 1;
            obj += "f " + std::to_string(a) + " " + std::to_string(a + 1) + " " + std::to_string(a + kSide) +
                   "\n";
        }
    folder.Write("big.obj", obj);
    const std::string out = folder.File("big.om2");
    const Outcome imported = Run("import " + folder.File("big.obj") + " -o " + out);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_NE(imported.out.find("2 meshes"), std::string::npos) << imported.out;
    EXPECT_NE(imported.out.find("89401 triangles"), std::string::npos) << imported.out;
    EXPECT_EQ(Run("check " + out).status, 0);
}

// A box on a moving node in Collada's text: keys come over in hundredths of seconds.
TEST_F(Om2, ImportBringsTheMotionOfNodes) {
    const std::string dae = R"(<?xml version="1.0"?>
<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
 <asset><up_axis>Y_UP</up_axis></asset>
 <library_geometries><geometry id="g"><mesh>
  <source id="p"><float_array id="pa" count="9">0 0 0 1 0 0 0 1 0</float_array><technique_common>
   <accessor source="#pa" count="3" stride="3"><param name="X" type="float"/><param name="Y" type="float"/>
   <param name="Z" type="float"/></accessor></technique_common></source>
  <vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
  <triangles count="1"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles>
 </mesh></geometry></library_geometries>
 <library_animations><animation id="a">
  <source id="t"><float_array id="ta" count="2">0 1.5</float_array><technique_common>
   <accessor source="#ta" count="2"><param name="TIME" type="float"/></accessor></technique_common></source>
  <source id="o"><float_array id="oa" count="6">0 0 0 3 0 0</float_array><technique_common>
   <accessor source="#oa" count="2" stride="3"><param name="X" type="float"/><param name="Y" type="float"/>
   <param name="Z" type="float"/></accessor></technique_common></source>
  <sampler id="s"><input semantic="INPUT" source="#t"/><input semantic="OUTPUT" source="#o"/></sampler>
  <channel source="#s" target="n/move"/>
 </animation></library_animations>
 <library_visual_scenes><visual_scene id="scene"><node id="n" name="n"><translate sid="move">0 0 0</translate>
  <instance_geometry url="#g"/></node></visual_scene></library_visual_scenes>
 <scene><instance_visual_scene url="#scene"/></scene>
</COLLADA>)";
    folder.Write("move.dae", dae);
    const std::string out = folder.File("move.om2");
    const Outcome imported = Run("import " + folder.File("move.dae") + " -o " + out);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_NE(imported.out.find("1.50 s of motion"), std::string::npos) << imported.out;
    const Outcome info = Run("info " + out);
    EXPECT_NE(info.out.find("time and value 2 values: [0, 0, 0, 0], [150, 3, 0, 0]"), std::string::npos)
        << info.out;
}

}  // namespace
