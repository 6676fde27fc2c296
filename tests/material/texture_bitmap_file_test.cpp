// Bitmap textures: their record, loading, embedding, normal maps.
#include <gtest/gtest.h>

#include <cstring>

#include "material/texture_bitmap_file.h"
#include "platform/system/system.h"
#include "support/engine_device.h"
#include "support/round_trip.h"
#include "trace/tracer.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;
using test_support::TempFile;

namespace {

// A 24-bit .bmp whose pixel (x, y), y from the top, is red x * 16, green y * 16, blue 255.
std::vector<u8> Bitmap(u32 width, u32 height) {
    std::vector<u8> out;
    const auto word = [&out](u32 v) {
        for (u32 i = 0; i < 4; ++i) out.push_back(static_cast<u8>(v >> (8 * i)));
    };
    const u32 pitch = (width * 3 + 3) / 4 * 4;
    out = {'B', 'M'};
    word(54 + pitch * height);
    word(0);
    word(54);
    word(40);
    word(width);
    word(height);
    word(1 | 24u << 16);
    word(0);
    word(pitch * height);
    for (int i = 0; i < 4; ++i) word(0);
    for (u32 y = height; y-- > 0;) {
        for (u32 x = 0; x < width; ++x) {
            out.push_back(255);
            out.push_back(static_cast<u8>(y * 16));
            out.push_back(static_cast<u8>(x * 16));
        }
        out.resize(54 + (height - y) * pitch);
    }
    return out;
}

// Adapters have no textures of 24 bits.
void RefuseOddFormats(support::EngineDevice& engine) {
    engine.recorded().adapter.refused_formats.insert(D3DFMT_R8G8B8);
}

struct Messages : trace::Tracer {
    Messages() : previous(trace::SetTracer(this)) {
        oldHandler = platform::SetDebugStringHandler([this](const std::string& s) { debug.push_back(s); });
    }
    ~Messages() override {
        platform::SetDebugStringHandler(oldHandler);
        trace::SetTracer(previous);
    }
    void Box(const char*, std::va_list) override {}
    void Warn(const char* format, std::va_list args) override {
        char text[512];
        std::vsnprintf(text, sizeof text, format, args);
        warnings.emplace_back(text);
    }
    void Trace(const char*, std::va_list) override {}

    std::vector<std::string> debug;
    std::vector<std::string> warnings;
    trace::Tracer* previous;
    platform::DebugStringHandler oldHandler;
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

TEST(TextureRecord, NamedAndEmbedded) {
    om2::File named;
    named.NamedTexture("pictures/stone wall.jpg");
    const auto a = Load(named.bytes);
    auto* texture = a.As<TextureBitmapFile>();
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(texture->GetFileName(), "pictures/stone wall.jpg");
    EXPECT_EQ(texture->GetFlags(), 0u);
    EXPECT_EQ(texture->GetType(), Texture::kType2D);
    EXPECT_EQ(Save(texture), named.bytes);

    om2::File embedded;
    embedded.EmbeddedTexture({1, 2, 3, 0, 255}, true);
    const auto b = Load(embedded.bytes);
    texture = b.As<TextureBitmapFile>();
    EXPECT_EQ(texture->GetFileData(), (std::vector<u8>{1, 2, 3, 0, 255}));
    EXPECT_TRUE(texture->GetFileName().empty());
    EXPECT_TRUE(texture->IsNormalMap());
    EXPECT_EQ(Save(texture), embedded.bytes);

    om2::File tooLong;
    tooLong.Chunk("TXBF", 1, [&] {
        tooLong.I32(1);
        tooLong.I32(1000);
        tooLong.F32(0);
    });
    const auto c = Load(tooLong.bytes);
    EXPECT_TRUE(c.failed);
    EXPECT_TRUE(c.As<TextureBitmapFile>()->GetFileData().empty());
}

TEST(TextureLoad, EmbeddedImageGetsPowersOfTwoAndAllLevels) {
    support::EngineDevice engine;
    RefuseOddFormats(engine);
    TextureBitmapFile t;
    t.SetFileData(Bitmap(5, 3));
    t.Load();
    EXPECT_EQ(LevelOf(t).Width, 8u);
    EXPECT_EQ(LevelOf(t).Height, 4u);
    EXPECT_EQ(static_cast<u32>(LevelOf(t).Pool), static_cast<u32>(D3DPOOL_MANAGED));
    EXPECT_EQ(t.GetDeviceTexture()->GetLevelCount(), 4u);

    t.SetFileData(Bitmap(4, 4));
    t.Load();
    EXPECT_EQ(PixelOf(t, 3, 1) & 0xffffff, 0x3010ffu);
    EXPECT_EQ(PixelOf(t, 0, 0) & 0xffffff, 0x0000ffu) << "the first row is the top";
    engine.recorded().Clear();
    t.SetToStage(3);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {3, engine.recorded().IdOf(t.GetDeviceTexture())}), 1u);
}

TEST(TextureLoad, NamedImageIsReadFromItsPath) {
    support::EngineDevice engine;
    RefuseOddFormats(engine);
    Messages messages;
    const TempFile file(".bmp");
    file.Fill(Bitmap(4, 2));
    TextureBitmapFile t(file.path, 2);
    t.Load();
    EXPECT_EQ(t.GetFlags(), 2u);
    EXPECT_EQ(PixelOf(t, 1, 1) & 0xffffff, 0x1010ffu);
    EXPECT_TRUE(messages.debug.empty());
}

TEST(TextureLoad, UnreadableImagesLeaveNoTextureAndSayItsName) {
    support::EngineDevice engine;
    Messages messages;
    TextureBitmapFile t;
    t.SetNormalMap(true);
    t.Load();
    TextureBitmapFile gone("no/such/picture.png");
    gone.Load();
    EXPECT_EQ(messages.debug,
              (std::vector<std::string>{"Filename : \n", "Filename : no/such/picture.png\n"}));
    TextureBitmapFile rubbish;
    rubbish.SetFileData({'B', 'M', 1, 2, 3});
    rubbish.Load();
    EXPECT_EQ(messages.debug.size(), 2u) << "embedded bytes fail silently";
    EXPECT_EQ(rubbish.GetDeviceTexture(), nullptr);
    engine.recorded().Clear();
    gone.SetToStage(0);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {0, 0}), 1u) << "null is bound";
}

TEST(TextureLoad, NormalMapReplacesTheImage) {
    support::EngineDevice engine;
    const std::size_t before = engine.recorded().LiveObjects();
    {
        TextureBitmapFile t;
        t.SetFileData(Bitmap(4, 4));
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
