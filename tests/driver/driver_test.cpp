// The Driver and its data objects, in this program and through the module.
#include "driver/driver.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "driver/data_object.h"
#include "effects/fake_host.h"
#include "material/texture_bitmap_file.h"
#include "platform/system/window.h"
#include "render/context.h"
#include "render/display.h"
#include "scene/scene_hierarchy.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::TempFile;

namespace {

// A red pixel, as a .tga.
const std::vector<u8> kImage{0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 24, 0, 0, 0, 255};

std::vector<u8> SceneBytes() {
    om2::SceneFile s;
    int texture = -1, material = -1;
    s.textures.push_back([&] { texture = s.file.EmbeddedTexture(kImage); });
    s.Textured(material, texture);
    s.Mesh(om2::TexturedQuad(0, 0, 1, 1), s.Ref(material), s.Null());
    return s.Bytes();
}

// Resident pages of this process, in bytes.
u64 Resident() {
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    unsigned long total = 0;
    unsigned long resident = 0;
    if (file != nullptr) {
        EXPECT_EQ(std::fscanf(file, "%lu %lu", &total, &resident), 2);
        std::fclose(file);
    }
    return u64{resident} * 4096;
}

TEST(Driver, SaysWhatItIs) {
    Driver driver;
    EXPECT_EQ(driver.GetVersion(), 3u);
    EXPECT_STREQ(driver.GetName(), "Ostrel Team Simpliest Driver(Final Version)");
    EXPECT_EQ(driver.GetLibraryPath(), "..\\osmdriver\\libfx.xml");
    EXPECT_EQ(driver.GetFileFilter(),
              "OM2 3D Scene files (*.om2)|*.om2|OM2 3D Texture (*.bmp, *.dds, *.dib, *.jpg, *.png, *.tga)|"
              "*.bmp,*.dds,*.dib,*.jpg,*.png,*.tga|Texture BMP (*.bmp)|*.bmp|Texture DDS (*.dds)|*.dds|"
              "Texture DIB (*.dib)|*.dib|Texture JPG (*.jpg)|*.jpg|Texture PNG (*.png)|*.png|"
              "Texture TGA (*.tga)|*.tga|");
    fake_host::Factory factory;
    driver.SetControllerFactory(&factory);
    for (const char* name : {"", "fx_simple", "FX_SIMPLE_BMP", "fx_simple_bmp "}) {
        EXPECT_EQ(driver.CreateEffect(name), nullptr) << name;
        EXPECT_EQ(driver.LoadEffect(fake_host::Definition(name, {"float"}), "clip"), nullptr) << name;
    }
    EXPECT_EQ(factory.alive, 0);
}

TEST(Driver, TellsTheHostsHandlerWhatAPersonShouldKnow) {
    static std::string told;
    Driver driver;
    driver.SetMessageHandler([](const char* text, const char* caption, u32 icon) {
        told += std::string(caption) + "|" + text + "|" + std::to_string(icon);
    });
    std::string text = "as it was";
    driver.LoadAnimation("there/is/none.osm", text);
    driver.SetMessageHandler(nullptr);
    EXPECT_NE(told.find("\"there/is/none.osm\" cannot be loaded"), std::string::npos) << told;
    EXPECT_NE(told.find("|48"), std::string::npos) << told;
    EXPECT_EQ(text, "as it was");
}

TEST(Driver, LoadsDataByItsExtension) {
    support::EngineDevice engine;
    Driver driver;
    for (const char* path : {"", "scene", "folder.d/scene", "scene.OM2", "missing.om2", "image.jpeg",
                             "image.PNG", "image.png.txt", "om2", "x."}) {
        EXPECT_EQ(driver.LoadData(path), nullptr) << path;
    }
    const TempFile sceneFile(".om2");
    sceneFile.Fill(SceneBytes());
    const std::unique_ptr<DataObject> scene(driver.LoadData(sceneFile.path));
    ASSERT_NE(scene, nullptr);
    EXPECT_EQ(scene->GetType(), 2u);
    EXPECT_EQ(scene->GetTypeName(), "data_scene");
    EXPECT_EQ(scene->GetDescription(), "a osm3d 2 scene (should see how much data there is in).");
    EXPECT_EQ(scene->GetPath(), sceneFile.path);
    EXPECT_EQ(static_cast<data_scene*>(scene.get())->scene->meshes.size(), 1u);

    const TempFile cut(".om2");
    cut.Fill({'N', 'O', 'N', 'E'});
    EXPECT_EQ(driver.LoadData(cut.path), nullptr);

    const TempFile image(".tga");
    image.Fill(kImage);
    const std::size_t before = engine.recorded().LiveObjects();
    std::unique_ptr<DataObject> picture(driver.LoadData(image.path));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->GetType(), 1u);
    EXPECT_EQ(picture->GetTypeName(), "data_texture");
    EXPECT_EQ(picture->GetDescription(), image.path);
    EXPECT_EQ(picture->GetName(), image.path.substr(1));
    auto* texture = static_cast<data_texture*>(picture.get())->texture;
    EXPECT_EQ(texture->GetFlags(), 2u);
    EXPECT_NE(texture->GetDeviceTexture(), nullptr);
    EXPECT_TRUE(picture->Reload());
    EXPECT_EQ(static_cast<data_texture*>(picture.get())->texture->GetFlags(), 2u);
    picture.reset();
    EXPECT_EQ(engine.recorded().LiveObjects(), before);
}

TEST(DataObject, NameIsWhatFollowsTheLastBackslash) {
    EXPECT_EQ(FileNameOfPath("c:\\media\\scene.om2"), "scene.om2");
    EXPECT_EQ(FileNameOfPath("scene.om2"), "cene.om2");
    EXPECT_EQ(FileNameOfPath("media/scene.om2"), "edia/scene.om2");
    EXPECT_EQ(FileNameOfPath("\\scene.om2"), "scene.om2");
    EXPECT_EQ(FileNameOfPath("media\\"), "");
    EXPECT_EQ(FileNameOfPath("x"), "");
    EXPECT_EQ(FileNameOfPath(""), "");
}

TEST(DataObject, MadeForAPackageTakesTheObjectOver) {
    struct Counted : SceneHierarchy {
        explicit Counted(int& counter) : count(++counter) {}
        ~Counted() override { --count; }
        int& count;
    };
    int alive = 0;
    {
        data_scene scene(new Counted(alive));
        EXPECT_EQ(scene.GetName() + scene.GetPath() + scene.GetDescription(), "");
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(DataObject, ReloadReplacesTheSceneAndASecondLoadKeepsIt) {
    support::EngineDevice engine;
    const std::size_t before = engine.recorded().LiveObjects();
    const TempFile file;
    file.Fill(SceneBytes());
    data_scene data;
    ASSERT_TRUE(data.Load(file.path)) << data.GetLoadError();
    const std::size_t of_one = engine.recorded().LiveObjects() - before;
    ASSERT_TRUE(data.Load(file.path));
    EXPECT_EQ(engine.recorded().LiveObjects(), before + 2 * of_one) << "the first is still there";

    ASSERT_TRUE(data.Reload());
    EXPECT_EQ(data.scene->meshes.size(), 1u);
    file.Fill({'N', 'O', 'N', 'E', 0, 0, 0, 0});
    EXPECT_FALSE(data.Reload());
    EXPECT_EQ(data.scene, nullptr);
    EXPECT_FALSE(data.GetLoadError().empty());
    file.Fill(SceneBytes());
    EXPECT_TRUE(data.Reload());
    std::remove(file.path.c_str());
    EXPECT_FALSE(data.Reload());
    EXPECT_EQ(data.scene, nullptr) << "nothing of what was freed";
    file.Fill(SceneBytes());
    EXPECT_TRUE(data.Reload());
    EXPECT_NE(data.scene, nullptr);
    EXPECT_TRUE(data.GetLoadError().empty());
}

TEST(DataObject, TenThousandReloadsLeaveMemoryWhereItWas) {
    support::DeviceOptions options;
    options.keep_calls = false;
    support::EngineDevice engine(options);
    const TempFile file;
    file.Fill(SceneBytes());
    data_scene data;
    ASSERT_TRUE(data.Load(file.path)) << data.GetLoadError();
    for (int i = 0; i < 500; ++i) ASSERT_TRUE(data.Reload());
    const std::size_t objects = engine.recorded().LiveObjects();
    const u64 before = Resident();
    for (int i = 0; i < 10000; ++i) ASSERT_TRUE(data.Reload());
    const u64 after = Resident();
    EXPECT_EQ(engine.recorded().LiveObjects(), objects);
#if !defined(OSM_SANITIZE)
    EXPECT_LT(after, before + (1u << 20));
#else
    static_cast<void>(before);
    static_cast<void>(after);
#endif
}

struct Playback : testing::Test {
    Playback() : window(320, 200) { support::ResetDisplaySettings(); }
    ~Playback() override { support::ResetDisplaySettings(); }
    support::RecordingSystem system;
    support::TestWindow window;
};

TEST_F(Playback, StartTurnsItsArgumentsIntoDisplaySettings) {
    struct Case {
        i32 bits;
        bool windowed;
        u32 antialias;
        u32 samples;
    };
    system.Recorded().adapter.sample_types = {D3DMULTISAMPLE_2_SAMPLES, D3DMULTISAMPLE_4_SAMPLES};
    for (const Case& c :
         {Case{16, true, 0, 0}, Case{32, false, 1, 2}, Case{16, false, 2, 4}, Case{32, true, 3, 0}}) {
        PlaybackHost playback;
        auto* instance = reinterpret_cast<HINSTANCE>(&window);
        EXPECT_FALSE(playback.IsStarted());
        EXPECT_TRUE(playback.Start(window.Handle(), instance, 320, 200, c.bits, c.windowed, c.antialias));
        EXPECT_TRUE(playback.IsStarted());
        const DisplaySettings& display = GetDisplaySettings();
        EXPECT_EQ(display.fullscreen, !c.windowed);
        EXPECT_FALSE(display.presentImmediate || display.searchRefreshRate);
        EXPECT_EQ(display.multisampleType, c.samples);
        EXPECT_TRUE(display.window == window.Handle() && display.instance == instance);
        EXPECT_TRUE(display.right == 320 && display.bottom == 200);
        EXPECT_EQ(display.colorBits, c.windowed ? 32 : c.bits);  // windowed: the desktop's
        EXPECT_NE(osm3d::GetContext(), nullptr);
        playback.Stop();
        EXPECT_FALSE(playback.IsStarted());
        EXPECT_EQ(osm3d::GetContext(), nullptr);
    }
}

TEST_F(Playback, EmptyFrameIsARedCross) {
    PlaybackHost playback;
    playback.Start(window.Handle(), nullptr, 320, 200, 32, true, 0);
    system.Recorded().Clear();
    playback.DrawEmptyFrame();
    const auto draws = system.Recorded().Named("DrawPrimitive");
    ASSERT_EQ(draws.size(), 2u);
    const f32 ends[2][4] = {{0, 0, 320, 200}, {0, 200, 320, 0}};
    for (u32 line = 0; line < 2; ++line) {
        struct {
            f32 x, y, z, rhw;
            u32 diffuse;
        } c[2];
        ASSERT_EQ(draws[line].vertices.size(), sizeof(c));
        std::memcpy(c, draws[line].vertices.data(), sizeof(c));
        EXPECT_EQ((std::array{c[0].x, c[0].y, c[1].x, c[1].y}), std::to_array(ends[line]));
        EXPECT_EQ(c[0].diffuse, 0x00ff0000u);
    }
    EXPECT_EQ(system.Recorded().Named("Clear").size(), 1u);
    EXPECT_EQ(system.Recorded().totals.presents, 0u);
    playback.Present();
    EXPECT_EQ(system.Recorded().totals.presents, 1u);
    EXPECT_TRUE(system.Recorded().faults.empty());
    playback.Stop();
}

TEST_F(Playback, ADriverThatGoesStopsIt) {
    {
        Driver driver;
        driver.GetPlayback()->Start(window.Handle(), nullptr, 320, 200, 32, true, 0);
        EXPECT_NE(osm3d::GetContext(), nullptr);
    }
    EXPECT_EQ(osm3d::GetContext(), nullptr);
    EXPECT_EQ(system.Recorded().LiveObjects(), 0u);
}

TEST(Module, ExportsOneFunctionThatAnswersWithItsOwnDriver) {
    std::FILE* pipe = popen("nm -D --defined-only " OSM_BINARY_DIR "/bin/osmDriver.so", "r");
    ASSERT_NE(pipe, nullptr);
    std::string text;
    std::array<char, 256> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), pipe) != nullptr) text += line.data();
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_NE(text.find(" T OSMIRA_GetDriver"), std::string::npos) << text;

    void* module = dlopen(OSM_BINARY_DIR "/bin/osmDriver.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto get = reinterpret_cast<GetDriverFunction>(dlsym(module, kGetDriverName));
    ASSERT_NE(get, nullptr);
    EXPECT_EQ(get(), get());
    EXPECT_NE(get(), &GetDriver());
    // The module stays loaded, as a host keeps it.
}

}  // namespace
