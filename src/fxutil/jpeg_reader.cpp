#include "fxutil/jpeg_reader.h"

#include <cstddef>
#include <cstdio>
// libjpeg's header needs the two above before it.
#include <jpeglib.h>

#include <csetjmp>
#include <utility>

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
    std::span<const u8> file;
    u32 max_size = 0;
    bool header_only = false;
    JpegPicture* picture = nullptr;
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
    const u64 width = jpeg.image_width, height = jpeg.image_height;
    if (width == 0 || height == 0 || width > reader->max_size || height > reader->max_size) return false;
    if (width * height > reader->file.size() * kMostTexelsPerByte) return false;

    const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    const bool cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    JpegPicture& picture = *reader->picture;
    picture.width = jpeg.image_width;
    picture.height = jpeg.image_height;
    picture.channels = grey ? 1 : 3;
    if (reader->header_only) return true;
    jpeg.out_color_space = grey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg.progress = &reader->progress;
    if (!jpeg_start_decompress(&jpeg)) return false;
    const std::size_t row_bytes = std::size_t{picture.width} * picture.channels;
    picture.rows.resize(row_bytes * picture.height);
    if (cmyk) reader->row.resize(std::size_t{picture.width} * 4);
    while (jpeg.output_scanline < picture.height) {
        u8* out = picture.rows.data() + row_bytes * jpeg.output_scanline;
        JSAMPROW row = cmyk ? reader->row.data() : out;
        if (jpeg_read_scanlines(&jpeg, &row, 1) != 1) return false;
        if (cmyk) {
            FromInks(row, jpeg.saw_Adobe_marker != 0, picture.width, out);
        } else if (!grey) {
            SwapRedBlue(out, picture.width);
        }
    }
    return true;
}

}  // namespace

bool ReadJpeg(std::span<const u8> file, u32 max_size, bool header_only, JpegPicture* picture) {
    Reader reader;
    reader.file = file;
    reader.max_size = max_size;
    reader.header_only = header_only;
    reader.picture = picture;
    reader.jpeg.err = jpeg_std_error(&reader.errors);
    reader.errors.error_exit = OnError;
    reader.errors.output_message = OnMessage;
    reader.progress.progress_monitor = OnProgress;
    reader.jpeg.client_data = &reader;
    return Read(&reader);
}

}  // namespace fxutil
