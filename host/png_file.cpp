#include "png_file.h"

#include <fmt/format.h>
#include <png.h>
#include <zlib.h>

#include <array>
#include <cstring>
#include <fstream>

#include "cli/error.h"
#include "cli/whole_file.h"

namespace host {
namespace {

constexpr std::array<std::uint8_t, 16> kHead = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n',
                                                0,    0,   0,   13,  'I',  'H',  'D',  'R'};
constexpr std::array<std::uint8_t, 12> kEnd = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xae, 0x42, 0x60, 0x82};

// Where a mistake of the library ends.
struct Failure {
    std::string what;
};
[[noreturn]] void Fail(png_structp png, png_const_charp what) {
    static_cast<Failure*>(png_get_error_ptr(png))->what = what;
    png_longjmp(png, 1);
}
void Ignore(png_structp, png_const_charp) {}

// False, and why, when the library fails. Nothing with a destructor lives in here, as the library leaves by a
// jump.
bool Encode(std::FILE* file, const Picture& picture, Failure& failure) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, Fail, Ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, picture.width, picture.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // One filter for every row and the least search: several times as fast as the library's own choice.
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    png_set_compression_level(png, 1);
    png_write_info(png, info);
    for (unsigned y = 0; y < picture.height; ++y)
        png_write_row(png, &picture.rgb[3 * static_cast<std::size_t>(picture.width) * y]);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

void WritePng(const std::string& path, const Picture& picture) {
    cli::WholeFile file(path);
    Failure failure;
    if (!Encode(file.Handle(), picture, failure))
        throw cli::Error(fmt::format("{}: cannot be written: {}", path, failure.what));
    file.Commit();
}

bool IsWholePng(const std::string& path, unsigned width, unsigned height) {
    std::ifstream in(path, std::ios::binary);
    std::array<std::uint8_t, kHead.size() + 8> head{};
    std::array<std::uint8_t, kEnd.size()> end{};
    if (!in.read(reinterpret_cast<char*>(head.data()), head.size()) ||
        !in.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end) ||
        !in.read(reinterpret_cast<char*>(end.data()), end.size()))
        return false;
    const auto number = [&](std::size_t at) {
        return static_cast<unsigned>(head[at] << 24 | head[at + 1] << 16 | head[at + 2] << 8 | head[at + 3]);
    };
    return std::memcmp(head.data(), kHead.data(), kHead.size()) == 0 && end == kEnd &&
           number(kHead.size()) == width && number(kHead.size() + 4) == height;
}

}  // namespace host
