#include "png_file.h"

#include <fmt/format.h>
#include <png.h>

#include "cli/error.h"
#include "cli/whole_file.h"

namespace host {

void WritePng(const std::string& path, const Picture& picture) {
    cli::WholeFile file(path);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    if (!png_image_write_to_stdio(&image, file.Handle(), 0, picture.rgb.data(), 0, nullptr))
        throw cli::Error(fmt::format("{}: cannot be written: {}", path, image.message));
    file.Commit();
}

}  // namespace host
