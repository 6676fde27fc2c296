// Cube maps: their record, what loading makes of one image and of six, how the faces are turned.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "material/texture_cubemap_file.h"
#include "platform/system/system.h"
#include "support/cube_images.h"
#include "support/engine_device.h"
#include "support/picture_device.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using support::CubeSide;
using support::kCubeSides;
using test_support::Load;
using test_support::Save;
using test_support::TempFile;

namespace {

const std::string kCubeFile = OSM_SOURCE_DIR "/tests/fxutil/images/dds_cube.dds";
const std::string kSeparated = "TextureCubemapFile :: Cannot set a separated cubemap texture.";

// Also what goes to a debugger.
struct Messages : testing_messages::Listener {
    Messages() {
        before = platform::SetDebugStringHandler([this](const std::string& s) { debug.push_back(s); });
    }
    ~Messages() override { platform::SetDebugStringHandler(before); }

    std::vector<std::string> debug;
    platform::DebugStringHandler before;
};

// Six image files and the texture that names them.
struct SixFiles {
    explicit SixFiles(TextureCubemapFile& texture, u32 size = 8) {
        for (const CubeSide& side : kCubeSides) {
            files[side.key - 1].Fill(support::QuarteredImage(side, size));
            texture.SetFace(side.key, files[side.key - 1].path);
        }
    }
    std::array<TempFile, 6> files{TempFile(".tga"), TempFile(".tga"), TempFile(".tga"),
                                  TempFile(".tga"), TempFile(".tga"), TempFile(".tga")};
};

std::vector<u32> Turned(const std::vector<u32>& pixels, u32 n, const std::vector<u32>& angles) {
    support::EngineDevice engine;
    ComPtr<IDirect3DSurface9> surface;
    engine.device().CreateOffscreenPlainSurface(n, static_cast<u32>(pixels.size()) / n, D3DFMT_X8R8G8B8,
                                                D3DPOOL_SYSTEMMEM, surface.Put(), nullptr);
    const auto rows = [&](const auto& each) {
        D3DLOCKED_RECT locked{};
        surface->LockRect(&locked, nullptr, 0);
        for (u32 y = 0; y < pixels.size() / n; ++y)
            each(static_cast<u8*>(locked.pBits) + y * static_cast<u32>(locked.Pitch), y * n);
        surface->UnlockRect();
    };
    rows([&](u8* row, u32 at) { std::memcpy(row, &pixels[at], 4 * n); });
    for (const u32 angle : angles) RotateSurface(surface.Get(), angle);
    std::vector<u32> out(pixels.size());
    rows([&](const u8* row, u32 at) { std::memcpy(&out[at], row, 4 * n); });
    return out;
}

}  // namespace

TEST(CubeRecord, HoldsTheImagesThatItsFirstWordNames) {
    for (const i32 contents : {0, 1, 2, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(contents);
        om2::File f;
        f.Chunk("TXCF", 1, [&] {
            f.I32(contents);
            for (i32 key = (contents & 1) != 0 ? 0 : 1; key <= ((contents & 2) != 0 ? 6 : 0); ++key) {
                if ((contents & 4) == 0) {
                    f.String("face" + std::to_string(key));
                } else {
                    f.I32(key + 1);
                    f.Raw("imagebytes", static_cast<std::size_t>(key) + 1);
                }
            }
        });
        const auto loaded = Load(f.bytes);
        ASSERT_FALSE(loaded.failed);
        auto* texture = loaded.As<TextureCubemapFile>();
        ASSERT_NE(texture, nullptr);
        EXPECT_EQ(texture->IsSeparated(), (contents & 2) != 0);
        const std::size_t images = ((contents & 1) != 0 ? 1u : 0u) + ((contents & 2) != 0 ? 6u : 0u);
        const bool embedded = (contents & 4) != 0;
        EXPECT_EQ(texture->GetFileNames().size(), embedded ? 0 : images);
        EXPECT_EQ(texture->GetFileData().size(), embedded ? images : 0);
        if ((contents & 6) == 6) {
            EXPECT_EQ(texture->GetFileData().at(3).size(), 4u);
        }
        // Nothing embedded leaves no trace.
        if (contents != 4) {
            EXPECT_EQ(Save(texture), f.bytes);
        }
    }
}

TEST(CubeRecord, BytesBeyondTheFileAreNotTakenAndNewerOnesRefused) {
    om2::File tooLong;
    tooLong.Chunk("TXCF", 1, [&] {
        tooLong.I32(6);
        tooLong.I32(1);
        tooLong.U8(7);
        tooLong.I32(0x7ffffff0);
    });
    EXPECT_TRUE(Load(tooLong.bytes).failed);
    om2::File newer;
    newer.Chunk("TXCF", 2, [&] {
        newer.I32(1);
        newer.String("sky.dds");
    });
    EXPECT_TRUE(Load(newer.bytes).As<TextureCubemapFile>()->GetFileNames().empty());
}

TEST(CubeLoad, OneCubeImageGivesTheCubeAlone) {
    support::EngineDevice engine;
    Messages messages;
    std::ifstream in(kCubeFile, std::ios::binary);
    const std::vector<u8> bytes(std::istreambuf_iterator<char>(in), {});
    ASSERT_FALSE(bytes.empty());
    for (const bool embedded : {false, true}) {
        TextureCubemapFile texture;
        embedded ? texture.SetFaceData(0, bytes) : texture.SetFace(0, kCubeFile);
        texture.Load();
        ASSERT_NE(texture.GetDeviceTexture(), nullptr);
        EXPECT_EQ(texture.GetDeviceTexture()->GetType(), D3DRTYPE_CUBETEXTURE);
        EXPECT_EQ(texture.GetDeviceTexture()->GetLevelCount(), 3u);
        EXPECT_EQ(texture.GetFace(0), texture.GetDeviceTexture());
        for (u32 key : {1u, 6u, 7u, ~0u}) EXPECT_EQ(texture.GetFace(key), nullptr);
        EXPECT_TRUE(texture.GetFaceWidth() == 0 && texture.GetFaceHeight() == 0);
        engine.recorded().Clear();
        texture.SetToStage(2);
        EXPECT_EQ(engine.recorded().Count("SetTexture", {2, engine.recorded().IdOf(texture.GetFace(0))}), 1u);
    }
    TextureCubemapFile gone;
    gone.SetFace(0, "no/such/sky.dds");
    gone.Load();
    EXPECT_EQ(gone.GetDeviceTexture(), nullptr);
    EXPECT_EQ(messages.debug, std::vector<std::string>{"Filename : no/such/sky.dds\n"});
    EXPECT_TRUE(messages.boxes.empty()) << "the key is there, its image is not";
}

TEST(CubeLoad, SixImagesGiveSixTexturesAndTheCubeMadeOfThem) {
    support::EngineDevice engine;
    Messages messages;
    for (const bool mipmaps : {true, false}) {
        engine.context().caps.autoGenMipmap = mipmaps;
        TextureCubemapFile texture;
        const SixFiles files(texture);
        engine.recorded().Clear();
        texture.Load();
        EXPECT_TRUE(texture.GetFaceWidth() == 8 && texture.GetFaceHeight() == 8);
        for (u32 key = 1; key <= 6; ++key) {
            ASSERT_NE(texture.GetFace(key), nullptr);
            EXPECT_EQ(texture.GetFace(key)->GetType(), D3DRTYPE_TEXTURE);
            EXPECT_EQ(texture.GetFace(key)->GetLevelCount(), 4u);
        }
        ASSERT_NE(texture.GetDeviceTexture(), nullptr);
        EXPECT_EQ(texture.GetDeviceTexture()->GetType(), D3DRTYPE_CUBETEXTURE);
        EXPECT_EQ(engine.recorded().Count("CreateCubeTexture",
                                          {8, mipmaps ? 0 : 1, mipmaps ? D3DUSAGE_AUTOGENMIPMAP : 0,
                                           D3DFMT_X8R8G8B8, D3DPOOL_DEFAULT}),
                  1u);
        EXPECT_EQ(engine.recorded().Count("UpdateSurface"), 6u);
    }
    EXPECT_TRUE(messages.debug.empty() && messages.boxes.empty());
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(CubeLoad, WithoutCubeMapsTheSixImagesStayAlone) {
    support::EngineDevice engine;
    engine.context().caps.cubeMaps = false;
    Messages messages;
    TextureCubemapFile texture;
    const SixFiles files(texture);
    texture.Load();
    EXPECT_NE(texture.GetFace(6), nullptr);
    EXPECT_EQ(texture.GetFaceWidth(), 0);
    engine.recorded().Clear();
    texture.SetToStage(1);
    EXPECT_EQ(messages.boxes, std::vector<std::string>{kSeparated});
    EXPECT_EQ(engine.recorded().Texts(), std::vector<std::string>{"SetTexture(1, 0)"});
}

TEST(CubeLoad, MissingImagesAreSaidAndTheirFacesLeftOut) {
    support::EngineDevice engine;
    Messages messages;
    // Read for drawing and for building: said twice.
    const std::vector<std::string> twice(2, "Filename : no/such/face.png\n");
    {
        TextureCubemapFile texture;
        const SixFiles files(texture);
        texture.SetFace(4, "no/such/face.png");
        engine.recorded().Clear();
        texture.Load();
        EXPECT_EQ(messages.debug, twice);
        EXPECT_EQ(texture.GetFace(4), nullptr);
        EXPECT_NE(texture.GetDeviceTexture(), nullptr);
        EXPECT_EQ(engine.recorded().Count("UpdateSurface"), 5u);
    }
    {
        messages.debug.clear();
        TextureCubemapFile texture;
        const SixFiles files(texture);
        texture.SetFace(1, "no/such/face.png");
        texture.Load();
        EXPECT_EQ(messages.debug, twice);
        EXPECT_EQ(texture.GetDeviceTexture(), nullptr) << "the first image gives the cube its size";
        EXPECT_NE(texture.GetFace(2), nullptr);
        EXPECT_TRUE(messages.boxes.empty());
    }
    TextureCubemapFile nothing;
    nothing.Load();
    EXPECT_EQ(messages.boxes, std::vector<std::string>{"cubemap with separated bitmaps is not supported"});
    EXPECT_TRUE(nothing.IsSeparated());

    // Of other shapes and sizes than the cube: what fits is taken, nothing outside is touched.
    TextureCubemapFile uneven;
    for (u32 key = 1; key <= 6; ++key) {
        const u32 width = key == 1 ? 4 : 2 * key;
        uneven.SetFaceData(key, om2::Tga(width, 4, std::vector<om2::Rgb>(width * 4u)));
    }
    uneven.Load();
    EXPECT_NE(uneven.GetDeviceTexture(), nullptr);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(CubeLoad, AgainAndAgainNothingIsLeftBehind) {
    support::EngineDevice engine;
    const std::size_t before = engine.recorded().LiveObjects();
    {
        TextureCubemapFile texture;
        const SixFiles files(texture);
        texture.Load();
        const std::size_t loaded = engine.recorded().LiveObjects();
        for (int i = 0; i < 3; ++i) texture.Load();
        EXPECT_EQ(engine.recorded().LiveObjects(), loaded);
    }
    EXPECT_EQ(engine.recorded().LiveObjects(), before);
}

TEST(CubeEmbed, TakesAllImagesOrNone) {
    const Messages messages;
    TextureCubemapFile texture;
    const SixFiles files(texture, 2);
    const std::string last = files.files[5].path;
    texture.SetFace(6, "no/such/face.png");
    EXPECT_FALSE(texture.Embed());
    EXPECT_EQ(messages.warnings, std::vector<std::string>{"texture \"no/such/face.png\" not embeddable."});
    EXPECT_TRUE(texture.GetFileData().empty());

    texture.SetFace(6, last);
    EXPECT_TRUE(texture.Embed());
    EXPECT_EQ(texture.GetFileData().at(6), support::QuarteredImage(kCubeSides[5], 2));
    texture.SetFace(6, "no/such/face.png");
    EXPECT_TRUE(texture.Embed()) << "embedded already";
    const auto again = Load(Save(&texture));
    EXPECT_EQ(again.As<TextureCubemapFile>()->GetFileData(), texture.GetFileData());
}

TEST(RotateSurface, TurnsQuartersLeftAndLeavesAMiddleRow) {
    using Pixels = std::vector<u32>;
    const Pixels three{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(Turned(three, 3, {90}), (Pixels{3, 6, 9, 2, 5, 8, 1, 4, 7}));
    EXPECT_EQ(Turned(three, 3, {180}), (Pixels{9, 8, 7, 4, 5, 6, 3, 2, 1}));
    EXPECT_EQ(Turned(three, 3, {270}), (Pixels{7, 4, 1, 2, 5, 8, 9, 6, 3}));
    EXPECT_EQ(Turned(three, 3, {0, 45, 360}), three);
    const Pixels four{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(Turned(four, 4, {270}), (Pixels{13, 9, 5, 1, 14, 10, 6, 2, 15, 11, 7, 3, 16, 12, 8, 4}));
    EXPECT_EQ(Turned(four, 4, {90, 270}), four);
    EXPECT_EQ(Turned({42}, 1, {90, 180, 270}), Pixels{42});
    EXPECT_EQ(Turned({1, 2, 3, 4, 5, 6}, 3, {90, 180}), (Pixels{1, 2, 3, 4, 5, 6})) << "not square";
}

// The cube is left-handed, the world right-handed: along (x, -y, z) the one shows what the other has along
// (x, y, z). Each quarter of each image is asked for by a direction through its middle.
TEST(CubePicture, TheCubeShowsTheSidesOfTheWorld) {
    constexpr u32 kCell = 4;
    support::PictureDevice device(4 * kCell, 6 * kCell);
    TextureCubemapFile texture;
    const SixFiles files(texture, 16);
    texture.Load();

    Context& context = device.context();
    TextureStageStateBlock stage = TextureStageStateBlock::Standard();
    stage.colorOp = 1;
    stage.minFilter = stage.magFilter = 1;
    RenderStateBlock state(RenderStateBlock::kComplete);
    state.cullMode = 2;
    struct Vertex {
        f32 x, y, z, rhw;
        vect3 direction;
    };
    device.Frame([&] {
        context.Clear(7, true);
        context.ApplyRenderState(state);
        context.ApplyStage(0, stage);
        context.ApplyStage(1, TextureStageStateBlock());
        texture.SetToStage(0);
        for (u32 row = 0; row < 6; ++row) {
            const CubeSide& side = kCubeSides[row];
            for (u32 quarter = 0; quarter < 4; ++quarter) {
                const vect3 right = Cross(side.forward, side.up);
                vect3 d = side.forward + right * ((quarter & 1) != 0 ? 0.5f : -0.5f) +
                          side.up * ((quarter & 2) != 0 ? -0.5f : 0.5f);
                d.y = -d.y;
                const f32 x = static_cast<f32>(quarter * kCell);
                const f32 y = static_cast<f32>(row * kCell);
                auto* out = static_cast<Vertex*>(context.LockScratchVertices(
                    D3DFVF_XYZRHW | D3DFVF_TEX1 | D3DFVF_TEXCOORDSIZE3(0), sizeof(Vertex), 4));
                for (u32 i = 0; i < 4; ++i)
                    out[i] = {x + static_cast<f32>(i & 1) * kCell, y + static_cast<f32>(i >> 1) * kCell, 0.5f,
                              1, d};
                context.UnlockScratchVertices();
                context.DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
            }
        }
    });
    for (u32 row = 0; row < 6; ++row) {
        for (u32 quarter = 0; quarter < 4; ++quarter) {
            const u32 expected =
                support::QuarterColor(kCubeSides[row], (quarter & 1) != 0, (quarter & 2) != 0);
            EXPECT_EQ(device.At(quarter * kCell + 2, row * kCell + 2), expected)
                << "image " << kCubeSides[row].key << ", quarter " << quarter;
        }
    }
}
