#include "fxutil/image.h"

#include <algorithm>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

bool Decode(Bytes file, bool header_only, Image* image) {
    static constexpr u8 kPng[] = {0x89, 'P', 'N', 'G'};
    static constexpr u8 kDds[] = {'D', 'D', 'S', ' '};
    static constexpr u8 kJpeg[] = {0xff, 0xd8, 0xff};
    static constexpr u8 kBmp[] = {'B', 'M'};
    const auto starts = [&](Bytes magic) {
        return file.size() >= magic.size() && std::equal(magic.begin(), magic.end(), file.begin());
    };
    image->pixels.clear();
    image->palette.clear();
    if (starts(kPng)) return DecodePng(file, header_only, image);
    if (starts(kDds)) return DecodeDds(file, header_only, image);
    if (starts(kJpeg)) return DecodeJpeg(file, header_only, image);
    if (starts(kBmp)) return DecodeBitmap(file, header_only, image);
    // A bare .dib begins with the size of its header, a .tga with nothing at all to know it by.
    return DecodeBitmap(file, header_only, image) || DecodeTarga(file, header_only, image);
}

}  // namespace

ImageLevel Image::Level(u32 face, u32 level) const {
    std::size_t face_bytes = 0, before = 0;
    u32 w = info.Width, h = info.Height;
    ImageLevel result{};
    for (u32 i = 0; i < info.MipLevels; ++i) {
        if (i == level) {
            result = {nullptr, w, h, RowBytes(info.Format, w)};
            before = face_bytes;
        }
        face_bytes += LevelBytes(info.Format, w, h);
        w = std::max(w / 2, 1u);
        h = std::max(h / 2, 1u);
    }
    result.data = pixels.data() + face * face_bytes + before;
    return result;
}

bool ReadImageInfo(std::span<const u8> file, D3DXIMAGE_INFO* info) {
    Image image{};
    if (!Decode(file, true, &image)) return false;
    *info = image.info;
    return true;
}

bool DecodeImage(std::span<const u8> file, Image* image) { return Decode(file, false, image); }

}  // namespace fxutil
