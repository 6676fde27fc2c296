// How the texels of each Direct3D format are laid out, and rows of them converted to and from working
// colours.
#pragma once

#include <cstddef>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace fxutil {

/// A working colour for formats of more than 8 bits a channel; nominally 0 to 1, not clamped.
struct Rgba {
    f32 r, g, b, a;
};

/// Where one channel lies in a texel: `width` bits from bit `shift`. Width 0: the format lacks it.
struct ChannelBits {
    u8 shift, width;
};

/// Meaning of the channels of a format.
enum class TexelKind : u8 {
    kUnsigned,   ///< fractions of the largest value
    kLuminance,  ///< as above, red standing for red, green and blue
    kSigned,     ///< two's complement, -1 to 1
    kPalette,    ///< red is an index into 256 colours
    kFloat,      ///< 16 or 32 bit floats
    kBlock,      ///< 4 x 4 texels in `bits` bits
};

struct TexelFormat {
    D3DFORMAT format;
    TexelKind kind;
    u8 bits;  ///< of a texel, or of a block
    ChannelBits r, g, b, a;

    bool HasAlpha() const { return a.width != 0 || kind == TexelKind::kPalette; }
    /// No channel has more than 8 bits, so that working colours 0xAARRGGBB lose nothing.
    bool IsNarrow() const;
};

/// Null for a format that no conversion is known for (depth formats, video formats).
const TexelFormat* FindTexelFormat(D3DFORMAT format);

/// Bytes of a row of `width` texels, of a row of blocks for a block format. 0 for an unknown format.
u32 RowBytes(D3DFORMAT format, u32 width);
/// Rows, or rows of blocks, in `height` texels.
u32 RowCount(D3DFORMAT format, u32 height);
/// Bytes of a tightly packed level.
std::size_t LevelBytes(D3DFORMAT format, u32 width, u32 height);

/// `count` texels at `source` become 0xAARRGGBB. Any format but kBlock; channels of more than 8 bits are
/// rounded. `palette` holds 256 colours 0xAARRGGBB, needed for kPalette alone. A channel that the format
/// lacks reads 1.
void ReadTexels(const TexelFormat& format, const u8* source, const u32* palette, u32 count, u32* out);
void ReadTexels(const TexelFormat& format, const u8* source, const u32* palette, u32 count, Rgba* out);

/// The way back. `dither` spreads what rounding loses by an ordered 4 x 4 pattern, for which `y` gives the
/// row; the texels start at column 0. Any format but kBlock and kPalette.
void WriteTexels(const TexelFormat& format, const u32* colors, u32 count, bool dither, u32 y, u8* out);
void WriteTexels(const TexelFormat& format, const Rgba* colors, u32 count, bool dither, u32 y, u8* out);

/// Each channel clamped and rounded to 8 bits, and back.
u32 PackColor(const Rgba& c);
Rgba UnpackColor(u32 argb);

f32 HalfToFloat(u16 half);
u16 FloatToHalf(f32 value);

}  // namespace fxutil
