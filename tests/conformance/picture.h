// Pictures of the conformance cases: PNG files, and how far two of them differ.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "conformance/canvas.h"

namespace conformance {

struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint32_t> pixels;  // A8R8G8B8, first row first

    std::uint32_t At(int x, int y) const {
        return pixels[static_cast<size_t>(y) * width + static_cast<size_t>(x)];
    }
};

/// False when the file cannot be read or written. Alpha of a file without it reads as 255.
bool ReadPng(const std::string& path, Picture& picture);
bool WritePng(const std::string& path, const Picture& picture, bool with_alpha = true);
/// A picture as the golden runner writes it.
bool ReadRaw(const std::string& path, Picture& picture);

struct Difference {
    bool same_size = false;
    int worst = 0;     // largest difference of any channel
    double share = 0;  // share of pixels that differ by more than the bound's level
    int strays = 0;  // pixels that differ and have no pixel of their colour within reach in the other picture
    int stray_x = -1;  // one of them
    int stray_y = -1;
    bool Within(const Bounds& bounds) const { return same_size && share <= bounds.share && strays == 0; }
};

Difference Compare(const Picture& ours, const Picture& golden, const Bounds& bounds);

/// Draws a case with the native device. False with a reason when there is no device, or a call fails that
/// must not.
bool DrawNative(const Case& entry, Picture& picture, std::string& reason);

}  // namespace conformance
