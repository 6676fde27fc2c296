// The decoders behind DecodeImage, one for each kind of file. With `header_only` a decoder fills `info` and
// stops.
#pragma once

#include <cstring>
#include <span>

#include "fxutil/image.h"

namespace fxutil {

using Bytes = std::span<const u8>;

/// .bmp with its file header, .dib with or without.
bool DecodeBitmap(Bytes file, bool header_only, Image* image);
bool DecodeTarga(Bytes file, bool header_only, Image* image);
bool DecodeDds(Bytes file, bool header_only, Image* image);
bool DecodePng(Bytes file, bool header_only, Image* image);
bool DecodeJpeg(Bytes file, bool header_only, Image* image);

/// True when a picture of this size is sane at all and `bytes` of compressed data may stand for it, `ratio`
/// being the most texels that a byte of it can say. A small picture always passes.
inline bool IsPlausible(u64 width, u64 height, u64 bytes, u64 ratio) {
    if (width == 0 || height == 0 || width > kMaxImageSize || height > kMaxImageSize) return false;
    return width * height <= bytes * ratio + 4096;
}

/// Fills `info` for a 2D image of one level.
inline void SetInfo(Image* image, u32 width, u32 height, D3DFORMAT format, D3DXIMAGE_FILEFORMAT file_format) {
    image->info = {width, height, 1, 1, format, D3DRTYPE_TEXTURE, file_format};
}

inline u16 Read16(const u8* p) { return static_cast<u16>(p[0] | p[1] << 8); }
inline u32 Read32(const u8* p) { return u32{p[0]} | u32{p[1]} << 8 | u32{p[2]} << 16 | u32{p[3]} << 24; }

}  // namespace fxutil
