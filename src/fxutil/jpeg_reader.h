// .jpg through libjpeg: baseline and progressive, grey, colour and four inks. Stands apart from everything
// that includes Direct3D, since libjpeg's header and the Windows headers define the same names.
#pragma once

#include <span>
#include <vector>

#include "platform/types.h"

namespace fxutil {

/// `channels` 1 is grey, 3 blue, green, red; rows from the top without padding.
struct JpegPicture {
    u32 width, height, channels;
    std::vector<u8> rows;
};

/// False for bytes that cannot be decoded, a side above `max_size`, or more texels than the bytes can stand
/// for. With `header_only` the rows stay empty.
bool ReadJpeg(std::span<const u8> file, u32 max_size, bool header_only, JpegPicture* picture);

}  // namespace fxutil
