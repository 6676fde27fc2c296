// .png through libpng.
#include <png.h>

#include <csetjmp>

#include "fxutil/image_decoders.h"
#include "fxutil/pixel_format.h"

namespace fxutil {

namespace {

// A byte of deflated data says at most 1032 bytes.
constexpr u64 kMostBytesPerByte = 1032;

/// Everything that lives across libpng's jumps. No object with a destructor may stand in a frame that a jump
/// leaves, so all of them stand here, in the caller's.
struct Reader {
    Bytes file;
    std::size_t at = 0;
    bool header_only = false;
    Image* image = nullptr;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<png_bytep> rows;

    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

void OnRead(png_structp png, png_bytep out, std::size_t size) {
    auto* reader = static_cast<Reader*>(png_get_io_ptr(png));
    if (size > reader->file.size() - reader->at) png_error(png, "unexpected end");
    std::memcpy(out, reader->file.data() + reader->at, size);
    reader->at += size;
}

[[noreturn]] void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void OnWarning(png_structp, png_const_charp) {}

void FillPalette(Reader* reader) {
    png_colorp colors = nullptr;
    int count = 0;
    png_get_PLTE(reader->png, reader->info, &colors, &count);
    png_bytep alpha = nullptr;
    int alpha_count = 0;
    png_get_tRNS(reader->png, reader->info, &alpha, &alpha_count, nullptr);
    std::vector<u32>& palette = reader->image->palette;
    palette.assign(256, 0xff000000u);
    for (int i = 0; i < count && i < 256; ++i) {
        const u32 a = i < alpha_count ? alpha[i] : 255u;
        palette[static_cast<std::size_t>(i)] =
            a << 24 | u32{colors[i].red} << 16 | u32{colors[i].green} << 8 | colors[i].blue;
    }
}

/// Asks libpng for rows in the layout of a Direct3D format, and gives that format.
D3DFORMAT ChooseFormat(png_structp png, png_infop info) {
    const bool keyed = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    const bool wide = png_get_bit_depth(png, info) == 16;
    const int color = png_get_color_type(png, info);
    png_set_packing(png);
    if (color == PNG_COLOR_TYPE_PALETTE) return D3DFMT_P8;
    if (wide && (color & PNG_COLOR_MASK_COLOR)) {
        png_set_swap(png);
        if (keyed) png_set_tRNS_to_alpha(png);
        if (!keyed && !(color & PNG_COLOR_MASK_ALPHA)) png_set_add_alpha(png, 0xffff, PNG_FILLER_AFTER);
        return D3DFMT_A16B16G16R16;
    }
    if (wide && !(color & PNG_COLOR_MASK_ALPHA) && !keyed) {
        png_set_swap(png);
        return D3DFMT_L16;
    }
    if (wide) png_set_scale_16(png);
    const bool alpha = keyed || color & PNG_COLOR_MASK_ALPHA;
    if (!(color & PNG_COLOR_MASK_COLOR)) {
        png_set_expand_gray_1_2_4_to_8(png);
        if (!alpha) return D3DFMT_L8;
        png_set_gray_to_rgb(png);
    }
    png_set_bgr(png);
    if (keyed) png_set_tRNS_to_alpha(png);
    return alpha ? D3DFMT_A8R8G8B8 : D3DFMT_R8G8B8;
}

bool Read(Reader* reader) {
    png_structp png = reader->png;
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_read_fn(png, reader, OnRead);
    png_set_user_limits(png, kMaxImageSize, kMaxImageSize);
    png_set_chunk_malloc_max(png, 1u << 20);
    png_set_chunk_cache_max(png, 64);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, 0);
    png_read_info(png, reader->info);
    const u32 width = png_get_image_width(png, reader->info),
              height = png_get_image_height(png, reader->info);
    const u64 stored = (u64{png_get_rowbytes(png, reader->info)} + 1) * height;
    if (stored > reader->file.size() * kMostBytesPerByte) return false;

    const D3DFORMAT format = ChooseFormat(png, reader->info);
    SetInfo(reader->image, width, height, format, D3DXIFF_PNG);
    if (reader->header_only) return true;
    if (format == D3DFMT_P8) FillPalette(reader);
    png_set_interlace_handling(png);
    png_read_update_info(png, reader->info);
    const std::size_t row_bytes = RowBytes(format, width);
    if (png_get_rowbytes(png, reader->info) != row_bytes) return false;
    reader->image->pixels.resize(row_bytes * height);
    reader->rows.resize(height);
    for (u32 y = 0; y < height; ++y) reader->rows[y] = reader->image->pixels.data() + row_bytes * y;
    png_read_image(png, reader->rows.data());
    return true;
}

}  // namespace

bool DecodePng(Bytes file, bool header_only, Image* image) {
    Reader reader;
    reader.file = file;
    reader.header_only = header_only;
    reader.image = image;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (!reader.png) return false;
    reader.info = png_create_info_struct(reader.png);
    return reader.info && Read(&reader);
}

}  // namespace fxutil
