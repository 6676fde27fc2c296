// Texture formats: what each stores, what it gives for channels that it lacks, compressed blocks.
#include "conformance/canvas.h"

namespace conformance {
namespace {

D3DCOLOR Spectrum(UINT x, UINT y) {
    return ((x * 17) << 24) | ((255 - y * 17) << 16) | (((x + y) * 8) << 8) | ((x * 53 + y * 29) & 0xff);
}

// Several formats side by side, as they are and with their alpha as grey beneath.
void ShowFormats(Canvas& c, std::initializer_list<D3DFORMAT> formats) {
    c.Fill(0x40303030);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    int i = 0;
    for (D3DFORMAT format : formats) {
        c.Bind(0, c.Texture(16, 16, 1, format, [](UINT x, UINT y, UINT) { return Spectrum(x, y); }));
        c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
        c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
        c.TexturedRect({F(i * 20 + 1), 1, F(i * 20 + 19), 19}, {0.01f, 0.01f, 1.01f, 1.01f});
        c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE | D3DTA_ALPHAREPLICATE);
        c.TexturedRect({F(i * 20 + 1), 21, F(i * 20 + 19), 39}, {0.01f, 0.01f, 1.01f, 1.01f});
        ++i;
    }
}

void Formats32(Canvas& c) { ShowFormats(c, {D3DFMT_A8R8G8B8, D3DFMT_X8R8G8B8}); }
void Formats16(Canvas& c) {
    ShowFormats(c, {D3DFMT_R5G6B5, D3DFMT_X1R5G5B5, D3DFMT_A1R5G5B5, D3DFMT_A4R4G4B4});
}
void FormatsLuminance(Canvas& c) { ShowFormats(c, {D3DFMT_L8, D3DFMT_A8, D3DFMT_A8L8}); }

// Blocks of a DXT format: eight bytes of alpha (where the format has it), two 5-6-5 colours, sixteen indices.
// The bytes follow no picture, so that every index and both orders of the end values occur.
std::vector<BYTE> Blocks(UINT count, bool alpha, UINT seed) {
    std::vector<BYTE> bytes;
    UINT state = seed;
    const auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return static_cast<BYTE>(state >> 24);
    };
    for (UINT block = 0; block < count; ++block) {
        for (int i = 0; i < (alpha ? 8 : 0); ++i) {
            bytes.push_back(next());
        }
        BYTE ends[4] = {next(), next(), next(), next()};
        // Even blocks have the first colour above the second, odd ones the other way round.
        const bool above = ends[1] > ends[3];
        if (above != (block % 2 == 0)) {
            std::swap(ends[0], ends[2]);
            std::swap(ends[1], ends[3]);
        }
        bytes.insert(bytes.end(), ends, ends + 4);
        for (int i = 0; i < 4; ++i) {
            bytes.push_back(next());
        }
    }
    return bytes;
}

IDirect3DTexture9* Compressed(Canvas& c, D3DFORMAT format, UINT size, UINT levels, UINT seed) {
    IDirect3DTexture9* texture = nullptr;
    c.Check(c.device->CreateTexture(size, size, levels, 0, format, D3DPOOL_MANAGED, &texture, nullptr));
    if (c.Keep(texture) == nullptr) {
        return nullptr;
    }
    const bool alpha = format != D3DFMT_DXT1;
    for (UINT level = 0; level < texture->GetLevelCount(); ++level) {
        const UINT blocks = ((size >> level) + 3) / 4 == 0 ? 1 : ((size >> level) + 3) / 4;
        const std::vector<BYTE> data = Blocks(blocks * blocks, alpha, seed + level);
        D3DLOCKED_RECT locked = {};
        if (FAILED(texture->LockRect(level, &locked, nullptr, 0))) {
            c.Check(E_FAIL);
            continue;
        }
        const size_t row = static_cast<size_t>(blocks) * (alpha ? 16 : 8);
        for (UINT y = 0; y < blocks; ++y) {
            std::memcpy(static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y,
                        data.data() + row * y, row);
        }
        c.Check(texture->UnlockRect(level));
    }
    return texture;
}

void ShowCompressed(Canvas& c, std::initializer_list<D3DFORMAT> formats) {
    c.Fill(0x40303030);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    int i = 0;
    for (D3DFORMAT format : formats) {
        c.Bind(0, Compressed(c, format, 16, 1, 77 + static_cast<UINT>(i)));
        c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
        c.TexturedRect({F(i * 36 + 2) - 0.5f, 1.5f, F(i * 36 + 34) - 0.5f, 33.5f});
        c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE | D3DTA_ALPHAREPLICATE);
        c.TexturedRect({F(i * 36 + 2) - 0.5f, 35.5f, F(i * 36 + 34) - 0.5f, 67.5f});
        ++i;
    }
}

void Dxt1(Canvas& c) { ShowCompressed(c, {D3DFMT_DXT1}); }
void Dxt2And3(Canvas& c) { ShowCompressed(c, {D3DFMT_DXT2, D3DFMT_DXT3}); }
void Dxt4And5(Canvas& c) { ShowCompressed(c, {D3DFMT_DXT4, D3DFMT_DXT5}); }

// Every level of a compressed chain, down to those smaller than a block.
void DxtLevels(Canvas& c) {
    c.Fill(0xff303030);
    const D3DFORMAT formats[2] = {D3DFMT_DXT1, D3DFMT_DXT5};
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    for (int row = 0; row < 2; ++row) {
        c.Bind(0, Compressed(c, formats[row], 32, 0, 5));
        c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_POINT);
        for (int level = 0; level < 6; ++level) {
            c.Samp(0, D3DSAMP_MAXMIPLEVEL, static_cast<DWORD>(level));
            c.TexturedRect(
                {F(level * 20) + 1.5f, F(row * 20) + 1.5f, F(level * 20) + 17.5f, F(row * 20) + 17.5f},
                {0, 0, 0.5f, 0.5f});
        }
    }
}

// Part of a texture rewritten through a locked rectangle; the rest stays.
void PartialLock(Canvas& c) {
    c.Fill(0xff303030);
    IDirect3DTexture9* texture = c.Texture(16, 16, 1, D3DFMT_A8R8G8B8,
                                           [](UINT x, UINT y, UINT) { return Spectrum(x, y) | 0xff000000; });
    c.Bind(0, texture);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.TexturedRect({1.5f, 1.5f, 33.5f, 33.5f});
    const RECT rect = {3, 5, 12, 9};
    D3DLOCKED_RECT locked = {};
    c.Check(texture->LockRect(0, &locked, &rect, 0));
    for (UINT y = 0; y < 4; ++y) {
        for (UINT x = 0; x < 9; ++x) {
            EncodeTexel(D3DFMT_A8R8G8B8, 0xffffff00 + x * 20,
                        static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
        }
    }
    c.Check(texture->UnlockRect(0));
    c.TexturedRect({35.5f, 1.5f, 67.5f, 33.5f});
}

// A dynamic texture written anew between two draws.
void DynamicTexture(Canvas& c) {
    c.Fill(0xff303030);
    IDirect3DTexture9* texture = nullptr;
    c.Check(c.device->CreateTexture(8, 8, 1, D3DUSAGE_DYNAMIC, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &texture,
                                    nullptr));
    if (c.Keep(texture) == nullptr) {
        return;
    }
    c.Bind(0, texture);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    for (UINT pass = 0; pass < 3; ++pass) {
        D3DLOCKED_RECT locked = {};
        c.Check(texture->LockRect(0, &locked, nullptr, D3DLOCK_DISCARD));
        for (UINT y = 0; y < 8; ++y) {
            for (UINT x = 0; x < 8; ++x) {
                EncodeTexel(
                    D3DFMT_A8R8G8B8, 0xff000000 | (x * 30 << (pass * 8)) | (y == pass ? 0xffffff : 0),
                    static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
            }
        }
        c.Check(texture->UnlockRect(0));
        const float x = F(pass) * 18.0f + 1.5f;
        c.TexturedRect({x, 1.5f, x + 16, 17.5f});
    }
}

// Levels filled from level 0 by the device, after a lock.
void AutoLevels(Canvas& c) {
    c.Fill(0xff303030);
    IDirect3DTexture9* texture = nullptr;
    c.Check(c.device->CreateTexture(32, 32, 0, D3DUSAGE_AUTOGENMIPMAP, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED,
                                    &texture, nullptr));
    if (c.Keep(texture) == nullptr) {
        return;
    }
    D3DLOCKED_RECT locked = {};
    c.Check(texture->LockRect(0, &locked, nullptr, 0));
    for (UINT y = 0; y < 32; ++y) {
        for (UINT x = 0; x < 32; ++x) {
            const D3DCOLOR color =
                (x < 16) == (y < 16) ? 0xffe04020 : ((x + y) % 2 == 0 ? 0xff2040e0 : 0xff60ff60);
            EncodeTexel(D3DFMT_A8R8G8B8, color,
                        static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
        }
    }
    c.Check(texture->UnlockRect(0));
    c.Bind(0, texture);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_POINT);
    const float sizes[4] = {32, 16, 8, 4};
    float x = 1.5f;
    for (float size : sizes) {
        c.TexturedRect({x, 1.5f, x + size, 1.5f + size});
        x += size + 2;
    }
}

}  // namespace

void AddFormatCases(std::vector<Case>& cases) {
    cases.push_back({"format_32_bits", 64, 40, Formats32});
    cases.push_back({"format_16_bits", 80, 40, Formats16});
    cases.push_back({"format_luminance", 64, 40, FormatsLuminance});
    cases.push_back({"format_dxt1", 36, 70, Dxt1});
    cases.push_back({"format_dxt2_dxt3", 72, 70, Dxt2And3});
    cases.push_back({"format_dxt4_dxt5", 72, 70, Dxt4And5});
    cases.push_back({"format_dxt_levels", 120, 40, DxtLevels});
    cases.push_back({"format_partial_lock", 70, 36, PartialLock});
    cases.push_back({"format_dynamic_texture", 56, 20, DynamicTexture});
    cases.push_back({"format_auto_levels", 72, 36, AutoLevels});
}

}  // namespace conformance
