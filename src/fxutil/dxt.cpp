#include "fxutil/dxt.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace fxutil {

namespace {

using Block = std::array<u32, 16>;

u16 Load16(const u8* p) { return static_cast<u16>(p[0] | p[1] << 8); }

void Store16(u8* p, u32 v) {
    p[0] = static_cast<u8>(v);
    p[1] = static_cast<u8>(v >> 8);
}

struct Color {
    i32 r, g, b;
};

Color Widen565(u32 c) {
    const i32 r = static_cast<i32>(c >> 11 & 31), g = static_cast<i32>(c >> 5 & 63),
              b = static_cast<i32>(c & 31);
    return {r << 3 | r >> 2, g << 2 | g >> 4, b << 3 | b >> 2};
}

Color ToColor(u32 argb) {
    return {static_cast<i32>(argb >> 16 & 0xff), static_cast<i32>(argb >> 8 & 0xff),
            static_cast<i32>(argb & 0xff)};
}

u32 Pack(Color c) { return static_cast<u32>(c.r) << 16 | static_cast<u32>(c.g) << 8 | static_cast<u32>(c.b); }

/// The four colours that two end points stand for, without alpha; the fourth of a three colour block is
/// black.
std::array<Color, 4> Colors(u32 c0, u32 c1, bool four) {
    const Color a = Widen565(c0), b = Widen565(c1);
    if (four) {
        const auto third = [](i32 near, i32 far) { return (2 * near + far + 1) / 3; };
        return {a, b, Color{third(a.r, b.r), third(a.g, b.g), third(a.b, b.b)},
                Color{third(b.r, a.r), third(b.g, a.g), third(b.b, a.b)}};
    }
    return {a, b, Color{(a.r + b.r + 1) / 2, (a.g + b.g + 1) / 2, (a.b + b.b + 1) / 2}, Color{0, 0, 0}};
}

std::array<u8, 8> Alphas(u32 a0, u32 a1) {
    std::array<u8, 8> table{static_cast<u8>(a0), static_cast<u8>(a1)};
    if (a0 > a1) {
        for (u32 i = 1; i < 7; ++i) table[i + 1] = static_cast<u8>(((7 - i) * a0 + i * a1 + 3) / 7);
    } else {
        for (u32 i = 1; i < 5; ++i) table[i + 1] = static_cast<u8>(((5 - i) * a0 + i * a1 + 2) / 5);
        table[6] = 0;
        table[7] = 255;
    }
    return table;
}

void DecodeColors(const u8* data, bool dxt1, Block* out) {
    const u32 c0 = Load16(data), c1 = Load16(data + 2);
    const bool four = !dxt1 || c0 > c1;
    const auto colors = Colors(c0, c1, four);
    u32 packed[4];
    for (u32 i = 0; i < 4; ++i) packed[i] = 0xff000000u | Pack(colors[i]);
    if (!four) packed[3] = 0;
    for (u32 i = 0; i < 16; ++i) (*out)[i] = packed[data[4 + i / 4] >> (i % 4 * 2) & 3];
}

u64 Load48(const u8* p) {
    u64 bits = 0;
    for (u32 i = 0; i < 6; ++i) bits |= u64{p[i]} << (8 * i);
    return bits;
}

void DecodeBlock(D3DFORMAT format, const u8* data, Block* out) {
    if (format == D3DFMT_DXT1) return DecodeColors(data, true, out);
    DecodeColors(data + 8, false, out);
    if (format == D3DFMT_DXT2 || format == D3DFMT_DXT3) {
        for (u32 i = 0; i < 16; ++i) {
            const u32 alpha = (data[i / 2] >> (i % 2 * 4) & 15u) * 17;
            (*out)[i] = ((*out)[i] & 0xffffffu) | alpha << 24;
        }
        return;
    }
    const auto alphas = Alphas(data[0], data[1]);
    const u64 indices = Load48(data + 2);
    for (u32 i = 0; i < 16; ++i) {
        (*out)[i] = ((*out)[i] & 0xffffffu) | u32{alphas[indices >> (3 * i) & 7]} << 24;
    }
}

// ------------------------------------------------------------------------------------------- encoding

struct Vec {
    f32 x, y, z;
};

Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(Vec a, f32 s) { return {a.x * s, a.y * s, a.z * s}; }
f32 Dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

u32 To565(Vec c) {
    const auto field = [](f32 v, f32 max) {
        return static_cast<u32>(std::clamp(v * (max / 255.0f) + 0.5f, 0.0f, max));
    };
    return field(c.x, 31) << 11 | field(c.y, 63) << 5 | field(c.z, 31);
}

/// The colours of a block that count: those of texels that are not transparent.
struct ColorSet {
    std::array<Vec, 16> colors;
    std::array<u32, 16> texel;
    u32 count = 0;
};

struct Fit {
    u32 c0 = 0, c1 = 0;
    u32 indices = 0;
    i32 error = 0;
};

/// The best index for each colour of the set between the given end points.
Fit MatchIndices(const ColorSet& set, u32 c0, u32 c1, bool four) {
    if (four == (c0 < c1)) std::swap(c0, c1);
    Fit fit{c0, c1, 0, 0};
    const auto table = Colors(c0, c1, four && c0 != c1);
    const u32 choices = four && c0 != c1 ? 4 : 3;
    for (u32 i = 0; i < set.count; ++i) {
        i32 best = INT32_MAX;
        u32 index = 0;
        for (u32 k = 0; k < choices; ++k) {
            const i32 r = static_cast<i32>(set.colors[i].x) - table[k].r;
            const i32 g = static_cast<i32>(set.colors[i].y) - table[k].g;
            const i32 b = static_cast<i32>(set.colors[i].z) - table[k].b;
            const i32 error = r * r + g * g + b * b;
            if (error < best) best = error, index = k;
        }
        fit.indices |= index << (2 * set.texel[i]);
        fit.error += best;
    }
    return fit;
}

/// End points on the principal axis of the colours.
void PrincipalEnds(const ColorSet& set, Vec* low, Vec* high) {
    Vec mean{0, 0, 0};
    for (u32 i = 0; i < set.count; ++i) mean = mean + set.colors[i];
    mean = mean * (1.0f / static_cast<f32>(set.count));
    f32 xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
    for (u32 i = 0; i < set.count; ++i) {
        const Vec d = set.colors[i] - mean;
        xx += d.x * d.x, xy += d.x * d.y, xz += d.x * d.z;
        yy += d.y * d.y, yz += d.y * d.z, zz += d.z * d.z;
    }
    // The column of the largest variance is a start that the axis is never normal to.
    Vec axis = xx >= yy && xx >= zz ? Vec{xx, xy, xz} : yy >= zz ? Vec{xy, yy, yz} : Vec{xz, yz, zz};
    for (int step = 0; step < 4; ++step) {
        const f32 length = std::sqrt(Dot(axis, axis));
        if (length < 1e-6f) break;
        axis = axis * (1.0f / length);
        axis = {xx * axis.x + xy * axis.y + xz * axis.z, xy * axis.x + yy * axis.y + yz * axis.z,
                xz * axis.x + yz * axis.y + zz * axis.z};
    }
    const f32 length = std::sqrt(Dot(axis, axis));
    *low = *high = mean;
    if (length < 1e-6f) return;
    axis = axis * (1.0f / length);
    f32 least = 0, most = 0;
    for (u32 i = 0; i < set.count; ++i) {
        const f32 along = Dot(set.colors[i] - mean, axis);
        least = std::min(least, along);
        most = std::max(most, along);
    }
    *low = mean + axis * least;
    *high = mean + axis * most;
}

/// Least squares end points for the indices that a first fit chose. False when all texels took one end.
bool RefineEnds(const ColorSet& set, const Fit& fit, bool four, Vec* a, Vec* b) {
    constexpr f32 kFour[4] = {1.0f, 0.0f, 2.0f / 3.0f, 1.0f / 3.0f};
    constexpr f32 kThree[4] = {1.0f, 0.0f, 0.5f, 0.0f};
    f32 aa = 0, ab = 0, bb = 0;
    Vec ax{0, 0, 0}, bx{0, 0, 0};
    for (u32 i = 0; i < set.count; ++i) {
        const f32 s = (four ? kFour : kThree)[fit.indices >> (2 * set.texel[i]) & 3];
        const f32 t = 1.0f - s;
        aa += s * s, ab += s * t, bb += t * t;
        ax = ax + set.colors[i] * s;
        bx = bx + set.colors[i] * t;
    }
    const f32 det = aa * bb - ab * ab;
    if (det < 1e-4f) return false;
    *a = (ax * bb - bx * ab) * (1.0f / det);
    *b = (bx * aa - ax * ab) * (1.0f / det);
    return true;
}

void EncodeColors(const Block& block, bool dxt1, u8* out) {
    ColorSet set;
    u32 transparent = 0;
    for (u32 i = 0; i < 16; ++i) {
        if (dxt1 && block[i] >> 24 < 128) {
            transparent |= 3u << (2 * i);
            continue;
        }
        const Color c = ToColor(block[i]);
        set.colors[set.count] = {static_cast<f32>(c.r), static_cast<f32>(c.g), static_cast<f32>(c.b)};
        set.texel[set.count++] = i;
    }
    const bool four = transparent == 0;
    Fit fit;
    if (set.count) {
        Vec low, high;
        PrincipalEnds(set, &low, &high);
        fit = MatchIndices(set, To565(high), To565(low), four);
        Vec a, b;
        if (fit.error && RefineEnds(set, fit, four, &a, &b)) {
            const Fit second = MatchIndices(set, To565(a), To565(b), four);
            if (second.error < fit.error) fit = second;
        }
    }
    Store16(out, fit.c0);
    Store16(out + 2, fit.c1);
    const u32 indices = fit.indices | transparent;
    for (u32 i = 0; i < 4; ++i) out[4 + i] = static_cast<u8>(indices >> (8 * i));
}

/// Squared error of the best indices for the end points, and those indices.
i32 MatchAlphas(const Block& block, u32 a0, u32 a1, u64* indices) {
    const auto table = Alphas(a0, a1);
    i32 error = 0;
    *indices = 0;
    for (u32 i = 0; i < 16; ++i) {
        const i32 alpha = static_cast<i32>(block[i] >> 24);
        i32 best = INT32_MAX;
        u64 index = 0;
        for (u32 k = 0; k < 8; ++k) {
            const i32 d = alpha - table[k];
            if (d * d < best) best = d * d, index = k;
        }
        *indices |= index << (3 * i);
        error += best;
    }
    return error;
}

void EncodeAlphas(const Block& block, u8* out) {
    u32 low = 255, high = 0, inner_low = 255, inner_high = 0;
    for (u32 texel : block) {
        const u32 a = texel >> 24;
        low = std::min(low, a);
        high = std::max(high, a);
        if (a != 0 && a != 255) {
            inner_low = std::min(inner_low, a);
            inner_high = std::max(inner_high, a);
        }
    }
    u64 indices = 0;
    u32 a0 = high, a1 = low;
    const i32 error = MatchAlphas(block, a0, a1, &indices);
    if (error && inner_low <= inner_high) {
        // Six steps between the inner values leave 0 and 255 to be said exactly.
        u64 second = 0;
        if (MatchAlphas(block, inner_low, inner_high, &second) < error) {
            a0 = inner_low, a1 = inner_high, indices = second;
        }
    }
    out[0] = static_cast<u8>(a0);
    out[1] = static_cast<u8>(a1);
    for (u32 i = 0; i < 6; ++i) out[2 + i] = static_cast<u8>(indices >> (8 * i));
}

void EncodeBlock(D3DFORMAT format, const Block& block, u8* out) {
    if (format == D3DFMT_DXT1) return EncodeColors(block, true, out);
    EncodeColors(block, false, out + 8);
    if (format == D3DFMT_DXT2 || format == D3DFMT_DXT3) {
        std::memset(out, 0, 8);
        for (u32 i = 0; i < 16; ++i) {
            const u32 alpha = ((block[i] >> 24) * 15 + 127) / 255;
            out[i / 2] = static_cast<u8>(out[i / 2] | alpha << (i % 2 * 4));
        }
        return;
    }
    EncodeAlphas(block, out);
}

}  // namespace

void DecodeDxt(D3DFORMAT format, const u8* blocks, u32 pitch, u32 width, u32 height, u32* out) {
    const u32 bytes = format == D3DFMT_DXT1 ? 8 : 16;
    Block block;
    for (u32 y = 0; y < height; y += 4, blocks += pitch) {
        const u32 rows = std::min(4u, height - y);
        for (u32 x = 0; x < width; x += 4) {
            DecodeBlock(format, blocks + x / 4 * bytes, &block);
            const u32 columns = std::min(4u, width - x);
            for (u32 row = 0; row < rows; ++row) {
                std::copy_n(&block[row * 4], columns, out + std::size_t{y + row} * width + x);
            }
        }
    }
}

void EncodeDxt(D3DFORMAT format, const u32* texels, u32 width, u32 height, u8* blocks, u32 pitch) {
    const u32 bytes = format == D3DFMT_DXT1 ? 8 : 16;
    Block block;
    for (u32 y = 0; y < height; y += 4, blocks += pitch) {
        for (u32 x = 0; x < width; x += 4) {
            for (u32 i = 0; i < 16; ++i) {
                const u32 row = std::min(y + i / 4, height - 1), column = std::min(x + i % 4, width - 1);
                block[i] = texels[std::size_t{row} * width + column];
            }
            EncodeBlock(format, block, blocks + x / 4 * bytes);
        }
    }
}

}  // namespace fxutil
