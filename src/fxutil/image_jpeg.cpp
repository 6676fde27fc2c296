// .jpg through libjpeg: baseline and progressive, grey, colour and four-colour.
#include <cstddef>
#include <cstdio>
// libjpeg's header needs the two above before it.
#include <jpeglib.h>

#include <csetjmp>
#include <utility>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

// A flat block of 64 texels takes a bit at the very least; with thinned colour planes that makes this many.
constexpr u64 kMostTexelsPerByte = 1024;
// A progressive file needs about ten; each costs a pass over the whole picture.
constexpr int kMostScans = 100;

/// Everything that lives across libjpeg's jumps; see the note in the PNG reader.
struct Reader {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf jump;
    bool created = false;
    Bytes file;
    bool header_only = false;
    Image* image = nullptr;
    std::vector<u8> row;

    ~Reader() {
        if (created) jpeg_destroy_decompress(&jpeg);
    }
};

[[noreturn]] void OnError(j_common_ptr jpeg) {
    std::longjmp(static_cast<Reader*>(jpeg->client_data)->jump, 1);
}
void OnMessage(j_common_ptr) {}

void OnProgress(j_common_ptr common) {
    auto* jpeg = reinterpret_cast<j_decompress_ptr>(common);
    if (jpeg->input_scan_number > kMostScans) OnError(common);
}

/// Four inks to blue, green, red. Files by the usual programs store the inks inverted: 255 is none.
void FromInks(const u8* in, bool inverted, u32 width, u8* out) {
    const u32 flip = inverted ? 0 : 255;
    for (u32 x = 0; x < width; ++x, in += 4, out += 3) {
        const u32 key = in[3] ^ flip;
        for (u32 i = 0; i < 3; ++i) out[2 - i] = static_cast<u8>(((in[i] ^ flip) * key + 127) / 255);
    }
}

void SwapRedBlue(u8* row, u32 width) {
    for (u32 x = 0; x < width; ++x) std::swap(row[x * 3], row[x * 3 + 2]);
}

bool Read(Reader* reader) {
    jpeg_decompress_struct& jpeg = reader->jpeg;
    if (setjmp(reader->jump)) return false;
    jpeg_create_decompress(&jpeg);
    reader->created = true;
    jpeg.client_data = reader;
    jpeg_mem_src(&jpeg, const_cast<u8*>(reader->file.data()),
                 static_cast<unsigned long>(reader->file.size()));
    if (jpeg_read_header(&jpeg, TRUE) != JPEG_HEADER_OK) return false;
    if (!IsPlausible(jpeg.image_width, jpeg.image_height, reader->file.size(), kMostTexelsPerByte))
        return false;

    const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    const bool cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    const D3DFORMAT format = grey ? D3DFMT_L8 : D3DFMT_R8G8B8;
    SetInfo(reader->image, jpeg.image_width, jpeg.image_height, format, D3DXIFF_JPG);
    if (reader->header_only) return true;
    jpeg.out_color_space = grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg.progress = &reader->progress;
    if (!jpeg_start_decompress(&jpeg)) return false;
    const u32 width = jpeg.output_width;
    const std::size_t row_bytes = RowBytes(format, width);
    reader->image->pixels.resize(row_bytes * jpeg.output_height);
    if (cmyk) reader->row.resize(std::size_t{width} * 4);
    while (jpeg.output_scanline < jpeg.output_height) {
        u8* out = reader->image->pixels.data() + row_bytes * jpeg.output_scanline;
        JSAMPROW row = cmyk ? reader->row.data() : out;
        if (jpeg_read_scanlines(&jpeg, &row, 1) != 1) return false;
        if (cmyk) {
            FromInks(row, jpeg.saw_Adobe_marker != 0, width, out);
        } else if (!grey) {
            SwapRedBlue(out, width);
        }
    }
    return true;
}

}  // namespace

bool DecodeJpeg(Bytes file, bool header_only, Image* image) {
    Reader reader;
    reader.file = file;
    reader.header_only = header_only;
    reader.image = image;
    reader.jpeg.err = jpeg_std_error(&reader.errors);
    reader.errors.error_exit = OnError;
    reader.errors.output_message = OnMessage;
    reader.progress.progress_monitor = OnProgress;
    reader.jpeg.client_data = &reader;
    return Read(&reader);
}

}  // namespace fxutil
