// Lays pictures out on a sheet, row by row: contact_sheet SHEET COLUMNS WIDTH PICTURE...
// WIDTH is that of a picture on the sheet, in pixels. All pictures must be of one size.
#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "cli/error.h"
#include "png_file.h"

namespace {

host::Picture ReadPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    host::Picture out;
    if (png_image_begin_read_from_file(&image, path.c_str())) {
        image.format = PNG_FORMAT_RGB;
        out.width = image.width;
        out.height = image.height;
        out.rgb.resize(PNG_IMAGE_SIZE(image));
        if (png_image_finish_read(&image, nullptr, out.rgb.data(), 0, nullptr)) return out;
    }
    throw cli::Error(path + ": cannot be read: " + image.message);
}

// The mean of the source's pixels under each pixel.
host::Picture Shrunk(const host::Picture& in, unsigned width, unsigned height) {
    host::Picture out;
    out.width = width;
    out.height = height;
    out.rgb.resize(std::size_t{3} * width * height);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) {
            const unsigned x0 = x * in.width / width, y0 = y * in.height / height;
            const unsigned x1 = std::max(x0 + 1, (x + 1) * in.width / width);
            const unsigned y1 = std::max(y0 + 1, (y + 1) * in.height / height);
            for (unsigned c = 0; c < 3; ++c) {
                unsigned sum = 0;
                for (unsigned sy = y0; sy < y1; ++sy)
                    for (unsigned sx = x0; sx < x1; ++sx)
                        sum += in.rgb[(std::size_t{sy} * in.width + sx) * 3 + c];
                out.rgb[(std::size_t{y} * width + x) * 3 + c] =
                    static_cast<std::uint8_t>(sum / ((x1 - x0) * (y1 - y0)));
            }
        }
    return out;
}

void MakeSheet(const std::string& path, unsigned columns, unsigned width,
               const std::vector<std::string>& files) {
    constexpr unsigned kGap = 4;
    host::Picture sheet;
    unsigned height = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const host::Picture picture = ReadPng(files[i]);
        if (i == 0) {
            height = width * picture.height / picture.width;
            const auto rows = static_cast<unsigned>((files.size() + columns - 1) / columns);
            sheet.width = columns * (width + kGap) + kGap;
            sheet.height = rows * (height + kGap) + kGap;
            sheet.rgb.resize(std::size_t{3} * sheet.width * sheet.height, 16);
        }
        const host::Picture small = Shrunk(picture, width, height);
        const unsigned left = kGap + static_cast<unsigned>(i % columns) * (width + kGap);
        const unsigned top = kGap + static_cast<unsigned>(i / columns) * (height + kGap);
        for (unsigned y = 0; y < height; ++y)
            std::copy_n(&small.rgb[std::size_t{3} * y * width], std::size_t{3} * width,
                        &sheet.rgb[(std::size_t{top + y} * sheet.width + left) * 3]);
    }
    host::WritePng(path, sheet);
}

}  // namespace

int main(int argc, char** argv) {
    const int columns = argc > 4 ? std::atoi(argv[2]) : 0, width = argc > 4 ? std::atoi(argv[3]) : 0;
    if (columns < 1 || width < 8) {
        std::fprintf(stderr, "usage: contact_sheet SHEET COLUMNS WIDTH PICTURE...\n");
        return 2;
    }
    try {
        MakeSheet(argv[1], static_cast<unsigned>(columns), static_cast<unsigned>(width),
                  std::vector<std::string>(argv + 4, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "contact_sheet: %s\n", error.what());
        return 1;
    }
    return 0;
}
