// Pictures on disk.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// Eight bits a channel, rows from the top, three bytes (red, green, blue) a pixel, no padding.
struct Picture {
    unsigned width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
};

// Writes `picture` as a PNG, packed for speed more than for size: beside the target first, then renamed, so
// that the file is whole or not there. Throws cli::Error when the file cannot be written.
void WritePng(const std::string& path, const Picture& picture);

// Whether a file of that name is a PNG of that size, begun and ended as one.
bool IsWholePng(const std::string& path, unsigned width, unsigned height);

}  // namespace host
