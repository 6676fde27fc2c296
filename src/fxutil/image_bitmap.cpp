// Windows bitmaps: .bmp, and .dib, which is the same with or without its file header.
#include <algorithm>
#include <array>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

constexpr u32 kFileHeader = 14;
constexpr u32 kRgb = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3, kAlphaBitFields = 6;

struct BitmapHeader {
    u32 width, height;
    bool top_down;
    u32 bits, compression;
    u32 masks[4];  ///< red, green, blue, alpha
    Bytes palette;
    u32 palette_entry;  ///< bytes of one
    Bytes pixels;
};

/// False for anything that is not a bitmap that can be decoded.
bool ReadHeader(Bytes file, bool with_file_header, BitmapHeader* h) {
    const u32 base = with_file_header ? kFileHeader : 0;
    if (file.size() < base + 12) return false;
    const Bytes info = file.subspan(base);
    const u32 size = Read32(info.data());
    u32 colors = 0;
    u64 end = size;
    if (size == 12) {
        h->width = Read16(&info[4]);
        h->height = Read16(&info[6]);
        h->top_down = false;
        if (Read16(&info[8]) != 1) return false;
        h->bits = Read16(&info[10]);
        h->compression = kRgb;
        h->palette_entry = 3;
    } else {
        if (size < 40 || size > 1024 || info.size() < size) return false;
        h->width = Read32(&info[4]);
        const i32 height = static_cast<i32>(Read32(&info[8]));
        h->top_down = height < 0;
        h->height = h->top_down ? 0u - static_cast<u32>(height) : static_cast<u32>(height);
        if (Read16(&info[12]) != 1) return false;
        h->bits = Read16(&info[14]);
        h->compression = Read32(&info[16]);
        colors = Read32(&info[32]);
        h->palette_entry = 4;
    }
    if (h->width == 0 || h->height == 0 || h->width > kMaxImageSize || h->height > kMaxImageSize)
        return false;

    std::fill(std::begin(h->masks), std::end(h->masks), 0u);
    switch (h->compression) {
        case kRgb:
            if (h->bits == 16) std::copy_n(std::array{0x7c00u, 0x3e0u, 0x1fu}.data(), 3, h->masks);
            if (h->bits == 32) std::copy_n(std::array{0xff0000u, 0xff00u, 0xffu}.data(), 3, h->masks);
            break;
        case kRle8:
        case kRle4:
            if (h->bits != (h->compression == kRle8 ? 8u : 4u) || h->top_down) return false;
            break;
        case kBitFields:
        case kAlphaBitFields: {
            if (h->bits != 16 && h->bits != 32) return false;
            // The larger headers have the masks within, the plain one has them behind itself.
            const u32 count = size >= 56 || h->compression == kAlphaBitFields ? 4 : 3;
            if (size < 52) end += count * 4;
            if (info.size() < 40 + count * 4) return false;
            for (u32 i = 0; i < count; ++i) h->masks[i] = Read32(&info[40 + i * 4]);
            break;
        }
        default:
            return false;
    }
    switch (h->bits) {
        case 1:
        case 4:
        case 8:
            if (colors == 0 || colors > 1u << h->bits) colors = 1u << h->bits;
            break;
        case 16:
        case 24:
        case 32:
            colors = size == 12 ? 0 : std::min(colors, 256u);
            break;
        default:
            return false;
    }

    end += base;
    if (end > file.size()) return false;
    u64 pixels = end + u64{colors} * h->palette_entry;
    if (with_file_header) {
        const u32 offset = Read32(&file[10]);
        if (offset != 0) pixels = offset;
    }
    if (pixels > file.size()) return false;
    const u64 palette_end = std::min<u64>(end + u64{colors} * h->palette_entry, file.size());
    h->palette = file.subspan(static_cast<std::size_t>(end), static_cast<std::size_t>(palette_end - end));
    h->pixels = file.subspan(static_cast<std::size_t>(pixels));
    return true;
}

/// Runs of one byte or nibble. Texels that no run reaches stay at index 0.
bool DecodeRuns(const BitmapHeader& h, std::vector<u8>* out) {
    const bool nibbles = h.compression == kRle4;
    const Bytes in = h.pixels;
    std::size_t at = 0;
    u32 x = 0, y = 0;  // rows count from the bottom
    const auto put = [&](u8 index) {
        if (x < h.width && y < h.height) (*out)[std::size_t{h.height - 1 - y} * h.width + x] = index;
        ++x;
    };
    while (at + 2 <= in.size()) {
        const u32 count = in[at], value = in[at + 1];
        at += 2;
        if (count) {
            for (u32 i = 0; i < count; ++i) {
                put(static_cast<u8>(!nibbles ? value : i & 1 ? value & 15 : value >> 4));
            }
        } else if (value == 0) {
            x = 0;
            ++y;
        } else if (value == 1) {
            return true;
        } else if (value == 2) {
            if (at + 2 > in.size()) return false;
            x += in[at];
            y += in[at + 1];
            at += 2;
        } else {
            const u32 bytes = nibbles ? (value + 1) / 2 : value;
            if (at + bytes > in.size()) return false;
            for (u32 i = 0; i < value; ++i) {
                put(!nibbles ? in[at + i]
                             : static_cast<u8>(i & 1 ? in[at + i / 2] & 15 : in[at + i / 2] >> 4));
            }
            at += (bytes + 1) & ~1u;
        }
        // Past the last row nothing more can be drawn.
        if (y >= h.height) return true;
        x = std::min(x, kMaxImageSize);
    }
    return y + 1 >= h.height && x >= h.width;
}

/// A mask as a channel; false when its bits are not in one piece.
bool MaskToChannel(u32 mask, ChannelBits* channel) {
    *channel = {};
    if (mask == 0) return true;
    while (!(mask & 1)) {
        mask >>= 1;
        ++channel->shift;
    }
    while (mask & 1) {
        mask >>= 1;
        ++channel->width;
    }
    return mask == 0;
}

/// The Direct3D format of a bitmap, D3DFMT_UNKNOWN for masks that no format has.
D3DFORMAT FormatOf(const BitmapHeader& h) {
    if (h.bits <= 8) return D3DFMT_P8;
    if (h.bits == 24) return D3DFMT_R8G8B8;
    struct Known {
        u32 bits, masks[4];
        D3DFORMAT format;
    };
    static constexpr Known kKnown[] = {
        {16, {0x7c00, 0x3e0, 0x1f, 0}, D3DFMT_X1R5G5B5},
        {16, {0x7c00, 0x3e0, 0x1f, 0x8000}, D3DFMT_A1R5G5B5},
        {16, {0xf800, 0x7e0, 0x1f, 0}, D3DFMT_R5G6B5},
        {16, {0xf00, 0xf0, 0xf, 0}, D3DFMT_X4R4G4B4},
        {16, {0xf00, 0xf0, 0xf, 0xf000}, D3DFMT_A4R4G4B4},
        {32, {0xff0000, 0xff00, 0xff, 0}, D3DFMT_X8R8G8B8},
        {32, {0xff0000, 0xff00, 0xff, 0xff000000}, D3DFMT_A8R8G8B8},
        {32, {0xff, 0xff00, 0xff0000, 0}, D3DFMT_X8B8G8R8},
        {32, {0xff, 0xff00, 0xff0000, 0xff000000}, D3DFMT_A8B8G8R8},
    };
    for (const Known& known : kKnown) {
        if (known.bits == h.bits && std::equal(known.masks, known.masks + 4, h.masks)) return known.format;
    }
    return D3DFMT_UNKNOWN;
}

bool HasFourthByte(const BitmapHeader& h) {
    const std::size_t end = std::min(h.pixels.size(), std::size_t{h.width} * h.height * 4);
    for (std::size_t i = 3; i < end; i += 4) {
        if (h.pixels[i] != 0) return true;
    }
    return false;
}

void UnpackIndices(const u8* row, u32 bits, u32 width, u8* out) {
    const u32 per_byte = 8 / bits, mask = (1u << bits) - 1;
    for (u32 x = 0; x < width; ++x) {
        out[x] = static_cast<u8>(row[x / per_byte] >> (8 - bits - x % per_byte * bits) & mask);
    }
}

/// Any masks, to A8R8G8B8. Masks wider than 8 bits give their upper ones.
bool ConvertMasked(const BitmapHeader& h, const u8* row, u8* out) {
    ChannelBits channels[4];
    for (u32 i = 0; i < 4; ++i) {
        if (!MaskToChannel(h.masks[i], &channels[i])) return false;
    }
    const u32 bytes = h.bits / 8;
    for (u32 x = 0; x < h.width; ++x, row += bytes) {
        const u32 texel = bytes == 2 ? Read16(row) : Read32(row);
        u32 value[4];
        for (u32 i = 0; i < 4; ++i) {
            const u64 max = (u64{1} << channels[i].width) - 1;
            const u64 field = texel >> channels[i].shift & max;
            value[i] = max ? static_cast<u32>((field * 255 + max / 2) / max) : i == 3 ? 255u : 0u;
        }
        out[x * 4] = static_cast<u8>(value[2]);
        out[x * 4 + 1] = static_cast<u8>(value[1]);
        out[x * 4 + 2] = static_cast<u8>(value[0]);
        out[x * 4 + 3] = static_cast<u8>(value[3]);
    }
    return true;
}

}  // namespace

bool DecodeBitmap(Bytes file, bool header_only, Image* image) {
    const bool with_file_header = file.size() >= 2 && file[0] == 'B' && file[1] == 'M';
    BitmapHeader h;
    if (!ReadHeader(file, with_file_header, &h)) return false;
    D3DFORMAT stored = FormatOf(h);
    // A plain 32-bit bitmap says nothing of alpha. Writers that mean none leave the fourth byte zero.
    if (h.bits == 32 && h.compression == kRgb && HasFourthByte(h)) stored = D3DFMT_A8R8G8B8;
    const D3DFORMAT format = stored == D3DFMT_UNKNOWN ? D3DFMT_A8R8G8B8 : stored;
    SetInfo(image, h.width, h.height, format, with_file_header ? D3DXIFF_BMP : D3DXIFF_DIB);

    const bool runs = h.compression == kRle8 || h.compression == kRle4;
    const u64 stride = (u64{h.width} * h.bits + 31) / 32 * 4;
    if (runs ? !IsPlausible(h.width, h.height, h.pixels.size(), 256) : stride * h.height > h.pixels.size()) {
        return false;
    }
    if (header_only) return true;

    if (format == D3DFMT_P8) {
        image->palette.assign(256, 0xff000000u);
        for (u32 i = 0; i < h.palette.size() / h.palette_entry; ++i) {
            const u8* entry = &h.palette[i * h.palette_entry];
            image->palette[i] = 0xff000000u | u32{entry[2]} << 16 | u32{entry[1]} << 8 | entry[0];
        }
    }
    const u32 row_bytes = RowBytes(format, h.width);
    image->pixels.resize(std::size_t{row_bytes} * h.height);
    if (runs) return DecodeRuns(h, &image->pixels);
    for (u32 y = 0; y < h.height; ++y) {
        const u8* row = &h.pixels[static_cast<std::size_t>(stride) * (h.top_down ? y : h.height - 1 - y)];
        u8* out = &image->pixels[std::size_t{row_bytes} * y];
        if (h.bits < 8) {
            UnpackIndices(row, h.bits, h.width, out);
        } else if (stored != D3DFMT_UNKNOWN) {
            std::memcpy(out, row, row_bytes);
        } else if (!ConvertMasked(h, row, out)) {
            return false;
        }
    }
    return true;
}

}  // namespace fxutil
