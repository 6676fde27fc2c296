// Textures made of images, on a device in memory.
#include "fxutil/texture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "fxutil/font.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/factory.h"
#include "support/recording_device.h"
#include "table.h"

namespace {

using golden::Picture;

class FxTexture : public testing::Test {
  protected:
    FxTexture() : system_({.keep_calls = true, .exact_locks = true}) {
        // What no graphics card ever made textures of.
        system_.Recorded().adapter.refused_formats = {D3DFMT_R8G8B8, D3DFMT_P8, D3DFMT_A8P8, D3DFMT_R3G3B2,
                                                      D3DFMT_A8R3G3B2};
        d3d_ = platform::CreateDirect3D9(D3D_SDK_VERSION);
        D3DPRESENT_PARAMETERS parameters{};
        parameters.BackBufferWidth = parameters.BackBufferHeight = 64;
        parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
        parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
        parameters.Windowed = TRUE;
        d3d_->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_MIXED_VERTEXPROCESSING, &parameters,
                           device_.Put());
    }

    ComPtr<IDirect3DTexture9> Load(const std::vector<u8>& file, UINT size, UINT levels, D3DFORMAT format,
                                   DWORD filter, D3DCOLOR key = 0) {
        ComPtr<IDirect3DTexture9> texture;
        EXPECT_EQ(D3DXCreateTextureFromFileInMemoryEx(
                      device_.Get(), file.data(), static_cast<UINT>(file.size()), size, size, levels, 0,
                      format, D3DPOOL_MANAGED, filter, D3DX_DEFAULT, key, nullptr, nullptr, texture.Put()),
                  D3D_OK);
        return texture;
    }

    ComPtr<IDirect3DTexture9> Empty(UINT width, UINT height, UINT levels, D3DFORMAT format) {
        ComPtr<IDirect3DTexture9> texture;
        device_->CreateTexture(width, height, levels, 0, format, D3DPOOL_MANAGED, texture.Put(), nullptr);
        return texture;
    }

    support::RecordingSystem system_;
    ComPtr<IDirect3D9> d3d_;
    ComPtr<IDirect3DDevice9> device_;
};

/// The 32-bit texels of a level, row by row.
std::vector<u32> Texels(IDirect3DTexture9* texture, u32 level) {
    D3DSURFACE_DESC desc{};
    texture->GetLevelDesc(level, &desc);
    D3DLOCKED_RECT locked{};
    std::vector<u32> texels(std::size_t{desc.Width} * desc.Height);
    EXPECT_EQ(texture->LockRect(level, &locked, nullptr, D3DLOCK_READONLY), D3D_OK);
    for (u32 y = 0; y < desc.Height; ++y) {
        std::memcpy(&texels[std::size_t{y} * desc.Width],
                    static_cast<const u8*>(locked.pBits) + y * static_cast<u32>(locked.Pitch),
                    desc.Width * 4);
    }
    texture->UnlockRect(level);
    return texels;
}

void Put(IDirect3DTexture9* texture, const std::vector<u32>& texels) {
    D3DSURFACE_DESC desc{};
    texture->GetLevelDesc(0, &desc);
    D3DLOCKED_RECT locked{};
    ASSERT_EQ(texture->LockRect(0, &locked, nullptr, 0), D3D_OK);
    for (u32 y = 0; y < desc.Height; ++y) {
        std::memcpy(static_cast<u8*>(locked.pBits) + y * static_cast<u32>(locked.Pitch),
                    &texels[std::size_t{y} * desc.Width], desc.Width * 4);
    }
    texture->UnlockRect(0);
}

/// A 24-bit .bmp with these colours, rows from the top. `width` a multiple of four.
std::vector<u8> Bitmap(u32 width, u32 height, const std::vector<u32>& colors) {
    std::vector<u8> out = {'B', 'M'};
    const auto word = [&out](u32 v) {
        for (u32 i = 0; i < 4; ++i) out.push_back(static_cast<u8>(v >> (8 * i)));
    };
    for (u32 v : {0u, 0u, 54u, 40u, width, 0u - height, 1u | 24u << 16, 0u, 0u, 0u, 0u, 0u, 0u}) word(v);
    for (u32 c : colors)
        out.insert(out.end(), {static_cast<u8>(c), static_cast<u8>(c >> 8), static_cast<u8>(c >> 16)});
    return out;
}

i32 Channel(u32 argb, u32 shift) { return static_cast<i32>(argb >> shift & 255); }

}  // namespace

TEST_F(FxTexture, SizesLevelsAndFormatsAreThoseOfTheTable) {
    std::size_t compared = 0;
    for (const std::string& line : golden::Lines("images.txt")) {
        const auto words = golden::Words(line);
        if (words[0] != "texture") continue;
        const auto file = Picture(words[1]);
        D3DSURFACE_DESC desc{};
        DWORD levels = 0;
        if (words[1].find("cube") != std::string::npos) {
            ComPtr<IDirect3DCubeTexture9> texture;
            ASSERT_EQ(D3DXCreateCubeTextureFromFileInMemory(device_.Get(), file.data(),
                                                            static_cast<UINT>(file.size()), texture.Put()),
                      D3D_OK);
            texture->GetLevelDesc(0, &desc);
            levels = texture->GetLevelCount();
        } else {
            ComPtr<IDirect3DTexture9> texture;
            ASSERT_EQ(D3DXCreateTextureFromFileInMemory(device_.Get(), file.data(),
                                                        static_cast<UINT>(file.size()), texture.Put()),
                      D3D_OK)
                << words[1];
            texture->GetLevelDesc(0, &desc);
            levels = texture->GetLevelCount();
        }
        // The table's maker unpacks runs to colours; a texture of the palette that is in the file may have
        // alpha.
        const UINT format = words[1].starts_with("bmp_rle") ? static_cast<UINT>(D3DFMT_A8R8G8B8)
                                                            : static_cast<UINT>(std::stoul(words[5]));
        EXPECT_EQ(desc.Width, std::stoul(words[2])) << words[1];
        EXPECT_EQ(desc.Height, std::stoul(words[3])) << words[1];
        EXPECT_EQ(levels, std::stoul(words[4])) << words[1];
        EXPECT_EQ(static_cast<UINT>(desc.Format), format) << words[1];
        EXPECT_EQ(desc.Pool, D3DPOOL_MANAGED);
        ++compared;
    }
    EXPECT_GE(compared, 80u);
    EXPECT_TRUE(system_.Recorded().faults.empty()) << system_.Recorded().faults.front();
}

TEST_F(FxTexture, LevelsAreMeansOfFour) {
    std::vector<u32> colors(32, 0);
    colors[0] = 0x102030, colors[1] = 0x112233, colors[8] = 0xff0000, colors[9] = 0x000004;
    const auto texture = Load(Bitmap(8, 4, colors), D3DX_DEFAULT, D3DX_DEFAULT, D3DFMT_UNKNOWN, D3DX_DEFAULT);
    ASSERT_EQ(texture->GetLevelCount(), 4u);
    EXPECT_EQ(Texels(texture.Get(), 0)[1], 0xff112233u);
    // (0x10 + 0x11 + 0xff + 0) / 4 = 72, (0x20 + 0x22) / 4 = 16.5, (0x30 + 0x33 + 4) / 4 = 25.75, rounded.
    EXPECT_EQ(Texels(texture.Get(), 1)[0], 0xff48111au);
    EXPECT_EQ(Texels(texture.Get(), 1)[1], 0xff000000u);
    EXPECT_EQ(Texels(texture.Get(), 2)[0], 0xff120407u);
    EXPECT_EQ(Texels(texture.Get(), 3).size(), 1u);
}

TEST_F(FxTexture, OddSizesAreFilteredUp) {
    // Flat stays flat; a ramp across stays a ramp inside and meets its far end over the edge, as textures
    // repeat.
    std::vector<u32> flat(100 * 60, 0x336699), ramp(100 * 60);
    for (u32 i = 0; i < ramp.size(); ++i) ramp[i] = (50 + i % 100) * 0x10101;
    const auto even = Load(Bitmap(100, 60, flat), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8, D3DX_DEFAULT);
    for (u32 c : Texels(even.Get(), 0)) ASSERT_EQ(c, 0xff336699u);
    const auto wide = Load(Bitmap(100, 60, ramp), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8, D3DX_DEFAULT);
    const auto texels = Texels(wide.Get(), 0);
    ASSERT_EQ(texels.size(), 128u * 64);
    for (u32 x = 2; x < 126; ++x) {
        const f64 expected = 50 + (x + 0.5) * 100 / 128 - 0.5;
        ASSERT_NEAR(Channel(texels[128 * 30 + x], 8), expected, 1.0) << x;
    }
    EXPECT_GT(Channel(texels[0], 8), 55);
    const auto mirrored = Load(Bitmap(100, 60, ramp), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8,
                               D3DX_FILTER_TRIANGLE | D3DX_FILTER_MIRROR);
    EXPECT_EQ(Channel(Texels(mirrored.Get(), 0)[0], 8), 50);
    const auto near = Load(Bitmap(100, 60, ramp), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8, D3DX_FILTER_POINT);
    EXPECT_EQ(Channel(Texels(near.Get(), 0)[127], 8), 149);
    const auto cut = Load(Bitmap(100, 60, ramp), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8, D3DX_FILTER_NONE);
    EXPECT_EQ(Texels(cut.Get(), 0)[99], 0xff959595u);
    EXPECT_EQ(Texels(cut.Get(), 0)[100], 0u);
    EXPECT_EQ(Texels(cut.Get(), 0)[128 * 60], 0u);
}

TEST_F(FxTexture, StoredLevelsAreKeptAndTheRestMade) {
    const auto file =
        Picture("dds_levels_some.dds");  // levels 0 and 1 of noise that are no means of each other
    const auto texture = Load(file, D3DX_DEFAULT, D3DX_DEFAULT, D3DFMT_UNKNOWN, D3DX_DEFAULT);
    ASSERT_EQ(texture->GetLevelCount(), 4u);
    std::vector<u32> stored(8);
    std::memcpy(stored.data(), &file[128 + 32 * 4], 32);
    EXPECT_EQ(Texels(texture.Get(), 1), stored);
    const auto second = Texels(texture.Get(), 2);
    for (u32 shift : {0u, 8u, 16u, 24u}) {
        const i32 sum = Channel(stored[0], shift) + Channel(stored[1], shift) + Channel(stored[4], shift) +
                        Channel(stored[5], shift);
        EXPECT_EQ(Channel(second[0], shift), (sum + 2) / 4);
    }
}

TEST_F(FxTexture, ColorKeyTurnsTransparentBlack) {
    std::vector<u32> colors(16, 0x102030);
    colors[5] = 0xff00ff;
    const auto texture =
        Load(Bitmap(4, 4, colors), D3DX_DEFAULT, 1, D3DFMT_A8R8G8B8, D3DX_DEFAULT, 0xffff00ff);
    EXPECT_EQ(Texels(texture.Get(), 0)[5], 0u);
    EXPECT_EQ(Texels(texture.Get(), 0)[6], 0xff102030u);
}

TEST_F(FxTexture, CompressedFormatsComeCloseToTheImage) {
    std::vector<u32> colors(16 * 16);
    for (u32 i = 0; i < 256; ++i) colors[i] = i % 16 * 0x0f0000 | i / 16 * 0x000f00 | 0x40;
    for (D3DFORMAT format : {D3DFMT_DXT1, D3DFMT_DXT3, D3DFMT_DXT5}) {
        const auto packed = Load(Bitmap(16, 16, colors), D3DX_DEFAULT, 1, format, D3DX_DEFAULT);
        D3DSURFACE_DESC desc{};
        packed->GetLevelDesc(0, &desc);
        ASSERT_EQ(desc.Format, format);
        const auto plain = Empty(16, 16, 1, D3DFMT_A8R8G8B8);
        ComPtr<IDirect3DSurface9> from, to;
        packed->GetSurfaceLevel(0, from.Put());
        plain->GetSurfaceLevel(0, to.Put());
        ASSERT_EQ(D3DXLoadSurfaceFromSurface(to.Get(), nullptr, nullptr, from.Get(), nullptr, nullptr,
                                             D3DX_FILTER_NONE, 0),
                  D3D_OK);
        // A block holds a ramp of 45 in each of two channels and has four colours on one line for it.
        const auto texels = Texels(plain.Get(), 0);
        f64 error = 0;
        for (u32 i = 0; i < 256; ++i) {
            for (u32 shift : {0u, 8u, 16u})
                error += std::abs(Channel(texels[i], shift) - Channel(colors[i], shift));
            ASSERT_EQ(texels[i] >> 24, 255u);
        }
        EXPECT_LT(error / (256 * 3), 8.0) << format;
    }
}

TEST_F(FxTexture, CompressedAlphaComesBack) {
    // Steps of 17 are what four bits say exactly; DXT5 interpolates, and DXT1 has two values.
    std::vector<u32> texels(16);
    for (u32 i = 0; i < 16; ++i) texels[i] = i * 17 << 24 | 0x808080;
    const RECT whole = {0, 0, 4, 4};
    for (auto [format, allowed] : {std::pair{D3DFMT_DXT3, 0}, {D3DFMT_DXT5, 19}, {D3DFMT_DXT1, 127}}) {
        const auto packed = Empty(4, 4, 1, format), plain = Empty(4, 4, 1, D3DFMT_A8R8G8B8);
        ComPtr<IDirect3DSurface9> from, to;
        packed->GetSurfaceLevel(0, from.Put());
        plain->GetSurfaceLevel(0, to.Put());
        ASSERT_EQ(D3DXLoadSurfaceFromMemory(from.Get(), nullptr, nullptr, texels.data(), D3DFMT_A8R8G8B8, 16,
                                            nullptr, &whole, D3DX_FILTER_NONE, 0),
                  D3D_OK);
        D3DXLoadSurfaceFromSurface(to.Get(), nullptr, nullptr, from.Get(), nullptr, nullptr, D3DX_FILTER_NONE,
                                   0);
        const auto back = Texels(plain.Get(), 0);
        for (u32 i = 0; i < 16; ++i) {
            EXPECT_LE(std::abs(Channel(back[i], 24) - static_cast<i32>(i * 17)), allowed)
                << format << " " << i;
        }
    }
}

TEST_F(FxTexture, PartOfASurfaceIsWritten) {
    const auto texture = Empty(4, 4, 1, D3DFMT_A8R8G8B8);
    Put(texture.Get(), std::vector<u32>(16, 0xff000000));
    ComPtr<IDirect3DSurface9> surface;
    texture->GetSurfaceLevel(0, surface.Put());
    const u16 source[6] = {0xf800, 0x07e0, 0x001f, 0xffff, 0x0000, 0xf81f};  // 3 x 2 texels of R5G6B5
    const RECT from = {1, 0, 3, 2}, to = {2, 1, 4, 3}, outside = {3, 3, 5, 5};
    const auto load = [&](const RECT& target) {
        return D3DXLoadSurfaceFromMemory(surface.Get(), nullptr, &target, source, D3DFMT_R5G6B5, 6, nullptr,
                                         &from, D3DX_FILTER_NONE, 0);
    };
    ASSERT_EQ(load(to), D3D_OK);
    const auto texels = Texels(texture.Get(), 0);
    EXPECT_EQ(texels[1 * 4 + 2], 0xff00ff00u);
    EXPECT_EQ(texels[1 * 4 + 3], 0xff0000ffu);
    EXPECT_EQ(texels[2 * 4 + 3], 0xffff00ffu);
    EXPECT_EQ(texels[0 * 4 + 2], 0xff000000u);
    EXPECT_EQ(load(outside), D3DERR_INVALIDCALL);
}

TEST_F(FxTexture, CubeFacesKeepTheirOrderAndLevels) {
    const auto file = Picture("dds_cube.dds");  // 4 x 4 with three levels: 21 texels a face
    ComPtr<IDirect3DCubeTexture9> cube;
    ASSERT_EQ(D3DXCreateCubeTextureFromFileInMemory(device_.Get(), file.data(),
                                                    static_cast<UINT>(file.size()), cube.Put()),
              D3D_OK);
    for (u32 face = 0; face < 6; ++face) {
        D3DLOCKED_RECT locked{};
        ASSERT_EQ(cube->LockRect(static_cast<D3DCUBEMAP_FACES>(face), 1, &locked, nullptr, D3DLOCK_READONLY),
                  D3D_OK);
        EXPECT_EQ(std::memcmp(locked.pBits, &file[128 + (face * 21 + 16) * 4], 8), 0) << face;
        cube->UnlockRect(static_cast<D3DCUBEMAP_FACES>(face), 1);
    }
    const auto flat = Picture("bmp_24.bmp");
    EXPECT_TRUE(FAILED(D3DXCreateCubeTextureFromFileInMemory(device_.Get(), flat.data(),
                                                             static_cast<UINT>(flat.size()), cube.Put())));
    EXPECT_FALSE(cube);
}

TEST_F(FxTexture, DefaultPoolIsFilledThroughSystemMemory) {
    const auto file = Picture("bmp_24.bmp");
    ComPtr<IDirect3DTexture9> texture;
    ASSERT_EQ(D3DXCreateTextureFromFileInMemoryEx(device_.Get(), file.data(), static_cast<UINT>(file.size()),
                                                  D3DX_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT, 0, D3DFMT_UNKNOWN,
                                                  D3DPOOL_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr,
                                                  nullptr, texture.Put()),
              D3D_OK);
    EXPECT_EQ(system_.Recorded().Count("UpdateTexture"), 1u);
}

TEST_F(FxTexture, FillCallsForEachTexelOfEachLevel) {
    const auto texture = Empty(4, 2, 3, D3DFMT_A8R8G8B8);
    const auto function = [](D3DXVECTOR4* out, const D3DXVECTOR2* at, const D3DXVECTOR2* size, void* data) {
        ++*static_cast<int*>(data);
        *out = {at->x, at->y, size->x, 2.0f};
    };
    int calls = 0;
    ASSERT_EQ(D3DXFillTexture(texture.Get(), function, &calls), D3D_OK);
    EXPECT_EQ(calls, 8 + 2 + 1);
    // Red and green are the texel's centre, blue the texel's width, all of 255; alpha is clamped.
    EXPECT_EQ(Texels(texture.Get(), 0)[5], 0xff60bf40u);
    EXPECT_EQ(Texels(texture.Get(), 2)[0], 0xff8080ffu);
}

TEST_F(FxTexture, NormalsLeanAwayFromTheHeights) {
    const auto source = Empty(8, 8, 1, D3DFMT_A8R8G8B8), target = Empty(8, 8, 2, D3DFMT_A8R8G8B8);
    std::vector<u32> texels(64, 0xff000000);
    const auto normals = [&](DWORD flags, DWORD channel, f32 amplitude) {
        Put(source.Get(), texels);
        EXPECT_EQ(D3DXComputeNormalMap(target.Get(), source.Get(), nullptr, flags, channel, amplitude),
                  D3D_OK);
        return Texels(target.Get(), 0);
    };
    for (u32 c : normals(0, D3DX_CHANNEL_RED, 10)) ASSERT_EQ(c, 0xff8080ffu);

    // Red rises by 51 of 255 a texel along x: a slope of 0.2, five times that is 1, so the normal is (-1, 0,
    // 1) / sqrt 2.
    for (u32 i = 0; i < 64; ++i) texels[i] = 0xff000000 | std::min(i % 8, 5u) * 51 << 16;
    const auto slope = normals(0, D3DX_CHANNEL_RED, 5);
    EXPECT_EQ(slope[8 * 3 + 3], 0xff2580dau);
    EXPECT_EQ(slope[8 * 3 + 6], 0xff8080ffu) << "level ground";
    EXPECT_GT(Channel(slope[8 * 3 + 7], 16), 200) << "falls to the repeated left edge";
    EXPECT_EQ(normals(D3DX_NORMALMAP_MIRROR, D3DX_CHANNEL_RED, 5)[8 * 3 + 7], 0xff8080ffu);
    EXPECT_EQ(normals(0, D3DX_CHANNEL_GREEN, 5)[8 * 3 + 3], 0xff8080ffu) << "nothing in green";
    EXPECT_EQ(Texels(target.Get(), 1).size(), 16u);

    // A pit among eight neighbours one higher: their mean rise is the tangent of what they hide.
    texels.assign(64, 0xffffffff);
    texels[8 * 4 + 4] = 0xff000000;
    const auto pit = normals(D3DX_NORMALMAP_COMPUTE_OCCLUSION, D3DX_CHANNEL_RED, 0.75f);
    EXPECT_NEAR(Channel(pit[8 * 4 + 4], 24), 255 * (1 - 0.6), 1);
    EXPECT_EQ(Channel(pit[8 * 4 + 3], 24), 255) << "nothing rises above the rim";
}

TEST_F(FxTexture, WishesAreBentToTheDevice) {
    UINT width = D3DX_DEFAULT, height = D3DX_DEFAULT, levels = 0;
    D3DFORMAT format = D3DFMT_UNKNOWN;
    const auto check = [&](DWORD usage) {
        return D3DXCheckTextureRequirements(device_.Get(), &width, &height, &levels, usage, &format,
                                            D3DPOOL_MANAGED);
    };
    ASSERT_EQ(check(0), D3D_OK);
    EXPECT_EQ(width, 256u);
    EXPECT_EQ(height, 256u);
    EXPECT_EQ(levels, 9u);
    EXPECT_EQ(format, D3DFMT_A8R8G8B8);
    width = 100000, height = 3, levels = 77, format = D3DFMT_DXT5;
    ASSERT_EQ(check(0), D3D_OK);
    EXPECT_EQ(width, 4096u);
    EXPECT_EQ(height, 4u) << "whole blocks";
    EXPECT_EQ(levels, 13u);
    levels = 5;
    ASSERT_EQ(check(D3DUSAGE_AUTOGENMIPMAP), D3D_OK);
    EXPECT_EQ(levels, 0u);
    system_.Recorded().adapter.refused_formats.insert(D3DFMT_DXT5);
    system_.Recorded().adapter.caps.TextureCaps |= D3DPTEXTURECAPS_POW2;
    width = 100;
    ASSERT_EQ(check(0), D3D_OK);
    EXPECT_EQ(format, D3DFMT_A8R8G8B8);
    EXPECT_EQ(width, 128u);
}

TEST_F(FxTexture, FailuresLeaveNull) {
    ComPtr<IDirect3DTexture9> kept = Empty(1, 1, 1, D3DFMT_A8R8G8B8);
    const u8 rubbish[] = "this is no picture at all";
    IDirect3DTexture9* out = kept.Get();
    EXPECT_EQ(D3DXCreateTextureFromFileInMemory(device_.Get(), rubbish, sizeof rubbish, &out),
              D3DXERR_INVALIDDATA);
    EXPECT_EQ(out, nullptr);
    for (const char* path : {"", "there is no such file.png", "/", "/dev/zero"}) {
        out = kept.Get();
        EXPECT_EQ(D3DXCreateTextureFromFileA(device_.Get(), path, &out), D3DXERR_INVALIDDATA) << path;
        EXPECT_EQ(out, nullptr);
    }
    const auto file = Picture("bmp_24.bmp");
    system_.Recorded().adapter.refuse_resources = true;
    out = kept.Get();
    EXPECT_TRUE(FAILED(
        D3DXCreateTextureFromFileInMemory(device_.Get(), file.data(), static_cast<UINT>(file.size()), &out)));
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(D3DXCreateTextureFromFileA(device_.Get(), nullptr, &out), D3DERR_INVALIDCALL);
    EXPECT_EQ(D3DXCreateTextureFromFileInMemory(nullptr, file.data(), 1, &out), D3DERR_INVALIDCALL);
    EXPECT_EQ(D3DXComputeNormalMap(kept.Get(), nullptr, nullptr, 0, D3DX_CHANNEL_RED, 1), D3DERR_INVALIDCALL);
}

TEST_F(FxTexture, FileAndMemoryGiveTheSame) {
    const std::string path = golden::Folder() + "images/png_rgba_8.png";
    const auto bytes = Picture("png_rgba_8.png");
    ComPtr<IDirect3DTexture9> file, memory;
    ASSERT_EQ(D3DXCreateTextureFromFileA(device_.Get(), path.c_str(), file.Put()), D3D_OK);
    ASSERT_EQ(D3DXCreateTextureFromFileInMemory(device_.Get(), bytes.data(), static_cast<UINT>(bytes.size()),
                                                memory.Put()),
              D3D_OK);
    EXPECT_EQ(Texels(file.Get(), 0), Texels(memory.Get(), 0));
}

TEST_F(FxTexture, FontHoldsItsDeviceUntilReleased) {
    const auto references = [&] {
        device_->AddRef();
        return device_->Release();
    };
    const ULONG before = references();
    D3DXFONT_DESCA desc{};
    desc.Height = 16;
    ID3DXFont* font = nullptr;
    ASSERT_EQ(D3DXCreateFontIndirectA(device_.Get(), &desc, &font), D3D_OK);
    EXPECT_EQ(references(), before + 1);
    EXPECT_EQ(font->PreloadCharacters(0, 127), D3D_OK);
    EXPECT_EQ(font->Release(), 0u);
    EXPECT_EQ(references(), before);
}
