// Direct3D's own .dds files: 2D pictures and cube maps, with their mip levels.
#include <algorithm>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

constexpr u32 kHeader = 128;
constexpr u32 kAlphaPixels = 1, kAlpha = 2, kFourCC = 4, kPalette8 = 0x20, kRgb = 0x40, kLuminance = 0x20000,
              kBumpDuDv = 0x80000;
constexpr u32 kCubeMap = 0x200, kAllFaces = 0xfc00, kVolume = 0x200000;

struct Known {
    u32 flags, bits, r, g, b, a;
    D3DFORMAT format;
};

constexpr Known kKnown[] = {
    {kRgb, 32, 0xff0000, 0xff00, 0xff, 0xff000000, D3DFMT_A8R8G8B8},
    {kRgb, 32, 0xff0000, 0xff00, 0xff, 0, D3DFMT_X8R8G8B8},
    {kRgb, 32, 0xff, 0xff00, 0xff0000, 0xff000000, D3DFMT_A8B8G8R8},
    {kRgb, 32, 0xff, 0xff00, 0xff0000, 0, D3DFMT_X8B8G8R8},
    // Files of these two have always been written, and hence are read, with each other's masks.
    {kRgb, 32, 0x3ff, 0xffc00, 0x3ff00000, 0xc0000000, D3DFMT_A2R10G10B10},
    {kRgb, 32, 0x3ff00000, 0xffc00, 0x3ff, 0xc0000000, D3DFMT_A2B10G10R10},
    {kRgb, 32, 0xffff, 0xffff0000, 0, 0, D3DFMT_G16R16},
    {kRgb, 24, 0xff0000, 0xff00, 0xff, 0, D3DFMT_R8G8B8},
    {kRgb, 16, 0xf800, 0x7e0, 0x1f, 0, D3DFMT_R5G6B5},
    {kRgb, 16, 0x7c00, 0x3e0, 0x1f, 0x8000, D3DFMT_A1R5G5B5},
    {kRgb, 16, 0x7c00, 0x3e0, 0x1f, 0, D3DFMT_X1R5G5B5},
    {kRgb, 16, 0xf00, 0xf0, 0xf, 0xf000, D3DFMT_A4R4G4B4},
    {kRgb, 16, 0xf00, 0xf0, 0xf, 0, D3DFMT_X4R4G4B4},
    {kRgb, 16, 0xe0, 0x1c, 0x3, 0xff00, D3DFMT_A8R3G3B2},
    {kRgb, 8, 0xe0, 0x1c, 0x3, 0, D3DFMT_R3G3B2},
    {kLuminance, 8, 0xff, 0, 0, 0, D3DFMT_L8},
    {kLuminance, 16, 0xffff, 0, 0, 0, D3DFMT_L16},
    {kLuminance, 16, 0xff, 0, 0, 0xff00, D3DFMT_A8L8},
    {kLuminance, 8, 0xf, 0, 0, 0xf0, D3DFMT_A4L4},
    {kAlpha, 8, 0, 0, 0, 0xff, D3DFMT_A8},
    {kBumpDuDv, 16, 0xff, 0xff00, 0, 0, D3DFMT_V8U8},
    {kBumpDuDv, 32, 0xff, 0xff00, 0xff0000, 0xff000000, D3DFMT_Q8W8V8U8},
    {kBumpDuDv, 32, 0xffff, 0xffff0000, 0, 0, D3DFMT_V16U16},
};

D3DFORMAT FormatOf(const u8* pixel_format) {
    const u32 flags = Read32(pixel_format + 4);
    if (flags & kFourCC) {
        const auto format = static_cast<D3DFORMAT>(Read32(pixel_format + 8) & 0x7fffffffu);
        const TexelFormat* known = FindTexelFormat(format);
        // Besides the block formats a code here may be the number of a format that masks cannot describe.
        const bool wide = known && (known->kind == TexelKind::kFloat || format == D3DFMT_A16B16G16R16);
        return known && (known->kind == TexelKind::kBlock || wide) ? format : D3DFMT_UNKNOWN;
    }
    const u32 bits = Read32(pixel_format + 12);
    if (flags & kPalette8) return bits == 8 ? D3DFMT_P8 : D3DFMT_UNKNOWN;
    const auto mask = [&](u32 i) { return Read32(pixel_format + 16 + i * 4); };
    for (const Known& known : kKnown) {
        if (!(flags & known.flags) || bits != known.bits) continue;
        const bool colors =
            known.flags == kAlpha || (mask(0) == known.r && mask(1) == known.g && mask(2) == known.b);
        // The alpha mask counts only where the flags say that there is alpha.
        const bool alpha_said = flags & (kAlphaPixels | kAlpha) || known.flags == kBumpDuDv;
        if (colors && (alpha_said ? mask(3) : 0) == known.a) return known.format;
    }
    return D3DFMT_UNKNOWN;
}

u32 FullChain(u32 width, u32 height) {
    u32 levels = 1;
    for (u32 size = std::max(width, height); size > 1; size /= 2) ++levels;
    return levels;
}

}  // namespace

bool DecodeDds(Bytes file, bool header_only, Image* image) {
    if (file.size() < kHeader || Read32(&file[4]) != 124 || Read32(&file[76]) != 32) return false;
    const u32 height = Read32(&file[12]), width = Read32(&file[16]);
    if (width == 0 || height == 0 || width > kMaxImageSize || height > kMaxImageSize) return false;
    const u32 caps2 = Read32(&file[112]);
    if (caps2 & kVolume) return false;
    const bool cube = (caps2 & kCubeMap) != 0;
    if (cube && ((caps2 & kAllFaces) != kAllFaces || width != height)) return false;
    const D3DFORMAT format = FormatOf(&file[76]);
    if (format == D3DFMT_UNKNOWN) return false;

    SetInfo(image, width, height, format, D3DXIFF_DDS);
    image->info.MipLevels = std::clamp(Read32(&file[28]), 1u, FullChain(width, height));
    if (cube) image->info.ResourceType = D3DRTYPE_CUBETEXTURE;

    const Bytes palette = format == D3DFMT_P8
                              ? file.subspan(kHeader, std::min<std::size_t>(file.size() - kHeader, 1024))
                              : Bytes{};
    if (format == D3DFMT_P8 && palette.size() < 1024) return false;
    const Bytes pixels = file.subspan(kHeader + palette.size());
    u64 bytes = 0;
    for (u32 i = 0; i < image->info.MipLevels; ++i) {
        bytes += LevelBytes(format, std::max(width >> i, 1u), std::max(height >> i, 1u));
    }
    bytes *= image->Faces();
    if (bytes > pixels.size()) return false;
    if (header_only) return true;

    for (std::size_t i = 0; i < palette.size(); i += 4) {
        const u8* entry = &palette[i];
        image->palette.push_back(u32{entry[3]} << 24 | u32{entry[0]} << 16 | u32{entry[1]} << 8 | entry[2]);
    }
    image->pixels.assign(pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(bytes));
    return true;
}

}  // namespace fxutil
