#include "fxutil/pixel_format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace fxutil {

namespace {

using enum TexelKind;

constexpr TexelFormat kFormats[] = {
    {D3DFMT_A8R8G8B8, kUnsigned, 32, {16, 8}, {8, 8}, {0, 8}, {24, 8}},
    {D3DFMT_X8R8G8B8, kUnsigned, 32, {16, 8}, {8, 8}, {0, 8}, {}},
    {D3DFMT_R8G8B8, kUnsigned, 24, {16, 8}, {8, 8}, {0, 8}, {}},
    {D3DFMT_A8B8G8R8, kUnsigned, 32, {0, 8}, {8, 8}, {16, 8}, {24, 8}},
    {D3DFMT_X8B8G8R8, kUnsigned, 32, {0, 8}, {8, 8}, {16, 8}, {}},
    {D3DFMT_R5G6B5, kUnsigned, 16, {11, 5}, {5, 6}, {0, 5}, {}},
    {D3DFMT_X1R5G5B5, kUnsigned, 16, {10, 5}, {5, 5}, {0, 5}, {}},
    {D3DFMT_A1R5G5B5, kUnsigned, 16, {10, 5}, {5, 5}, {0, 5}, {15, 1}},
    {D3DFMT_A4R4G4B4, kUnsigned, 16, {8, 4}, {4, 4}, {0, 4}, {12, 4}},
    {D3DFMT_X4R4G4B4, kUnsigned, 16, {8, 4}, {4, 4}, {0, 4}, {}},
    {D3DFMT_R3G3B2, kUnsigned, 8, {5, 3}, {2, 3}, {0, 2}, {}},
    {D3DFMT_A8R3G3B2, kUnsigned, 16, {5, 3}, {2, 3}, {0, 2}, {8, 8}},
    {D3DFMT_A8, kUnsigned, 8, {}, {}, {}, {0, 8}},
    {D3DFMT_A2B10G10R10, kUnsigned, 32, {0, 10}, {10, 10}, {20, 10}, {30, 2}},
    {D3DFMT_A2R10G10B10, kUnsigned, 32, {20, 10}, {10, 10}, {0, 10}, {30, 2}},
    {D3DFMT_G16R16, kUnsigned, 32, {0, 16}, {16, 16}, {}, {}},
    {D3DFMT_A16B16G16R16, kUnsigned, 64, {0, 16}, {16, 16}, {32, 16}, {48, 16}},
    {D3DFMT_L8, kLuminance, 8, {0, 8}, {}, {}, {}},
    {D3DFMT_A8L8, kLuminance, 16, {0, 8}, {}, {}, {8, 8}},
    {D3DFMT_A4L4, kLuminance, 8, {0, 4}, {}, {}, {4, 4}},
    {D3DFMT_L16, kLuminance, 16, {0, 16}, {}, {}, {}},
    {D3DFMT_P8, kPalette, 8, {0, 8}, {}, {}, {}},
    {D3DFMT_A8P8, kPalette, 16, {0, 8}, {}, {}, {8, 8}},
    {D3DFMT_V8U8, kSigned, 16, {0, 8}, {8, 8}, {}, {}},
    {D3DFMT_Q8W8V8U8, kSigned, 32, {0, 8}, {8, 8}, {16, 8}, {24, 8}},
    {D3DFMT_V16U16, kSigned, 32, {0, 16}, {16, 16}, {}, {}},
    {D3DFMT_R16F, kFloat, 16, {0, 16}, {}, {}, {}},
    {D3DFMT_G16R16F, kFloat, 32, {0, 16}, {16, 16}, {}, {}},
    {D3DFMT_A16B16G16R16F, kFloat, 64, {0, 16}, {16, 16}, {32, 16}, {48, 16}},
    {D3DFMT_R32F, kFloat, 32, {0, 32}, {}, {}, {}},
    {D3DFMT_G32R32F, kFloat, 64, {0, 32}, {32, 32}, {}, {}},
    {D3DFMT_A32B32G32R32F, kFloat, 128, {0, 32}, {32, 32}, {64, 32}, {96, 32}},
    {D3DFMT_DXT1, kBlock, 64, {0, 5}, {0, 6}, {0, 5}, {0, 1}},
    {D3DFMT_DXT2, kBlock, 128, {0, 5}, {0, 6}, {0, 5}, {0, 4}},
    {D3DFMT_DXT3, kBlock, 128, {0, 5}, {0, 6}, {0, 5}, {0, 4}},
    {D3DFMT_DXT4, kBlock, 128, {0, 5}, {0, 6}, {0, 5}, {0, 8}},
    {D3DFMT_DXT5, kBlock, 128, {0, 5}, {0, 6}, {0, 5}, {0, 8}},
};

/// kWiden[n][v]: an n bit value as an 8 bit one, v x 255 / (2^n - 1) rounded.
constexpr auto kWiden = [] {
    std::array<std::array<u8, 256>, 9> table{};
    for (u32 bits = 1; bits <= 8; ++bits) {
        const u32 max = (1u << bits) - 1;
        for (u32 v = 0; v <= max; ++v) table[bits][v] = static_cast<u8>((v * 255 + max / 2) / max);
    }
    return table;
}();

/// Thresholds of the ordered pattern, in sixteenths.
constexpr u8 kDither[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};

u64 LoadTexel(const u8* source, u32 bytes) {
    u64 texel = 0;
    std::memcpy(&texel, source, bytes);
    return texel;
}

u64 Field(u64 texel, ChannelBits c) { return (texel >> c.shift) & ((u64{1} << c.width) - 1); }

f32 UnitValue(u64 texel, ChannelBits c) {
    if (c.width == 0) return 1.0f;
    return static_cast<f32>(Field(texel, c)) / static_cast<f32>((u64{1} << c.width) - 1);
}

f32 SignedValue(u64 texel, ChannelBits c) {
    if (c.width == 0) return 1.0f;
    const i32 max = (1 << (c.width - 1)) - 1;
    i32 value = static_cast<i32>(Field(texel, c));
    if (value > max) value -= 1 << c.width;
    return std::max(static_cast<f32>(value) / static_cast<f32>(max), -1.0f);
}

f32 FloatValue(const u8* texel, ChannelBits c) {
    if (c.width == 0) return 1.0f;
    if (c.width == 16) {
        u16 half;
        std::memcpy(&half, texel + c.shift / 8, 2);
        return HalfToFloat(half);
    }
    f32 value;
    std::memcpy(&value, texel + c.shift / 8, 4);
    return value;
}

f32 Luminance(const Rgba& c) { return 0.2125f * c.r + 0.7154f * c.g + 0.0721f * c.b; }

/// NaN counts as 0.
f32 Clamp(f32 value, f32 low, f32 high) { return value > low ? std::min(value, high) : low; }

u64 StoreUnit(f32 value, ChannelBits c, f32 rounding) {
    if (c.width == 0) return 0;
    const f32 max = static_cast<f32>((u64{1} << c.width) - 1);
    const f32 scaled = std::min(Clamp(value, 0.0f, 1.0f) * max + rounding, max);
    return static_cast<u64>(scaled) << c.shift;
}

u64 StoreSigned(f32 value, ChannelBits c) {
    if (c.width == 0) return 0;
    const f32 max = static_cast<f32>((1 << (c.width - 1)) - 1);
    const i64 rounded = std::lround(Clamp(value, -1.0f, 1.0f) * max);
    return (static_cast<u64>(rounded) & ((u64{1} << c.width) - 1)) << c.shift;
}

void StoreFloat(f32 value, ChannelBits c, u8* texel) {
    if (c.width == 16) {
        const u16 half = FloatToHalf(value);
        std::memcpy(texel + c.shift / 8, &half, 2);
    } else if (c.width == 32) {
        std::memcpy(texel + c.shift / 8, &value, 4);
    }
}

}  // namespace

bool TexelFormat::IsNarrow() const {
    return kind != kFloat && kind != kSigned && r.width <= 8 && g.width <= 8 && b.width <= 8 && a.width <= 8;
}

const TexelFormat* FindTexelFormat(D3DFORMAT format) {
    for (const TexelFormat& entry : kFormats) {
        if (entry.format == format) return &entry;
    }
    return nullptr;
}

u32 RowBytes(D3DFORMAT format, u32 width) {
    const TexelFormat* f = FindTexelFormat(format);
    if (!f) return 0;
    return f->kind == kBlock ? (width + 3) / 4 * (f->bits / 8u) : width * (f->bits / 8u);
}

u32 RowCount(D3DFORMAT format, u32 height) {
    const TexelFormat* f = FindTexelFormat(format);
    return f && f->kind == kBlock ? (height + 3) / 4 : height;
}

std::size_t LevelBytes(D3DFORMAT format, u32 width, u32 height) {
    return std::size_t{RowBytes(format, width)} * RowCount(format, height);
}

u32 PackColor(const Rgba& c) {
    const auto byte = [](f32 v) { return static_cast<u32>(Clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f); };
    return byte(c.a) << 24 | byte(c.r) << 16 | byte(c.g) << 8 | byte(c.b);
}

Rgba UnpackColor(u32 argb) {
    const auto unit = [&](u32 shift) { return static_cast<f32>((argb >> shift) & 0xff) * (1.0f / 255.0f); };
    return {unit(16), unit(8), unit(0), unit(24)};
}

void ReadTexels(const TexelFormat& format, const u8* source, const u32* palette, u32 count, u32* out) {
    switch (format.format) {
        case D3DFMT_A8R8G8B8:
            std::memcpy(out, source, std::size_t{count} * 4);
            return;
        case D3DFMT_X8R8G8B8:
            std::memcpy(out, source, std::size_t{count} * 4);
            for (u32 i = 0; i < count; ++i) out[i] |= 0xff000000u;
            return;
        case D3DFMT_R8G8B8:
            for (u32 i = 0; i < count; ++i, source += 3) {
                out[i] = 0xff000000u | u32{source[2]} << 16 | u32{source[1]} << 8 | source[0];
            }
            return;
        case D3DFMT_L8:
            for (u32 i = 0; i < count; ++i) out[i] = 0xff000000u | source[i] * 0x10101u;
            return;
        case D3DFMT_P8:
            for (u32 i = 0; i < count; ++i) out[i] = palette[source[i]];
            return;
        case D3DFMT_A8P8:
            for (u32 i = 0; i < count; ++i, source += 2) {
                out[i] = (palette[source[0]] & 0xffffffu) | u32{source[1]} << 24;
            }
            return;
        default:
            break;
    }
    const u32 bytes = format.bits / 8u;
    if (!format.IsNarrow()) {
        for (u32 i = 0; i < count; ++i, source += bytes) {
            Rgba color;
            ReadTexels(format, source, palette, 1, &color);
            out[i] = PackColor(color);
        }
        return;
    }
    const auto channel = [](u64 texel, ChannelBits c) {
        return c.width ? u32{kWiden[c.width][static_cast<std::size_t>(Field(texel, c))]} : 0xffu;
    };
    for (u32 i = 0; i < count; ++i, source += bytes) {
        const u64 texel = LoadTexel(source, bytes);
        const u32 r = channel(texel, format.r);
        const u32 g = format.kind == kLuminance ? r : channel(texel, format.g);
        const u32 b = format.kind == kLuminance ? r : channel(texel, format.b);
        out[i] = channel(texel, format.a) << 24 | r << 16 | g << 8 | b;
    }
}

void ReadTexels(const TexelFormat& format, const u8* source, const u32* palette, u32 count, Rgba* out) {
    const u32 bytes = format.bits / 8u;
    for (u32 i = 0; i < count; ++i, source += bytes) {
        switch (format.kind) {
            case kUnsigned: {
                const u64 texel = LoadTexel(source, bytes);
                out[i] = {UnitValue(texel, format.r), UnitValue(texel, format.g), UnitValue(texel, format.b),
                          UnitValue(texel, format.a)};
                break;
            }
            case kLuminance: {
                const u64 texel = LoadTexel(source, bytes);
                const f32 l = UnitValue(texel, format.r);
                out[i] = {l, l, l, UnitValue(texel, format.a)};
                break;
            }
            case kSigned: {
                const u64 texel = LoadTexel(source, bytes);
                out[i] = {SignedValue(texel, format.r), SignedValue(texel, format.g),
                          SignedValue(texel, format.b), SignedValue(texel, format.a)};
                break;
            }
            case kFloat:
                out[i] = {FloatValue(source, format.r), FloatValue(source, format.g),
                          FloatValue(source, format.b), FloatValue(source, format.a)};
                break;
            case kPalette:
            case kBlock: {
                u32 argb = 0;
                if (format.kind == kPalette) ReadTexels(format, source, palette, 1, &argb);
                out[i] = UnpackColor(argb);
                break;
            }
        }
    }
}

void WriteTexels(const TexelFormat& format, const u32* colors, u32 count, bool dither, u32 y, u8* out) {
    switch (format.format) {
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8:
            std::memcpy(out, colors, std::size_t{count} * 4);
            return;
        case D3DFMT_A8B8G8R8:
        case D3DFMT_X8B8G8R8:
            for (u32 i = 0; i < count; ++i, out += 4) {
                const u32 c = colors[i];
                const u32 turned = (c & 0xff00ff00u) | (c & 0xffu) << 16 | (c >> 16 & 0xffu);
                std::memcpy(out, &turned, 4);
            }
            return;
        default:
            break;
    }
    for (u32 i = 0; i < count; ++i, out += format.bits / 8u) {
        const Rgba color = UnpackColor(colors[i]);
        // not.
        const u32 bytes = format.bits / 8u;
        if (format.kind == kUnsigned || format.kind == kLuminance) {
            const auto rounding = [&](ChannelBits c) {
                return dither && c.width < 8 ? (static_cast<f32>(kDither[y & 3][i & 3]) + 0.5f) / 16.0f
                                             : 0.5f;
            };
            u64 texel = StoreUnit(color.a, format.a, rounding(format.a));
            if (format.kind == kLuminance) {
                texel |= StoreUnit(Luminance(color), format.r, rounding(format.r));
            } else {
                texel |= StoreUnit(color.r, format.r, rounding(format.r)) |
                         StoreUnit(color.g, format.g, rounding(format.g)) |
                         StoreUnit(color.b, format.b, rounding(format.b));
            }
            std::memcpy(out, &texel, bytes);
        } else {
            WriteTexels(format, &color, 1, false, y, out);
        }
    }
}

void WriteTexels(const TexelFormat& format, const Rgba* colors, u32 count, bool dither, u32 y, u8* out) {
    const u32 bytes = format.bits / 8u;
    for (u32 i = 0; i < count; ++i, out += bytes) {
        const Rgba& color = colors[i];
        const f32 rounding = dither ? (static_cast<f32>(kDither[y & 3][i & 3]) + 0.5f) / 16.0f : 0.5f;
        u64 texel = 0;
        switch (format.kind) {
            case kUnsigned:
                texel = StoreUnit(color.r, format.r, rounding) | StoreUnit(color.g, format.g, rounding) |
                        StoreUnit(color.b, format.b, rounding) | StoreUnit(color.a, format.a, rounding);
                break;
            case kLuminance:
                texel =
                    StoreUnit(Luminance(color), format.r, rounding) | StoreUnit(color.a, format.a, rounding);
                break;
            case kSigned:
                texel = StoreSigned(color.r, format.r) | StoreSigned(color.g, format.g) |
                        StoreSigned(color.b, format.b) | StoreSigned(color.a, format.a);
                break;
            case kFloat:
                StoreFloat(color.r, format.r, out);
                StoreFloat(color.g, format.g, out);
                StoreFloat(color.b, format.b, out);
                StoreFloat(color.a, format.a, out);
                continue;
            case kPalette:
            case kBlock:
                return;
        }
        std::memcpy(out, &texel, bytes);
    }
}

f32 HalfToFloat(u16 half) {
    const u32 sign = u32{half & 0x8000u} << 16;
    const u32 exponent = half >> 10 & 31u;
    const u32 mantissa = half & 0x3ffu;
    if (exponent == 0) {
        const f32 value = static_cast<f32>(mantissa) * 0x1p-24f;
        return sign ? -value : value;
    }
    if (exponent == 31) return std::bit_cast<f32>(sign | 0x7f800000u | mantissa << 13);
    return std::bit_cast<f32>(sign | (exponent + 112) << 23 | mantissa << 13);
}

u16 FloatToHalf(f32 value) {
    const u32 bits = std::bit_cast<u32>(value);
    const u32 sign = bits >> 16 & 0x8000u;
    const u32 magnitude = bits & 0x7fffffffu;
    if (magnitude > 0x7f800000u) return static_cast<u16>(sign | 0x7e00u);
    if (magnitude >= 0x477ff000u) return static_cast<u16>(sign | 0x7c00u);
    if (magnitude < 0x38800000u) {
        // A denormal half: its unit is 2^-24.
        const f32 scaled = std::bit_cast<f32>(magnitude) * 0x1p24f;
        return static_cast<u16>(sign | static_cast<u32>(std::lrint(scaled)));
    }
    const u32 rounded = magnitude - 0x38000000u + 0xfffu + (magnitude >> 13 & 1u);
    return static_cast<u16>(sign | rounded >> 13);
}

}  // namespace fxutil
