#include "png_file.h"

#include <fmt/format.h>
#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "error.h"

namespace host {

void WritePng(const std::string& path, const Picture& picture) {
    const std::string beside = fmt::format("{}.{}.part", path, ::getpid());
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(beside.c_str(), "wb"), &std::fclose);
    if (!file) throw Error(fmt::format("{}: cannot be written: {}", path, std::strerror(errno)));

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    bool written = png_image_write_to_stdio(&image, file.get(), 0, picture.rgb.data(), 0, nullptr) != 0;
    written = std::fclose(file.release()) == 0 && written;
    if (!written || std::rename(beside.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        std::remove(beside.c_str());
        throw Error(fmt::format("{}: cannot be written: {}", path, std::strerror(reason)));
    }
}

}  // namespace host
