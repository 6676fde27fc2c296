#include "conformance/picture.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace conformance {

namespace {

int Channel(std::uint32_t pixel, int channel) { return static_cast<int>((pixel >> (8 * channel)) & 0xff); }

int Distance(std::uint32_t a, std::uint32_t b) {
    int worst = 0;
    for (int channel = 0; channel < 4; ++channel) {
        worst = std::max(worst, std::abs(Channel(a, channel) - Channel(b, channel)));
    }
    return worst;
}

bool ColorNear(const Picture& picture, int x, int y, std::uint32_t color, const Bounds& bounds) {
    const int right = std::min(x + bounds.reach, static_cast<int>(picture.width) - 1);
    const int bottom = std::min(y + bounds.reach, static_cast<int>(picture.height) - 1);
    for (int row = std::max(y - bounds.reach, 0); row <= bottom; ++row) {
        for (int column = std::max(x - bounds.reach, 0); column <= right; ++column) {
            if (Distance(picture.At(column, row), color) <= bounds.color) {
                return true;
            }
        }
    }
    return false;
}

bool LiesBetween(std::uint32_t color, const Picture& picture, int x, int y, const Bounds& bounds) {
    const int right = std::min(x + bounds.ties, static_cast<int>(picture.width) - 1);
    const int bottom = std::min(y + bounds.ties, static_cast<int>(picture.height) - 1);
    for (int channel = 0; channel < 4; ++channel) {
        int least = 255, most = 0;
        for (int row = std::max(y - bounds.ties, 0); row <= bottom; ++row) {
            for (int column = std::max(x - bounds.ties, 0); column <= right; ++column) {
                const int value = Channel(picture.At(column, row), channel);
                least = std::min(least, value);
                most = std::max(most, value);
            }
        }
        const int value = Channel(color, channel);
        if (value < least - bounds.level || value > most + bounds.level) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool ReadPng(const std::string& path, Picture& picture) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        return false;
    }
    image.format = PNG_FORMAT_BGRA;
    picture.width = image.width;
    picture.height = image.height;
    picture.pixels.assign(static_cast<size_t>(image.width) * image.height, 0);
    return png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) != 0;
}

bool WritePng(const std::string& path, const Picture& picture, bool with_alpha) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    if (with_alpha) {
        image.format = PNG_FORMAT_BGRA;
        return png_image_write_to_file(&image, path.c_str(), 0, picture.pixels.data(), 0, nullptr) != 0;
    }
    image.format = PNG_FORMAT_BGR;
    std::vector<std::uint8_t> colors;
    colors.reserve(3 * picture.pixels.size());
    for (const std::uint32_t pixel : picture.pixels) {
        for (int channel = 0; channel < 3; ++channel) {
            colors.push_back(static_cast<std::uint8_t>(Channel(pixel, channel)));
        }
    }
    return png_image_write_to_file(&image, path.c_str(), 0, colors.data(), 0, nullptr) != 0;
}

bool ReadRaw(const std::string& path, Picture& picture) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return false;
    }
    std::uint32_t size[2] = {};
    bool good = std::fread(size, 4, 2, file) == 2 && size[0] <= 4096 && size[1] <= 4096;
    if (good) {
        picture.width = size[0];
        picture.height = size[1];
        picture.pixels.assign(static_cast<size_t>(size[0]) * size[1], 0);
        good = std::fread(picture.pixels.data(), 4, picture.pixels.size(), file) == picture.pixels.size();
    }
    std::fclose(file);
    return good;
}

Difference Compare(const Picture& ours, const Picture& golden, const Bounds& bounds) {
    Difference result;
    result.same_size = ours.width == golden.width && ours.height == golden.height && !ours.pixels.empty();
    if (!result.same_size) {
        return result;
    }
    size_t beyond = 0;
    const int right = static_cast<int>(ours.width) - bounds.border;
    const int bottom = static_cast<int>(ours.height) - bounds.border;
    for (int y = bounds.border; y < bottom; ++y) {
        for (int x = bounds.border; x < right; ++x) {
            const int distance = Distance(ours.At(x, y), golden.At(x, y));
            result.worst = std::max(result.worst, distance);
            if (distance <= bounds.level) {
                continue;
            }
            if (bounds.ties > 0 && LiesBetween(ours.At(x, y), golden, x, y, bounds) &&
                LiesBetween(golden.At(x, y), ours, x, y, bounds)) {
                continue;
            }
            ++beyond;
            // Both ways: a dot that we draw too many, and one that we leave out.
            if (!ColorNear(golden, x, y, ours.At(x, y), bounds) ||
                !ColorNear(ours, x, y, golden.At(x, y), bounds)) {
                ++result.strays;
                result.stray_x = x;
                result.stray_y = y;
            }
        }
    }
    result.share = static_cast<double>(beyond) / static_cast<double>(ours.pixels.size());
    return result;
}

}  // namespace conformance
