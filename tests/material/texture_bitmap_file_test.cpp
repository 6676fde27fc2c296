// Bitmap textures: their record, loading, embedding, normal maps.
#include <gtest/gtest.h>

#include <cstring>

#include "material/texture_bitmap_file.h"
#include "platform/system/system.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;
using test_support::TempFile;

namespace {

// A .tga whose pixel (x, y), y from the top, is red x * 16, green y * 16, blue 255.
std::vector<u8> Image(u32 width, u32 height) {
    std::vector<om2::Rgb> pixels;
    for (u32 i = 0; i < width * height; ++i)
        pixels.push_back({static_cast<int>(i % width * 16), static_cast<int>(i / width * 16), 255});
    return om2::Tga(width, height, pixels);
}

// Also what goes to a debugger.
struct Messages : testing_messages::Listener {
    Messages() {
        before = platform::SetDebugStringHandler([this](const std::string& s) { debug.push_back(s); });
    }
    ~Messages() override { platform::SetDebugStringHandler(before); }

    std::vector<std::string> debug;
    platform::DebugStringHandler before;
};

D3DSURFACE_DESC LevelOf(TextureBitmapFile& t, u32 level = 0) {
    D3DSURFACE_DESC desc{};
    auto* texture = static_cast<IDirect3DTexture9*>(t.GetDeviceTexture());
    if (texture != nullptr) texture->GetLevelDesc(level, &desc);
    return desc;
}

u32 PixelOf(TextureBitmapFile& t, u32 x, u32 y) {
    auto* texture = static_cast<IDirect3DTexture9*>(t.GetDeviceTexture());
    D3DLOCKED_RECT rect{};
    texture->LockRect(0, &rect, nullptr, D3DLOCK_READONLY);
    u32 pixel = 0;
    std::memcpy(&pixel, static_cast<const u8*>(rect.pBits) + static_cast<u32>(rect.Pitch) * y + 4 * x, 4);
    texture->UnlockRect(0);
    return pixel;
}

}  // namespace

TEST(TextureRecord, BytesBeyondTheFileAreNotTaken) {
    om2::File tooLong;
    tooLong.Chunk("TXBF", 1, [&] {
        tooLong.I32(1);
        tooLong.I32(1000);
        tooLong.F32(0);
    });
    const auto loaded = Load(tooLong.bytes);
    EXPECT_TRUE(loaded.failed);
    EXPECT_TRUE(loaded.As<TextureBitmapFile>()->GetFileData().empty());
}

TEST(TextureLoad, EmbeddedImageGetsPowersOfTwoAndAllLevels) {
    support::EngineDevice engine;
    TextureBitmapFile t;
    t.SetFileData(Image(5, 3));
    t.Load();
    EXPECT_EQ(LevelOf(t).Width, 8u);
    EXPECT_EQ(LevelOf(t).Height, 4u);
    EXPECT_EQ(static_cast<u32>(LevelOf(t).Pool), static_cast<u32>(D3DPOOL_MANAGED));
    EXPECT_EQ(t.GetDeviceTexture()->GetLevelCount(), 4u);

    t.SetFileData(Image(4, 4));
    t.Load();
    EXPECT_EQ(PixelOf(t, 3, 1) & 0xffffff, 0x3010ffu);
    EXPECT_EQ(PixelOf(t, 0, 0) & 0xffffff, 0x0000ffu) << "the first row is the top";
    engine.recorded().Clear();
    t.SetToStage(3);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {3, engine.recorded().IdOf(t.GetDeviceTexture())}), 1u);
}

TEST(TextureLoad, NamedImageIsReadOrItsNameSaid) {
    support::EngineDevice engine;
    Messages messages;
    const TempFile file(".tga");
    file.Fill(Image(4, 2));
    TextureBitmapFile named(file.path, 2);
    named.Load();
    EXPECT_EQ(PixelOf(named, 1, 1) & 0xffffff, 0x1010ffu);
    EXPECT_TRUE(messages.debug.empty());

    TextureBitmapFile nameless;
    nameless.Load();
    TextureBitmapFile gone("no/such/picture.png");
    gone.Load();
    TextureBitmapFile rubbish;
    rubbish.SetFileData({'B', 'M', 1, 2, 3});
    rubbish.Load();
    EXPECT_EQ(messages.debug,
              (std::vector<std::string>{"Filename : \n", "Filename : no/such/picture.png\n"}));
    engine.recorded().Clear();
    gone.SetToStage(0);
    rubbish.SetToStage(1);
    EXPECT_EQ(engine.recorded().Texts(), (std::vector<std::string>{"SetTexture(0, 0)", "SetTexture(1, 0)"}));
}

TEST(TextureLoad, NormalMapReplacesTheImage) {
    support::EngineDevice engine;
    const std::size_t before = engine.recorded().LiveObjects();
    {
        TextureBitmapFile t;
        t.SetFileData(Image(4, 4));
        t.SetNormalMap(true);
        t.Load();
        EXPECT_EQ(LevelOf(t).Format, D3DFMT_A8R8G8B8);
        EXPECT_EQ(LevelOf(t).Width, 4u);
        EXPECT_EQ(t.GetDeviceTexture()->GetLevelCount(), 3u);
        const std::size_t live = engine.recorded().LiveObjects();
        t.Load();
        EXPECT_EQ(engine.recorded().LiveObjects(), live) << "neither the image nor an earlier map stays";
        // Red grows along x and not along y: the slope leans in x alone.
        const u32 pixel = PixelOf(t, 1, 1);
        EXPECT_NE(pixel >> 16 & 0xff, 128u);
        EXPECT_NEAR(static_cast<int>(pixel >> 8 & 0xff), 128, 1);
        EXPECT_GT(pixel & 0xff, 128u);
    }
    EXPECT_EQ(engine.recorded().LiveObjects(), before);
}

TEST(TextureEmbed, TakesTheFilesBytesOnce) {
    Messages messages;
    const TempFile file(".bmp");
    file.Fill({9, 8, 7});
    TextureBitmapFile t(file.path);
    EXPECT_TRUE(t.Embed());
    file.Fill({1});
    EXPECT_TRUE(t.Embed());
    om2::File f;
    f.EmbeddedTexture({9, 8, 7});
    EXPECT_EQ(Save(&t), f.bytes);

    TextureBitmapFile gone("no/such/picture.png");
    EXPECT_FALSE(gone.Embed());
    EXPECT_EQ(messages.warnings,
              (std::vector<std::string>{"texture \"no/such/picture.png\" not embeddable."}));
}
