// om2 info, check, pack and import with what moves, shades and surrounds a scene.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "envelope.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh.h"
#include "io/object_graph.h"
#include "material/texture_cubemap_file.h"
#include "scene/atmospheric.h"
#include "scene/light.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "support/om2_scene.h"
#include "support/run_program.h"

namespace {

using test_support::Outcome;

class Om2Records : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) {
        return test_support::Run(OSM_BINARY_DIR "/bin/om2", arguments, folder.path);
    }
    static std::size_t CountOf(const std::string& what, const std::string& text) {
        std::size_t count = 0;
        for (std::size_t at = text.find(what); at != text.npos; at = text.find(what, at + 1)) ++count;
        return count;
    }
    // A square image of one colour.
    std::string Image(const std::string& name, unsigned size, const om2::Rgb& color) {
        return folder.Write(name, om2::Tga(size, size, std::vector<om2::Rgb>(size * size, color)));
    }
    std::string Triangle() { return folder.Write("m.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"); }

    test_support::TempFolder folder;
};

constexpr const char* kEffect = R"(
float4 Tint = {1, 0, 0, 1};
float4x4 All : WORLDVIEWPROJECTION;
float4 Place(float4 p : POSITION) : POSITION { return mul(p, All); }
float4 Shade() : COLOR { return Tint; }
technique t { pass p { VertexShader = compile vs_1_1 Place(); PixelShader = compile ps_1_1 Shade(); } }
)";

// Every record that scenes gained after the plain meshes, cameras and lights. `cube` writes the textures'
// list.
std::vector<std::uint8_t> Everything(const std::string& effect, const std::function<void(om2::File&)>& cube) {
    om2::File f;
    int node = -1, camera = -1, mesh = -1, texture = -1, material = -1;
    om2::File::SceneParts parts;
    parts.textures = [&] {
        f.I32(1);
        texture = f.Chunk("TXCF", 1, [&] { cube(f); });
    };
    parts.materials = [&] {
        f.I32(2);
        material = f.Material({});
        f.Chunk("MTFX", 1, [&] {
            f.String(effect);
            f.Ref(material);
        });
    };
    parts.tree = [&] {
        node = f.Node({0, 0, 0});
        f.I32(0);
    };
    parts.meshes = [&] {
        f.I32(1);
        const om2::File::Shape shape = om2::Quad(-1, -1, 1, 1);
        mesh = f.DeformedMesh(
            [&] {
                f.WeightedGeometry(shape, std::vector<om2::File::Weight>(shape.positions.size(),
                                                                         {{0, 0, 0, 0}, {0.25f, 0.5f, 0}}));
            },
            [&] { f.Stack(1, [&] { f.Skin([&] { f.Ref(node); }, {om2::kIdentity}); }); },
            [&] { f.Ref(material); }, [&] { f.Ref(node); });
    };
    parts.cameras = [&] {
        f.I32(1);
        camera = f.Camera([&] { f.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
    };
    parts.current_camera = [&] { f.Ref(camera); };
    parts.after = [&] {
        f.I32(1);
        f.Billboards([&] { f.Ref(material); }, {f.Sprite({0, 0, 1}, 2)});
    };
    parts.background = [&] { f.TextureBackground(3, [&] { f.Ref(texture); }); };
    parts.renderers = [&] {
        f.I32(3);
        f.Chunk("SRMR", 1, [&] { f.List(1, [&] { f.Ref(mesh); }); });
        f.Chunk("SRDF", 1, [&] {
            f.I32(1);
            f.Ref(camera);
            f.Null();
            f.ConstFloat(5);
        });
        f.Chunk("SRSW", 1, [] {});
    };
    f.Scene(parts);
    return f.bytes;
}

TEST_F(Om2Records, InfoTellsWhatEachSays) {
    const auto named = [](om2::File& f) {
        f.I32(2);
        for (const char* face : {"up.png", "down.png", "left.png", "right.png", "back.png", "front.png"})
            f.String(face);
    };
    const std::string file = folder.Write("all.om2", Everything("shine.fx", named));
    const Outcome text = Run("info " + file);
    EXPECT_EQ(text.status, 0);
    for (const char* expected : {"GOWT GeometryWeighted version 1",
                                 "bones and weights 4 values: [0, 0, 0, 0: 0.25, 0.5, 0], ",
                                 "MOST ModifierStack",
                                 "modifiers[0]: MDSK ModifierSkin",
                                 "- bones 1",
                                 "offsets 1 values: [1, 0, 0, 0, 0, 1",
                                 "mesh matrix [1, 0, 0",
                                 "bones[0]: object",
                                 "TXCF TextureCubemapFile",
                                 "- +z file up.png",
                                 "- +y file front.png",
                                 "MTFX MaterialFX",
                                 "- file shine.fx",
                                 "inner material: object",
                                 "SRMR SceneRendererMirror",
                                 "mirrors[0]: object",
                                 "SRDF SceneRendererDOF",
                                 "cameras[0].camera: object",
                                 "cameras[0].scale: none",
                                 "cameras[0].distance: CCFL",
                                 "SRSW SceneRendererShadow version 1",
                                 "ATBL AtmosphericBillboard",
                                 "billboard: FPRB Billboard",
                                 "sprites[0].placement: TRPR",
                                 "sprites[0].size: CCFL",
                                 "- mode 3",
                                 "cube: object"})
        EXPECT_NE(text.out.find(expected), std::string::npos) << expected << "\n" << text.out;
    // Each record ends where its chunk does.
    EXPECT_EQ(text.out.find("fault"), std::string::npos) << text.out;
    EXPECT_EQ(text.out.find("not known"), std::string::npos) << text.out;
    const Outcome json = Run("info --json " + file);
    EXPECT_EQ(CountOf("\"kind\":\"chunk\"", json.out), CountOf(", object ", text.out));
}

TEST_F(Om2Records, CheckTellsMissingFilesAndBrokenEffects) {
    const std::string good = folder.Write("good.fx", kEffect);
    std::string broken_text = kEffect;
    broken_text.replace(broken_text.find("return Tint"), 11, "return Tone");
    const std::string broken = folder.Write("broken.fx", broken_text),
                      cut = folder.Write("cut.fx", std::string(kEffect).substr(0, 220)),
                      empty = folder.Write("empty.fx", "float4 Tint;\n");
    const std::string image = Image("face.tga", 2, {1, 2, 3});
    const auto faces = [&](om2::File& f) {
        f.I32(2);
        for (int i = 0; i < 6; ++i) f.String(image);
    };
    const auto check = [&](const std::string& effect) {
        return Run("check " + folder.Write("scene.om2", Everything(effect, faces)));
    };
    const Outcome sound = check(good);
    EXPECT_EQ(sound.status, 0) << sound.out;
    const std::pair<std::string, std::string> faults[] = {
        {broken, "broken.fx(5,"},
        {cut, "cut.fx("},
        {empty, "there is no technique"},
        {folder.File("none.fx"), "none.fx: error: the file cannot be read"}};
    for (const auto& [effect, expected] : faults) {
        const Outcome outcome = check(effect);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.out.find("an effect material does not draw: "), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.out.find(expected), std::string::npos) << outcome.out;
    }
    std::filesystem::remove(image);
    const Outcome missing = check(good);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(CountOf("face.tga\" is not there", missing.out), 6u) << missing.out;
    const auto whole = [&](om2::File& f) {
        f.I32(1);
        f.String(good);
    };
    const Outcome white = Run("check " + folder.Write("whole.om2", Everything(good, whole)));
    EXPECT_NE(white.out.find("one cube map in place of six images"), std::string::npos) << white.out;
}

TEST_F(Om2Records, PackTakesCubesInAndRefusesEffectFiles) {
    const std::string image = Image("face.tga", 1, {1, 2, 3});
    const auto faces = [&](om2::File& f) {
        f.I32(2);
        for (int i = 0; i < 6; ++i) f.String(image);
    };
    const std::string with_effect = folder.Write("all.om2", Everything("shine.fx", faces));
    const Outcome refused = Run("pack --embed " + with_effect + " -o " + folder.File("packed.om2"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.error.find("names effect files"), std::string::npos) << refused.error;
    om2::SceneFile s;
    int cube = -1;
    s.textures.push_back([&] { cube = s.file.Chunk("TXCF", 1, [&] { faces(s.file); }); });
    s.background = [&] { s.file.TextureBackground(3, [&] { s.file.Ref(cube); }); };
    const std::string plain = folder.Write("plain.om2", s.Bytes()), packed = folder.File("packed.om2");
    EXPECT_NE(Run("pack " + plain + " -o " + packed).error.find("--embed"), std::string::npos);
    ASSERT_EQ(Run("pack --embed " + plain + " -o " + packed).status, 0);
    const Outcome info = Run("info " + packed);
    EXPECT_EQ(CountOf("embedded bytes 22", info.out), 6u) << info.out;
    EXPECT_EQ(Run("check " + packed).status, 0);
}

// The bytes of the six images of an imported scene's background, by key.
std::map<int, std::vector<unsigned char>> Background(const std::string& file) {
    osmio::ObjectGraph graph;
    osm3d::SceneHierarchy* scene = nullptr;
    std::string reason;
    if (!osm3d::LoadSceneFile(file, graph, scene, reason)) return {};
    const auto* background = dynamic_cast<const osm3d::AtmosphericBackground*>(scene->background);
    return background && background->GetCube() ? background->GetCube()->GetFileData()
                                               : std::map<int, std::vector<unsigned char>>{};
}

TEST_F(Om2Records, ImportPutsACubeBehindTheModel) {
    const std::string model = Triangle(), out = folder.File("m.om2");
    std::string faces, wrong;
    for (const char* name : {"up", "down", "left", "right", "back", "front"})
        faces += " " + Image(std::string(name) + ".tga", 2, {1, 2, 3});
    const Outcome named = Run("import " + model + " -o " + out + " --cube-faces" + faces);
    ASSERT_EQ(named.status, 0) << named.error;
    EXPECT_EQ(Run("check " + out).status, 0);
    const Outcome info = Run("info " + out);
    EXPECT_NE(info.out.find("- +z file " + folder.File("up.tga")), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("- +y file " + folder.File("front.tga")), std::string::npos) << info.out;
    ASSERT_EQ(Run("import --embed " + model + " -o " + out + " --cube-faces" + faces).status, 0);
    EXPECT_EQ(Background(out).size(), 6u);

    Image("front.tga", 4, {1, 2, 3});
    const Outcome uneven = Run("import " + model + " -o " + out + " --cube-faces" + faces);
    EXPECT_EQ(uneven.status, 1);
    EXPECT_NE(uneven.error.find("front.tga: the six images of a cube are square and of one size"),
              std::string::npos);
    EXPECT_EQ(
        Run("import " + model + " -o " + out + " --cube-faces" + faces.substr(0, faces.rfind(' '))).status,
        2);
}

// A .dds cube map of one pixel a face, whose first byte says which: 0 to 5 for +x, -x, +y, -y, +z, -z.
std::vector<unsigned char> CubeMap() {
    std::vector<unsigned char> bytes(128);
    const auto put = [&](std::size_t at, std::uint32_t v) { std::memcpy(bytes.data() + at, &v, 4); };
    std::memcpy(bytes.data(), "DDS ", 4);
    put(4, 124), put(8, 0x1007), put(12, 1), put(16, 1), put(76, 32), put(80, 0x41), put(88, 32);
    put(92, 0xff0000), put(96, 0xff00), put(100, 0xff), put(104, 0xff000000), put(108, 0x1008),
        put(112, 0xfe00);
    for (unsigned char face = 0; face < 6; ++face) bytes.insert(bytes.end(), {face, 9, 9, 255});
    return bytes;
}

TEST_F(Om2Records, ImportTakesACubeMapApartForTheBackground) {
    const std::string map = folder.Write("sky.dds", CubeMap()), out = folder.File("m.om2");
    const Outcome imported = Run("import " + Triangle() + " -o " + out + " --cube " + map);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_EQ(Run("check " + out).status, 0);
    // The map's +y is up, its +z in front: keys 1 to 6 are up, down, -x, +x, -y and +y of the scene.
    const auto faces = Background(out);
    ASSERT_EQ(faces.size(), 6u);
    const int expected[] = {2, 3, 1, 0, 5, 4};
    for (const auto& [key, bytes] : faces) {
        ASSERT_EQ(bytes.size(), 132u);
        EXPECT_EQ(bytes[128], expected[key - 1]) << key;
        EXPECT_EQ(bytes[113], 0) << "still a cube map";
    }
    std::vector<unsigned char> cut = CubeMap();
    cut.resize(140);
    for (const std::string& wrong : {folder.Write("cut.dds", cut), Image("flat.tga", 1, {1, 2, 3})})
        EXPECT_NE(Run("import " + Triangle() + " -o " + out + " --cube " + wrong).error.find("is not"),
                  std::string::npos);
}

TEST_F(Om2Records, ImportWithShadowsNamesLightAndCasters) {
    folder.Write("m.mtl", "newmtl wall\nKd 1 1 1\nnewmtl glass\nKd 0.2 0.4 0.6\nd 0.5\n");
    const std::string model =
        folder.Write("m.obj",
                     "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nusemtl wall\nf 1 2 3\n"
                     "usemtl glass\nf 1 2 4\n");
    const std::string out = folder.File("m.om2");
    const Outcome imported = Run("import --shadows " + model + " -o " + out);
    ASSERT_EQ(imported.status, 0) << imported.error;
    EXPECT_NE(imported.out.find(
                  "the main light that was added casts the shadows of 1 meshes; 1 blended ones cast none"),
              std::string::npos)
        << imported.out;
    EXPECT_EQ(Run("check " + out).status, 0);
    osmio::ObjectGraph graph;
    osm3d::SceneHierarchy* scene = nullptr;
    std::string reason;
    ASSERT_TRUE(osm3d::LoadSceneFile(out, graph, scene, reason)) << reason;
    ASSERT_EQ(scene->meshes.size(), 2u);
    ASSERT_NE(scene->shadowLight, nullptr);
    EXPECT_EQ(scene->shadowLight, scene->lights.front());
    EXPECT_EQ(scene->shadowLight->GetShadowCasters(), std::vector<osm3d::Mesh*>{scene->meshes[0]});
    EXPECT_TRUE(scene->meshes[0]->GetCastShadow());
    EXPECT_FALSE(scene->meshes[1]->GetCastShadow());
    EXPECT_EQ(CountOf("SRSW", Run("info " + out).out), 1u);
}

// Six sides with normals of their own in two materials: cut along every edge, and yet one closed body.
TEST_F(Om2Records, ACutBodyCastsTheShadowOfItsWholeSurface) {
    folder.Write("c.mtl", "newmtl a\nKd 1 0 0\nnewmtl b\nKd 0 1 0\n");
    std::string text = "mtllib c.mtl\n";
    for (int i = 0; i < 8; ++i)
        text += "v " + std::to_string(i & 1) + " " + std::to_string(i >> 1 & 1) + " " +
                std::to_string(i >> 2) + "\n";
    text += "vn 0 0 -1\nvn 0 0 1\nvn 0 -1 0\nvn 0 1 0\nvn -1 0 0\nvn 1 0 0\nusemtl a\n";
    const char* sides[6] = {"1 3 4 2", "5 6 8 7", "1 2 6 5", "3 7 8 4", "1 5 7 3", "2 4 8 6"};
    for (int side = 0; side < 6; ++side) {
        if (side == 3) text += "usemtl b\n";
        text += "f";
        for (int corner = 0; corner < 4; ++corner)
            text += std::string(" ") + sides[side][2 * corner] + "//" + std::to_string(side + 1);
        text += "\n";
    }
    const std::string model = folder.Write("c.obj", text), out = folder.File("c.om2");
    ASSERT_EQ(Run("import --shadows " + model + " -o " + out).status, 0);
    EXPECT_EQ(Run("check " + out).status, 0);
    osmio::ObjectGraph graph;
    osm3d::SceneHierarchy* scene = nullptr;
    std::string reason;
    ASSERT_TRUE(osm3d::LoadSceneFile(out, graph, scene, reason)) << reason;
    ASSERT_EQ(scene->meshes.size(), 3u);
    EXPECT_EQ(scene->shadowLight->GetShadowCasters(), std::vector<osm3d::Mesh*>{scene->meshes[2]});
    EXPECT_TRUE(scene->meshes[2]->IsHidden());
    const auto* whole = dynamic_cast<const osm3d::GeometrySimple*>(scene->meshes[2]->GetGeometry());
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(whole->positions.size(), 8u);
    EXPECT_EQ(whole->triangles.size(), 12u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(scene->meshes[static_cast<std::size_t>(i)]->IsHidden());
        EXPECT_FALSE(scene->meshes[static_cast<std::size_t>(i)]->GetCastShadow());
    }
}

}  // namespace
