#include <utility>

#include "fxutil/image_decoders.h"
#include "fxutil/jpeg_reader.h"

namespace fxutil {

bool DecodeJpeg(Bytes file, bool header_only, Image* image) {
    JpegPicture picture{};
    if (!ReadJpeg(file, kMaxImageSize, header_only, &picture)) return false;
    SetInfo(image, picture.width, picture.height, picture.channels == 1 ? D3DFMT_L8 : D3DFMT_R8G8B8,
            D3DXIFF_JPG);
    image->pixels = std::move(picture.rows);
    return true;
}

}  // namespace fxutil
