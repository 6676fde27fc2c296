// Truevision .tga: true colour, grey and palette pictures, plain or run-length coded, from any corner.
#include <algorithm>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

constexpr u32 kHeader = 18;
constexpr u8 kPalette = 1, kColor = 2, kGrey = 3, kRuns = 8;

struct TargaHeader {
    u8 type;  ///< without kRuns
    bool runs;
    u32 width, height;
    u32 bits;
    bool right_to_left, top_down;
    u32 alpha_bits;
    u32 palette_first, palette_count, palette_bits;
    Bytes palette, pixels;
};

bool ReadHeader(Bytes file, TargaHeader* h) {
    if (file.size() < kHeader) return false;
    const u8* p = file.data();
    h->type = p[2] & 7;
    h->runs = (p[2] & kRuns) != 0;
    if (p[1] > 1 || p[2] > 11 || h->type < kPalette || h->type > kGrey) return false;
    h->palette_first = Read16(p + 3);
    h->palette_count = p[1] ? Read16(p + 5) : 0;
    h->palette_bits = p[7];
    h->width = Read16(p + 12);
    h->height = Read16(p + 14);
    h->bits = p[16];
    h->alpha_bits = p[17] & 15;
    h->right_to_left = (p[17] & 16) != 0;
    h->top_down = (p[17] & 32) != 0;
    if (p[17] & 0xc0) return false;  // interleaved: never seen in use
    if (h->width == 0 || h->height == 0 || h->width > kMaxImageSize || h->height > kMaxImageSize)
        return false;
    switch (h->type) {
        case kColor:
            if (h->bits != 15 && h->bits != 16 && h->bits != 24 && h->bits != 32) return false;
            break;
        case kGrey:
            if (h->bits != 8 && h->bits != 16) return false;
            break;
        default:
            if (h->bits != 8 || p[1] != 1) return false;
            break;
    }
    if (p[1] && h->palette_bits != 15 && h->palette_bits != 16 && h->palette_bits != 24 &&
        h->palette_bits != 32) {
        return false;
    }
    const std::size_t palette_bytes = std::size_t{h->palette_count} * ((h->palette_bits + 7) / 8);
    const std::size_t palette_at = std::size_t{kHeader} + p[0];
    if (palette_at + palette_bytes > file.size()) return false;
    h->palette = file.subspan(palette_at, palette_bytes);
    h->pixels = file.subspan(palette_at + palette_bytes);
    return true;
}

D3DFORMAT FormatOf(const TargaHeader& h) {
    if (h.type == kPalette) return D3DFMT_P8;
    if (h.type == kGrey) return h.bits == 8 ? D3DFMT_L8 : D3DFMT_A8L8;
    if (h.bits == 24) return D3DFMT_R8G8B8;
    if (h.bits == 32) return D3DFMT_A8R8G8B8;
    return h.bits == 16 && h.alpha_bits ? D3DFMT_A1R5G5B5 : D3DFMT_X1R5G5B5;
}

void ReadPalette(const TargaHeader& h, std::vector<u32>* palette) {
    palette->assign(256, 0xff000000u);
    const D3DFORMAT format = h.palette_bits == 24   ? D3DFMT_R8G8B8
                             : h.palette_bits == 32 ? (h.alpha_bits ? D3DFMT_A8R8G8B8 : D3DFMT_X8R8G8B8)
                                                    : D3DFMT_X1R5G5B5;
    const u32 count = std::min(h.palette_count, 256u - std::min(h.palette_first, 256u));
    ReadTexels(*FindTexelFormat(format), h.palette.data(), nullptr, count,
               palette->data() + std::min(h.palette_first, 256u));
}

/// Packets of up to 128 texels. A packet may run on from one row to the next.
bool DecodeRuns(Bytes in, u32 bytes, std::vector<u8>* out) {
    std::size_t at = 0, to = 0;
    while (to < out->size()) {
        if (at >= in.size()) return false;
        const u8 packet = in[at++];
        const std::size_t count = std::min<std::size_t>((packet & 127u) + 1, (out->size() - to) / bytes);
        const std::size_t stored = packet & 128 ? bytes : count * bytes;
        if (stored > in.size() - at) return false;
        if (packet & 128) {
            for (std::size_t i = 0; i < count; ++i) std::memcpy(&(*out)[to + i * bytes], &in[at], bytes);
        } else {
            std::memcpy(&(*out)[to], &in[at], stored);
        }
        at += stored;
        to += count * bytes;
    }
    return true;
}

void MirrorRow(u8* row, u32 width, u32 bytes) {
    for (u32 left = 0, right = width - 1; left < right; ++left, --right) {
        std::swap_ranges(row + left * bytes, row + (left + 1) * bytes, row + right * bytes);
    }
}

}  // namespace

bool DecodeTarga(Bytes file, bool header_only, Image* image) {
    TargaHeader h;
    if (!ReadHeader(file, &h)) return false;
    const u32 bytes = (h.bits + 7) / 8;
    const std::size_t row_bytes = std::size_t{h.width} * bytes;
    if (h.runs) {
        if (!IsPlausible(h.width, h.height, h.pixels.size(), 128)) return false;
    } else if (row_bytes * h.height > h.pixels.size()) {
        return false;
    }
    SetInfo(image, h.width, h.height, FormatOf(h), D3DXIFF_TGA);
    if (header_only) return true;

    if (h.type == kPalette) ReadPalette(h, &image->palette);
    image->pixels.resize(row_bytes * h.height);
    if (h.runs) {
        if (!DecodeRuns(h.pixels, bytes, &image->pixels)) return false;
    } else {
        std::memcpy(image->pixels.data(), h.pixels.data(), image->pixels.size());
    }
    u8* const rows = image->pixels.data();
    if (!h.top_down) {
        for (u32 y = 0; y < h.height / 2; ++y) {
            std::swap_ranges(rows + y * row_bytes, rows + (y + 1) * row_bytes,
                             rows + (h.height - 1 - y) * row_bytes);
        }
    }
    if (h.right_to_left) {
        for (u32 y = 0; y < h.height; ++y) MirrorRow(rows + y * row_bytes, h.width, bytes);
    }
    return true;
}

}  // namespace fxutil
