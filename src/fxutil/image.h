// Pictures out of the bytes of an image file: .bmp, .dib, .tga, .dds, .png and .jpg.
//
// The decoders take any bytes. They end with a picture or with false, never read past the bytes given, and
// never allocate more than the bytes can account for: dimensions end at kMaxImageSize, an uncompressed file
// must hold the pixels that its header tells of, and a compressed one is refused when its pixels would be
// more than the format's densest code could have said in that many bytes.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

/// The kinds of image file, with the published values.
enum D3DXIMAGE_FILEFORMAT : u32 {
    D3DXIFF_BMP = 0,
    D3DXIFF_JPG = 1,
    D3DXIFF_TGA = 2,
    D3DXIFF_PNG = 3,
    D3DXIFF_DDS = 4,
    D3DXIFF_PPM = 5,
    D3DXIFF_DIB = 6,
    D3DXIFF_HDR = 7,
    D3DXIFF_PFM = 8,
    D3DXIFF_FORCE_DWORD = 0x7fffffff
};

/// What an image file says of itself. `Format` is the Direct3D format nearest to what the file stores.
struct D3DXIMAGE_INFO {
    UINT Width;
    UINT Height;
    UINT Depth;
    UINT MipLevels;
    D3DFORMAT Format;
    D3DRESOURCETYPE ResourceType;
    D3DXIMAGE_FILEFORMAT ImageFileFormat;
};

namespace fxutil {

/// The widest and highest picture that is decoded.
inline constexpr u32 kMaxImageSize = 16384;

/// One level of one face: rows from the top, `pitch` bytes apart (rows of 4 x 4 blocks for a DXT format).
struct ImageLevel {
    const u8* data;
    u32 width, height, pitch;
};

/// A decoded picture in the format that D3DXIMAGE_INFO names. Faces stand in the order of D3DCUBEMAP_FACES,
/// each with all its levels, tightly packed.
struct Image {
    D3DXIMAGE_INFO info;
    std::vector<u8> pixels;
    std::vector<u32> palette;  ///< 256 entries 0xAARRGGBB for D3DFMT_P8 and D3DFMT_A8P8, else empty

    u32 Faces() const { return info.ResourceType == D3DRTYPE_CUBETEXTURE ? 6u : 1u; }
    /// `face` below Faces(), `level` below info.MipLevels.
    ImageLevel Level(u32 face, u32 level) const;
};

/// Reads the header alone. False for bytes that are no known image.
bool ReadImageInfo(std::span<const u8> file, D3DXIMAGE_INFO* info);

/// Decodes the whole file. On false `image` holds nothing of use.
bool DecodeImage(std::span<const u8> file, Image* image);

}  // namespace fxutil
