// The block compressed formats DXT1 to DXT5: 4 x 4 texels in 8 or 16 bytes.
#pragma once

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace fxutil {

/// Unpacks a level of `width` x `height` texels to 0xAARRGGBB, row by row from the top. `blocks` holds the
/// rows of blocks `pitch` bytes apart. DXT2 and DXT4 colours stay multiplied by alpha, as they are stored.
void DecodeDxt(D3DFORMAT format, const u8* blocks, u32 pitch, u32 width, u32 height, u32* out);

/// Packs a level. Sizes that are no multiple of four repeat their last row and column. In DXT1 an alpha below
/// 128 becomes transparent.
void EncodeDxt(D3DFORMAT format, const u32* texels, u32 width, u32 height, u8* blocks, u32 pitch);

}  // namespace fxutil
