// A project in one file: what the two forms hold byte for byte, what an export does to the live scenes, and
// that the loadable form shows the same pictures without the files that it was made of.
#include "driver/animation_package.h"

#include <bzlib.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "driver/animation_export.h"
#include "driver/driver.h"
#include "effects/fake_host.h"
#include "effects/simple_effects.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_cubemap_file.h"
#include "scene/scene_hierarchy.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/picture_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using testing_messages::Listener;
namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<u8>;
using Strings = std::vector<std::string>;

/// A folder that goes with this object, and what lies in it.
struct Folder {
    Folder() {
        static int count = 0;
        path = (fs::temp_directory_path() /
                ("osm_package_" + std::to_string(getpid()) + "_" + std::to_string(count++)))
                   .string();
        fs::create_directories(path);
    }
    ~Folder() { fs::remove_all(path); }
    std::string operator()(const std::string& name) const { return path + "/" + name; }
    std::string Fill(const std::string& name, const Bytes& bytes) const {
        std::ofstream out((*this)(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (*this)(name);
    }
    static Bytes Read(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), {});
    }
    std::size_t Count() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path), {}));
    }
    std::string path;
};

struct DataList final : HostDataList {
    u32 GetCount() override { return static_cast<u32>(items.size()); }
    DataObject* GetItem(u32 index) override { return items[index]; }
    std::vector<DataObject*> items;
};

struct Document final : HostDocument {
    HostDataList* GetDataList() override { return &list; }
    std::string GetProjectText() override { return text; }
    void Load(Driver& driver, const std::string& path) {
        owned.emplace_back(driver.LoadData(path));
        ASSERT_NE(owned.back(), nullptr) << path;
        list.items.push_back(owned.back().get());
    }
    SceneHierarchy& Scene(std::size_t index) { return *static_cast<SceneData*>(list.items[index])->scene; }
    DataList list;
    std::string text = "<project/>";
    std::vector<std::unique_ptr<DataObject>> owned;
};

Bytes Flat(const om2::Rgb& color) { return om2::Tga(2, 2, {color, color, color, color}); }

constexpr om2::Rgb kRed{255, 0, 0}, kGreen{0, 255, 0}, kGrey{64, 64, 64}, kBlue{0, 0, 255};

// ---- what is in the file

/// A scene with four materials: two show image.tga, one a nameless image, one a cube. As a project has it, or
/// as an export stores it: without a list, and with what stands in the package before it.
struct Wall {
    om2::SceneFile s;
    int first = -1, second = -1, nameless = -1, cube = -1;
    int materials[4] = {-1, -1, -1, -1};

    void Build() {
        s.Textured(materials[0], first);
        s.Textured(materials[1], second);
        s.Textured(materials[2], nameless);
        s.Textured(materials[3], cube);
        for (int i = 0; i < 4; ++i) {
            const float x = static_cast<float>(i) - 2;
            s.Mesh(om2::TexturedQuad(x, 0, x + 1, 1), s.Ref(materials[i]), s.Null());
        }
    }
    Bytes AsSource(const Folder& folder) {
        s.textures.push_back([&] { first = s.file.NamedTexture(folder("image.tga")); });
        s.textures.push_back([&] { second = s.file.NamedTexture(folder("image.tga")); });
        s.textures.push_back([&] { nameless = s.file.EmbeddedTexture(Flat(kGrey)); });
        s.textures.push_back([&] {
            cube = s.file.Chunk("TXCF", 1, [&] {
                s.file.I32(2);
                for (int i = 0; i < 6; ++i) s.file.String(folder("side.tga"));
            });
        });
        Build();
        return s.Bytes();
    }
    // The object behind the file's magic, or the bare bodies.
    Bytes AsExport(const Folder& folder, bool bare) {
        om2::File f;
        f.bytes.clear();
        f.bare = bare;
        f.Chunk("stfx", 1, [&] {
            f.String("<project/>");
            f.I32(5);
            f.String(folder("image.tga"));
            first = second = f.EmbeddedTexture(Flat(kRed));
            f.String(folder("media.tga"));
            f.EmbeddedTexture(Flat(kBlue));
            f.String("0");
            f.EmbeddedTexture(Flat(kRed));
            f.String("1");
            nameless = f.EmbeddedTexture(Flat(kGrey));
            f.String("2");
            const Bytes side = Flat(kGreen);
            cube = f.EmbeddedCube({side, side, side, side, side, side});
            f.I32(1);
            f.String(folder("wall.om2"));
            Build();
            std::swap(s.file, f);
            s.Bytes();
            std::swap(s.file, f);
        });
        return f.bytes;
    }
};

struct Exported : testing::Test {
    Exported() {
        folder.Fill("image.tga", Flat(kRed));
        folder.Fill("media.tga", Flat(kBlue));
        folder.Fill("side.tga", Flat(kGreen));
        folder.Fill("wall.om2", Wall().AsSource(folder));
        document.Load(driver, folder("wall.om2"));
        document.Load(driver, folder("media.tga"));
    }
    Folder folder;
    support::EngineDevice engine;
    Driver driver;
    Document document;
    Listener listener;
};

TEST_F(Exported, IsTheCompressedBodiesOfItsPartsAndChangesTheLiveScene) {
    driver.ExportAnimation(&document, folder("out"));
    EXPECT_EQ(listener.boxes,
              (Strings{"Replaced references to textures : 1.Texture with references not found : 3",
                       "DriverOST - Exported animation :\n1 3d Scenes.\n5 Bitmaps."}));
    EXPECT_EQ(listener.warnings, Strings{});

    const Bytes file = Folder::Read(folder("out"));
    const Bytes expected = Wall().AsExport(folder, true);
    ASSERT_GT(file.size(), 12u);
    u32 header[3];
    std::memcpy(header, file.data(), 12);
    EXPECT_EQ(header[0], 0x5A424F49u);
    EXPECT_EQ(header[1], expected.size());
    EXPECT_EQ(header[2], file.size() - 12);
    Bytes unpacked(expected.size() + 1);
    auto size = static_cast<unsigned>(unpacked.size());
    ASSERT_EQ(BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(unpacked.data()), &size,
                                         reinterpret_cast<char*>(const_cast<u8*>(file.data() + 12)),
                                         header[2], 0, 0),
              BZ_OK);
    unpacked.resize(size);
    EXPECT_EQ(unpacked, expected);

    SceneHierarchy& scene = document.Scene(0);
    EXPECT_TRUE(scene.textures.empty());
    const auto texture = [&](u32 i) {
        return static_cast<MaterialSimple*>(scene.materials[i])->GetStageTexture(0);
    };
    EXPECT_EQ(texture(0), texture(1));
    EXPECT_NE(texture(0), texture(2));
    scene.Update(0);
    engine.context().BeginScene();
    scene.Render();
    engine.context().EndScene();
    EXPECT_TRUE(engine.recorded().faults.empty());

    listener.boxes.clear();
    driver.ExportAnimation(&document, folder("again"));
    EXPECT_EQ(listener.boxes,
              (Strings{"Replaced references to textures : 1.Texture with references not found : 0",
                       "DriverOST - Exported animation :\n1 3d Scenes.\n2 Bitmaps."}));
}

TEST_F(Exported, LoadableFormIsTheSamePartsInChunks) {
    ASSERT_TRUE(driver.ExportLoadable(&document, folder("out")));
    EXPECT_EQ(Folder::Read(folder("out")), Wall().AsExport(folder, false));
    EXPECT_EQ(listener.boxes.size(), 2u);
}

TEST_F(Exported, EffectTextsStayOutsideAndAreTold) {
    om2::SceneFile s;
    for (const char* file : {"/none/b.fx", "/none/a.fx", "/none/b.fx"}) {
        s.materials.push_back([&s, file] {
            s.file.Chunk("MTFX", 1, [&] {
                s.file.String(file);
                s.file.Null();
            });
        });
    }
    folder.Fill("effects.om2", s.Bytes());
    document.Load(driver, folder("effects.om2"));
    ASSERT_TRUE(driver.ExportLoadable(&document, folder("out")));
    EXPECT_EQ(listener.warnings,
              (Strings{"effect \"/none/a.fx\" not embeddable.", "effect \"/none/b.fx\" not embeddable."}));
    std::string reason;
    EXPECT_NE(LoadedAnimation::Read(folder("out"), reason), nullptr) << reason;
}

TEST_F(Exported, WhatCannotBeWrittenLeavesThingsAsTheyWere) {
    const std::size_t files = folder.Count();
    driver.ExportAnimation(&document, folder("missing/out"));
    EXPECT_FALSE(driver.ExportLoadable(&document, folder.path));
    EXPECT_FALSE(driver.ExportLoadable(nullptr, folder("out")));
    ASSERT_EQ(listener.boxes.size(), 7u);
    EXPECT_EQ(listener.boxes[2], "The animation is not exported to \"" + folder("missing/out") +
                                     "\": the file cannot be written.");
    EXPECT_EQ(listener.boxes[6],
              "The animation is not exported to \"" + folder("out") + "\": there is no document.");
    document.text = std::string("a\0b", 3);
    folder.Fill("old", {1, 2, 3});
    EXPECT_FALSE(driver.ExportLoadable(&document, folder("old")));
    EXPECT_EQ(Folder::Read(folder("old")), (Bytes{1, 2, 3}));
    EXPECT_EQ(folder.Count(), files + 1);
}

TEST(Export, DocumentsWithNothingInThem) {
    const Folder folder;
    Driver driver;
    Document document;
    data_scene unloaded;
    data_texture gone(static_cast<Texture*>(nullptr));
    const Listener listener;
    driver.ExportAnimation(&document, folder("out"));
    document.list.items = {nullptr, &unloaded, &gone};
    EXPECT_TRUE(driver.ExportLoadable(&document, folder("nulls")));
    EXPECT_EQ(listener.boxes,
              (Strings{"Replaced references to textures : 0.Texture with references not found : 0",
                       "DriverOST - Exported animation :\n0 3d Scenes.\n0 Bitmaps.",
                       "Replaced references to textures : 0.Texture with references not found : 0",
                       "DriverOST - Exported animation :\n1 3d Scenes.\n1 Bitmaps."}));
    std::string text, reason;
    EXPECT_NE(LoadedAnimation::Read(folder("nulls"), reason), nullptr) << reason;
    driver.LoadAnimation(folder("nulls"), text);
    EXPECT_EQ(text, "<project/>");
    const std::unique_ptr<DataObject> null(driver.LoadData(""));
    ASSERT_NE(null, nullptr);
    EXPECT_EQ(static_cast<SceneData&>(*null).scene, nullptr);
}

// ---- relinking

struct Relinking : testing::Test {
    TextureBitmapFile& Image(const std::string& name) {
        images.push_back(std::make_unique<TextureBitmapFile>(name));
        return *images.back();
    }
    MaterialSimple& Show(Texture* texture, bool listed = true) {
        auto* material = scene.Own(std::make_unique<MaterialSimple>());
        material->SetStage(0, new TextureStage);
        material->GetStage(0)->SetTexture(texture);
        if (listed) scene.materials.push_back(material);
        return *material;
    }
    std::string Relink() {
        RelinkTextures(package);
        return listener.boxes.back();
    }
    static std::string Counts(int replaced, int left) {
        return "Replaced references to textures : " + std::to_string(replaced) +
               ".Texture with references not found : " + std::to_string(left);
    }
    std::vector<std::unique_ptr<TextureBitmapFile>> images;
    SceneHierarchy scene;
    AnimationPackage package;
    Listener listener;
    Relinking() { package.scenes["scene"] = &scene; }
};

TEST_F(Relinking, OneNameEndsAsOneTexture) {
    TextureBitmapFile &a = Image("/none/a"), &b = Image("/none/a"), &media = Image("/none/m"),
                      &named = Image("/none/m"), &nameless = Image("");
    package.textures["/none/m"] = &media;
    Show(&a);
    MaterialSimple& second = Show(&b);
    MaterialSimple& third = Show(&named);
    MaterialSimple& fourth = Show(&nameless);
    Show(nullptr);
    scene.materials.push_back(nullptr);
    scene.textures = {nullptr};
    EXPECT_EQ(Relink(), Counts(2, 0));
    EXPECT_EQ(second.GetStageTexture(0), &a);
    EXPECT_EQ(third.GetStageTexture(0), &media);
    EXPECT_EQ(fourth.GetStageTexture(0), &nameless);
    EXPECT_EQ(package.textures, (std::map<std::string, Texture*>{{"/none/a", &a}, {"/none/m", &media}}));
    EXPECT_EQ(listener.warnings,
              (Strings{"texture \"/none/a\" not embeddable.", "texture \"/none/m\" not embeddable."}));
}

TEST_F(Relinking, StagesInsideCompositesCountOnceForEachWayToThem) {
    TextureBitmapFile &a = Image("/none/a"), &b = Image("/none/a");
    MaterialSimple& inner = Show(&b, false);
    MaterialComposite low, high;
    low.AddMaterial(&inner);
    low.AddMaterial(nullptr);
    high.AddMaterial(&low);
    high.AddMaterial(&inner);
    Show(&a);
    scene.materials.push_back(&high);
    EXPECT_EQ(Relink(), Counts(2, 0));
    EXPECT_EQ(inner.GetStageTexture(0), &a);
}

TEST_F(Relinking, WhatNoStageNamesIsNumberedAndANeighbourOfWhatGoesStays) {
    TextureBitmapFile &a = Image("/none/a"), &b = Image("/none/b"), &taken = Image("/none/t");
    package.textures["1"] = &taken;
    Show(&a);
    // Of the two in front one goes and the other slides into its place; the last goes.
    scene.textures = {&a, &a, &b, &a};
    EXPECT_EQ(Relink(), Counts(0, 2));
    EXPECT_EQ(package.textures, (std::map<std::string, Texture*>{{"/none/a", &a}, {"0", &a}, {"1", &b}}));
}

TEST_F(Relinking, CubesAreEmbeddedWhereTheyAre) {
    const Folder folder;
    TextureCubemapFile cube;
    cube.SetFace(0, folder.Fill("cube", {1, 2, 3}));
    MaterialSimple& material = Show(&cube);
    EXPECT_EQ(Relink(), Counts(0, 0));
    EXPECT_EQ(material.GetStageTexture(0), &cube);
    EXPECT_EQ(cube.GetFileData().at(0), (Bytes{1, 2, 3}));
    EXPECT_TRUE(package.textures.empty());
}

TEST(Export, GraphsWithoutAnEndAreRefusedAtOnce) {
    const Folder folder;
    for (const bool circular : {true, false}) {
        auto* scene = new SceneHierarchy;
        data_scene data(scene);
        // In a circle, or so many ways through so few materials that nobody could follow them all.
        MaterialComposite* above = nullptr;
        for (int level = 0; level < 17; ++level) {
            auto* material = scene->Own(std::make_unique<MaterialComposite>());
            for (int i = 0; above != nullptr && i < 20; ++i) material->AddMaterial(above);
            above = material;
        }
        if (circular) above->AddMaterial(above);
        scene->materials = {above};
        TextureBitmapFile image("/none/a");
        scene->textures = {&image};
        Document document;
        document.list.items = {&data};
        const Listener listener;
        Driver driver;
        driver.ExportAnimation(&document, folder("out"));
        EXPECT_FALSE(driver.ExportLoadable(&document, folder("out")));
        ASSERT_EQ(listener.boxes.size(), 2u);
        EXPECT_NE(listener.boxes[0].find(circular ? "part of itself" : "too often"), std::string::npos);
        EXPECT_EQ(scene->textures.size(), 1u);
        EXPECT_EQ(folder.Count(), 0u);
    }
}

// ---- loading

TEST_F(Exported, ALoadThatFailsChangesNothing) {
    driver.ExportAnimation(&document, folder("bodies"));
    ASSERT_TRUE(driver.ExportLoadable(&document, folder("good")));
    const Bytes good = Folder::Read(folder("good"));
    u32 words[3];
    std::memcpy(words, Folder::Read(folder("bodies")).data(), 12);
    folder.Fill("short", Bytes(good.begin(), good.end() - 1));
    Bytes scene = Folder::Read(folder("wall.om2"));
    folder.Fill("scene", Bytes(scene.begin() + 4, scene.end()));
    om2::File rootless;
    rootless.bytes.clear();
    rootless.Chunk("stfx", 1, [&] {
        rootless.String("text");
        rootless.I32(0);
        rootless.I32(1);
        rootless.String("empty.om2");
        om2::File::SceneParts parts;
        parts.tree = [&] { rootless.Null(); };
        rootless.Scene(parts);
    });
    folder.Fill("rootless", rootless.bytes);
    om2::File many;
    many.bytes.clear();
    many.Chunk("stfx", 1, [&] {
        many.String("text");
        many.I32(1000000);
    });
    folder.Fill("many", many.bytes);

    struct Case {
        const char* name;
        std::string reason;
    };
    const auto failures = [&](bool loaded) {
        for (const Case& c :
             {Case{"missing", "cannot be opened"}, Case{"bodies", "no animation"},
              Case{"short", "ends too early"}, Case{"scene", "no animation"}, Case{"many", "1000000 images"},
              Case{"rootless", "\"empty.om2\": the scene has no root"}}) {
            listener.boxes.clear();
            std::string text = "before";
            driver.LoadAnimation(folder(c.name), text);
            EXPECT_EQ(text, "before") << c.name;
            ASSERT_FALSE(listener.boxes.empty()) << c.name;
            EXPECT_NE(listener.boxes.back().find(c.reason), std::string::npos) << listener.boxes.back();
            if (std::string(c.name) == "bodies") {
                // The sizes of the compressed block, read as a chunk's header.
                EXPECT_EQ(listener.boxes[0], "OSMIO : Unknown chunk read : IOBZ, version : " +
                                                 std::to_string(words[1] & 0xffff) +
                                                 ", size : " + std::to_string(words[2]));
            }
            const std::unique_ptr<DataObject> data(driver.LoadData(folder("media.tga")));
            ASSERT_NE(data, nullptr);
            EXPECT_EQ(data->GetPath().empty(), loaded) << "out of the package, or off the disk";
        }
    };
    failures(false);
    std::string text;
    driver.LoadAnimation(folder("good"), text);
    EXPECT_EQ(text, "<project/>");
    failures(true);
    EXPECT_EQ(driver.LoadData(folder("side.tga")), nullptr) << "on the disk, not in the package";
}

TEST_F(Exported, DataOutOfAPackageStaysAsLongAsItIsHeld) {
    ASSERT_TRUE(driver.ExportLoadable(&document, folder("good")));
    document.list.items.clear();
    document.owned.clear();
    const std::size_t before = engine.recorded().LiveObjects();
    std::string text;
    driver.LoadAnimation(folder("good"), text);
    const std::size_t one = engine.recorded().LiveObjects() - before;
    EXPECT_GT(one, 0u);
    std::unique_ptr<DataObject> first(driver.LoadData(folder("wall.om2")));
    std::unique_ptr<DataObject> second(driver.LoadData(folder("wall.om2")));
    std::unique_ptr<DataObject> image(driver.LoadData("0"));
    ASSERT_TRUE(first && second && image);
    EXPECT_EQ(first->GetType(), 2u);
    EXPECT_EQ(image->GetType(), 1u);
    EXPECT_EQ(first->GetName() + first->GetPath() + image->GetName() + image->GetPath(), "");
    first.reset();
    driver.LoadAnimation(folder("good"), text);
    EXPECT_EQ(engine.recorded().LiveObjects(), before + 2 * one) << "the one before is still held";
    static_cast<SceneData&>(*second).scene->Update(0);
    EXPECT_TRUE(image->Reload());
    EXPECT_FALSE(second->Reload());
    EXPECT_EQ(static_cast<SceneData&>(*second).scene, nullptr);
    EXPECT_EQ(engine.recorded().LiveObjects(), before + one);
}

// The bytes of a package with these images and scenes.
Bytes Package(om2::File& f, int images, const std::function<void(int)>& image, int scenes,
              const std::function<void(int)>& scene) {
    f.bytes.clear();
    f.Chunk("stfx", 1, [&] {
        f.String("");
        f.I32(images);
        for (int i = 0; i < images; ++i) f.String("image " + std::to_string(i)), image(i);
        f.I32(scenes);
        for (int i = 0; i < scenes; ++i) f.String("scene " + std::to_string(i)), scene(i);
    });
    return f.bytes;
}

TEST(Package, WhatManyKeysNameIsLoadedOnceAndScenesShareImagesAlone) {
    support::EngineDevice engine;
    const Folder folder;
    std::string reason;
    om2::File f;
    int texture = -1, whole = -1;
    const auto image = [&](int i) {
        if (i == 0)
            texture = f.EmbeddedTexture(Flat(kRed));
        else
            f.Ref(texture);
    };
    const auto write_scene = [&](const om2::Body& list) {
        om2::File::SceneParts parts;
        parts.textures = list;
        return f.Scene(parts);
    };
    folder.Fill("keys", Package(f, 500, image, 500, [&](int i) {
                    if (i == 0)
                        whole = write_scene({});
                    else
                        f.Ref(whole);
                }));
    const auto keys = LoadedAnimation::Read(folder("keys"), reason);
    ASSERT_NE(keys, nullptr) << reason;
    engine.recorded().Clear();
    keys->LoadResources();
    EXPECT_EQ(engine.recorded().Named("CreateTexture").size(), 1u);
    EXPECT_EQ(keys->Package().scenes.size(), 500u);

    f = {};
    folder.Fill("lists", Package(f, 1, image, 2, [&](int) {
                    write_scene([&] {
                        f.I32(1);
                        f.Ref(texture);
                    });
                }));
    EXPECT_EQ(LoadedAnimation::Read(folder("lists"), reason), nullptr);
    EXPECT_NE(reason.find("in the list of another scene"), std::string::npos) << reason;

    int mesh = -1;
    f = {};
    folder.Fill("mesh", Package(f, 0, image, 2, [&](int) {
                    om2::File::SceneParts parts;
                    parts.meshes = [&] {
                        f.I32(1);
                        if (mesh >= 0) return f.Ref(mesh);
                        mesh = f.Mesh([&] { f.Geometry(om2::Quad(0, 0, 1, 1)); }, [&] { f.Null(); },
                                      [&] { f.Null(); });
                    };
                    parts.cameras = [&] {
                        f.I32(1);
                        f.Camera([&] { f.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
                    };
                    f.Scene(parts);
                }));
    EXPECT_EQ(LoadedAnimation::Read(folder("mesh"), reason), nullptr);
    EXPECT_NE(reason.find("part of another scene"), std::string::npos) << reason;
}

// ---- pictures

TEST(Package, PlaysWithoutTheFilesThatItWasMadeOf) {
    const Folder files;
    const Folder out;
    support::PictureDevice device(64, 64);
    const Listener listener;
    om2::SceneFile s;
    int texture = -1, material = -1, sky = -1;
    files.Fill("green.tga", Flat(kGreen));
    files.Fill("media.tga", Flat(kRed));
    for (int key = 1; key <= 6; ++key)
        files.Fill("sky" + std::to_string(key) + ".tga", Flat(key == 2 ? kBlue : kGrey));
    s.textures.push_back([&] { texture = s.file.NamedTexture(files("green.tga")); });
    s.textures.push_back([&] {
        sky = s.file.Chunk("TXCF", 1, [&] {
            s.file.I32(2);
            for (int key = 1; key <= 6; ++key) s.file.String(files("sky" + std::to_string(key) + ".tga"));
        });
    });
    s.Textured(material, texture);
    s.Mesh(om2::TexturedQuad(-2, -2, 2, 2), s.Ref(material), s.Null());
    s.background = [&] { s.file.TextureBackground(3, s.Ref(sky)); };
    files.Fill("scene.om2", s.Bytes());

    // The quad reaches two fifths of the way from the middle to each side; the eye looks along -z.
    const auto draw = [&](DataObject& data, const char* when) {
        SceneHierarchy& scene = *static_cast<SceneData&>(data).scene;
        scene.Update(0);
        device.Frame([&] {
            scene.ClearBackground(0);
            scene.Render();
        });
        EXPECT_EQ(device.At(32, 32), 0x00ff00u) << when;
        EXPECT_EQ(device.At(22, 41), 0x00ff00u) << when;
        EXPECT_EQ(device.At(10, 32), 0x0000ffu) << when;
        EXPECT_EQ(device.At(32, 53), 0x0000ffu) << when;
    };
    {
        Driver driver;
        Document document;
        document.Load(driver, files("scene.om2"));
        document.Load(driver, files("media.tga"));
        draw(*document.owned[0], "before");
        ASSERT_TRUE(driver.ExportLoadable(&document, out("film")));
        draw(*document.owned[0], "after the export");
    }
    fs::remove_all(files.path);
    Driver driver;
    std::string text;
    driver.LoadAnimation(out("film"), text);
    ASSERT_EQ(text, "<project/>");
    const std::unique_ptr<DataObject> scene(driver.LoadData(files("scene.om2")));
    const std::unique_ptr<DataObject> media(driver.LoadData(files("media.tga")));
    ASSERT_TRUE(scene && media);
    draw(*scene, "out of the package");
    fx_simple_bmp effect;
    effect.SetStart(0);
    effect.SetLength(1);
    effect.OnObjectChanged(0, media.get());
    effect.OnFloatChanged(3, 64);
    effect.OnFloatChanged(4, 64);
    effect.Init();
    effect.Update(0, 0);
    effect.ClearTarget();
    effect.Draw();
    device.Frame([] {});
    EXPECT_EQ(device.At(32, 32), 0xff0000u);
    effect.Shutdown();
}

}  // namespace
